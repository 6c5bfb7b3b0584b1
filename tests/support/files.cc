// SPDX-License-Identifier: Apache-2.0
#include "support/files.h"

#include <ftw.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace vexora::test {
namespace fs = std::filesystem;

namespace {

// Left in the root by the script that makes it.
constexpr const char *kRootMark = "/.private-root";

constexpr const char *kWritable[] = {
    "/conf", "/etc/defconfig", "/extlog/syslog", "/var", "/mnt", "/usr/local/lib", "/usr/lib/arm-linux-gnueabi"};

constexpr int kMostOpen = 16;

// What holds a mount stays.
int removeBelow(const char *path, const struct stat * /*status*/, int /*kind*/, FTW *at) {
  if (at->level > 0) {
    static_cast<void>(std::remove(path));
  }
  return 0;
}

}  // namespace

void write(const std::string &path, std::string_view contents) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("cannot write " + path);
  }
}

std::string read(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

bool exists(const std::string &path) { return fs::exists(fs::symlink_status(path)); }

void touch(const std::string &path) {
  if (!exists(path)) {
    write(path, "");
  }
}

void makeFolder(const std::string &path) { fs::create_directories(path); }

void remove(const std::string &path) { fs::remove_all(path); }

std::vector<std::string> list(const std::string &path) {
  std::vector<std::string> names;
  std::error_code missing;
  for (const auto &entry : fs::directory_iterator(path, missing)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void clearRoot() {
  if (!exists(kRootMark)) {
    throw std::runtime_error("not in a private root; start test programs through tests/support/private_root");
  }
  for (const char *folder : kWritable) {
    // On its file system alone: a build folder that happens to lie below one of ours is mounted there, and must
    // survive.
    nftw(folder, removeBelow, kMostOpen, FTW_DEPTH | FTW_MOUNT | FTW_PHYS);
  }
  fs::create_directories("/var/tmp");
}

int openDescriptors() { return static_cast<int>(list("/proc/self/fd").size()) - 1; }  // without the listing's own

}  // namespace vexora::test
