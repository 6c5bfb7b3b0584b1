// SPDX-License-Identifier: Apache-2.0
//
// The three JSON settings files: the first byte chooses one, the rest is its content. Whatever it is, a load ends with
// a documented result and texts that end within their fields; what was loaded, saved and loaded again stays the same.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vexora/config.h"

namespace {

void require(bool holds, const char *what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

struct Smtp {
  SmtpCfgRecord cfg;
  SmtpDestCfgRecord dests[4];
  static constexpr const char *kFile = "/conf/SmtpCfg.json";
  int load() { return VexoraGetSmtpTotalConfFromJson(&cfg, sizeof cfg, dests, sizeof dests); }
  int save() { return VexoraSetSmtpTotalConfToJson(&cfg, sizeof cfg, dests, sizeof dests); }
};

struct Trap {
  SnmpTrapCfgRecord cfg;
  SnmpTrapDestCfgRecord dests[4];
  static constexpr const char *kFile = "/conf/SnmpTrapCfg.json";
  int load() { return VexoraGetSnmpTotalConfFromJson(&cfg, sizeof cfg, dests, sizeof dests); }
  int save() { return VexoraSetSnmpTotalConfToJson(&cfg, sizeof cfg, dests, sizeof dests); }
};

struct Agent {
  SnmpAgentCfgRecord cfg;
  static constexpr const char *kFile = "/conf/SnmpAgentCfg.json";
  int load() { return VexoraGetSnmpAgentTotalConfFromJson(&cfg, sizeof cfg); }
  int save() { return VexoraSetSnmpAgentTotalConfToJson(&cfg, sizeof cfg); }
};

template <typename Store>
void tryStore(const std::uint8_t *data, std::size_t size) {
  const int fd = open(Store::kFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
  require(write(fd, data, size) == static_cast<ssize_t>(size), "the file can be made");
  close(fd);
  Store loaded;
  std::memset(static_cast<void *>(&loaded), 0x5A, sizeof loaded);
  if (loaded.load() != 0) {
    return;
  }
  require(loaded.save() == 0, "what was loaded can be saved");
  Store again;
  std::memset(static_cast<void *>(&again), 0xA5, sizeof again);
  require(again.load() == 0, "what was saved can be loaded");
  require(std::memcmp(&loaded, &again, sizeof loaded) == 0, "a file's records stay the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  constexpr void (*kStores[])(const std::uint8_t *, std::size_t) = {tryStore<Smtp>, tryStore<Trap>, tryStore<Agent>};
  kStores[data[0] % 3](data + 1, size - 1);
  return 0;
}
