// SPDX-License-Identifier: Apache-2.0
//
// The output of `df -k`, parsed for the card's mount: an input is the output of every `df`. The answer must equal that
// of a splitter that reads each line with streams.
#include <ctime>
#include <sstream>
#include <string>
#include <string_view>

#include "target.h"
#include "vexora/storage.h"

namespace {

constexpr std::string_view kDevice = "/dev/mmcblk0p1";

std::string_view output;

}  // namespace

extern "C" {
std::FILE *popen(const char *, const char *) {
  // fmemopen may fail for 0 bytes.
  return output.empty() ? std::fopen("/dev/null", "re")
                        : fmemopen(const_cast<char *>(output.data()), output.size(), "r");
}
int pclose(std::FILE *file) { return std::fclose(file); }
int access(const char *, int) noexcept { return 0; }
int safe_system(const char *) { return 0; }
int nanosleep(const timespec *, timespec *) { return 0; }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  output = {reinterpret_cast<const char *>(data), size};
  char place[VEXORA_CARD_MOUNT_POINT_SIZE] = "~";
  std::int64_t room = -7;
  require(CheckTFCardMountStatus(place, &room) == 0, "a look");
  std::string expectedPlace = "~";
  std::int64_t expectedRoom = -7;
  std::istringstream lines{std::string(output)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line.substr(0, 255).c_str());
    std::string system, available, skipped;
    for (std::string *field : {&system, &skipped, &skipped, &available, &skipped}) {
      std::getline(fields, *field, ' ') >> std::ws;
    }
    if (std::getline(fields, line) && !system.empty() && !available.empty() && kDevice.starts_with(system)) {
      expectedPlace = line.substr(0, 31);
      expectedRoom = std::strtol(available.substr(0, 31).c_str(), nullptr, 10);
      break;
    }
  }
  require(place == expectedPlace && room == expectedRoom, "the splitter's answer");
  return 0;
}
