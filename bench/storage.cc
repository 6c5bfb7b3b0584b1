// SPDX-License-Identifier: Apache-2.0
//
// Guarded files against plain ones plus the checksum, which is computed once for a write and once for a read. Runs in
// the private root, where files are in memory.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "table.h"
#include "vexora/storage.h"

namespace {

using vexora::bench::Table;

constexpr vexora::bench::Aim kAim{.host = 1.1, .board = 1.1};
constexpr int kCalls = 4;
constexpr std::size_t kTextSize = 64 * 1024;
constexpr const char *kGuarded = "/var/guarded";
constexpr const char *kPlain = "/var/plain";

const std::string kText(kTextSize, 't');

struct FreeBlock {
  void operator()(char *block) const { std::free(block); }
};
using Block = std::unique_ptr<char, FreeBlock>;

bool checksum(const char *text) {
  const auto crc = crc32(0, reinterpret_cast<const Bytef *>(text), kTextSize);
  return crc != 0;
}

bool writePlain() {
  const int file = open(kPlain, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
  const bool written = write(file, kText.data(), kTextSize) == static_cast<ssize_t>(kTextSize);
  return close(file) == 0 && written;
}

/// Asks for the size, which the file doesn't store, reads into a new block, and computes the text's checksum.
bool readPlain() {
  struct stat status {};
  if (stat(kPlain, &status) != 0 || status.st_size != static_cast<off_t>(kTextSize)) {
    return false;
  }
  const Block block(static_cast<char *>(std::malloc(kTextSize + 1)));
  const int file = open(kPlain, O_RDONLY | O_CLOEXEC);
  const bool whole = read(file, block.get(), kTextSize) == static_cast<ssize_t>(kTextSize);
  return close(file) == 0 && whole && checksum(block.get());
}

bool writeGuarded() { return vexora_string_write_2_file_with_crc32_check(kGuarded, kText.c_str()) == 0; }

bool readGuarded() { return Block(vexora_string_read_file_with_crc32_check(kGuarded)) != nullptr; }

void guardedWrite(Table &table) {
  table.compare("guarded-write", kAim, kCalls, writeGuarded,
                [] { return std::strlen(kText.c_str()) == kTextSize && checksum(kText.data()) && writePlain(); });
}

void guardedRead(Table &table) {
  if (!writeGuarded() || !writePlain()) {
    table.fail("guarded-read", "no file to read; is this the private root?");
    return;
  }
  table.compare("guarded-read", kAim, kCalls, readGuarded, readPlain);
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  guardedWrite(table);
  guardedRead(table);
  return table.status();
}
