// SPDX-License-Identifier: Apache-2.0
//
// What `df -k` prints, through the look at the card's mount: an input is the output of every `df`. The answer must be
// that of a splitter which takes each line apart by hand.
#include <algorithm>
#include <ctime>
#include <string>
#include <string_view>

#include "target.h"
#include "vexora/storage.h"

namespace {

constexpr std::string_view kDevice = "/dev/mmcblk0p1";

std::string_view output;

/// Takes a field off a line's front, and the white space after the blank that ends it.
std::string_view takeField(std::string_view &line) {
  const std::string_view field = line.substr(0, line.find(' '));
  line.remove_prefix(field.size());
  line.remove_prefix(std::min(line.find_first_not_of(" \t\v\f\r"), line.size()));
  return field;
}

}  // namespace

extern "C" {
std::FILE *popen(const char *, const char *) {
  // An empty stream can't be made of no bytes.
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
  std::string_view expectedPlace = "~";
  std::int64_t expectedRoom = -7;
  for (std::string_view rest = output; !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    line = line.substr(0, std::min(line.find('\0'), std::size_t{255}));
    const std::string_view system = takeField(line);
    takeField(line);
    takeField(line);
    const std::string available(takeField(line).substr(0, 31));
    takeField(line);
    if (!system.empty() && !available.empty() && !line.empty() && kDevice.starts_with(system)) {
      expectedPlace = line.substr(0, 31);
      expectedRoom = std::strtol(available.c_str(), nullptr, 10);
      break;
    }
  }
  require(place == expectedPlace && room == expectedRoom, "the splitter's answer");
  return 0;
}
