// SPDX-License-Identifier: Apache-2.0
// GPIO lines of the host: one file each, so that scripts can drive and read them.

#include "firmware/gpio.h"

#include <filesystem>
#include <fstream>
#include <string>

#include "no_exceptions.h"

namespace {

constexpr const char *kLinesDirectory = "/var/gpio";

std::string lineFile(unsigned int line) { return std::string(kLinesDirectory) + "/line" + std::to_string(line); }

}  // namespace

int hostGpioRead(unsigned int line) {
  return vexora::firmware::withoutExceptions(-1, [line] {
    std::string level;
    std::ifstream(lineFile(line)) >> level;
    if (level == "0") {
      return 0;
    }
    return level == "1" ? 1 : -1;
  });
}

int hostGpioWrite(unsigned int line, int level) {
  if (level != 0 && level != 1) {
    return -1;
  }
  return vexora::firmware::withoutExceptions(-1, [line, level] {
    std::error_code error;
    std::filesystem::create_directories(kLinesDirectory, error);
    std::ofstream file(lineFile(line));
    file << level << '\n' << std::flush;
    return file ? 0 : -1;
  });
}
