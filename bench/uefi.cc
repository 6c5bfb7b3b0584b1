// SPDX-License-Identifier: Apache-2.0
//
// Decompression of UEFI images, against zlib's inflate of the same data in zlib's own smallest form.

#include <link.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "table.h"
#include "uefi/encoder.h"
#include "vexora/platform.h"

namespace {

using vexora::uefi::Version;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kPlainSize = 500'000;

std::uint32_t next() {
  static std::uint32_t state = 1;
  state = state * 1'664'525 + 1'013'904'223;
  return state >> 8;
}

void append(Bytes &to, const std::string &from) { to.insert(to.end(), from.begin(), from.end()); }

/// A log of a board: words of a small vocabulary, few of them frequent, with numbers between them.
Bytes text() {
  std::vector<std::string> words(4000);
  for (std::string &word : words) {
    for (std::uint32_t length = 2 + next() % 9; length > 0; --length) {
      word += "etaoinshrdlucmfwygpbvk"[next() % 22 * (next() % 22) / 22];
    }
  }
  Bytes data;
  while (data.size() < kPlainSize) {
    const std::size_t most = words.size() >> next() % 10;
    append(data, words[next() % most] + (next() % 12 == 0 ? ".\r\n" : " "));
    if (next() % 20 == 0) {
      append(data, std::to_string(next() % 100'000) + " ");
    }
  }
  data.resize(kPlainSize);
  return data;
}

void appendFile(Bytes &to, const char *path) {
  if (std::FILE *file = std::fopen(path, "rb"); file != nullptr) {
    for (int byte = 0; to.size() < kPlainSize && (byte = std::fgetc(file)) != EOF;) {
      to.push_back(static_cast<std::uint8_t>(byte));
    }
    static_cast<void>(std::fclose(file));
  }
}

/// Machine code and tables, as in a firmware volume: this program's own libraries.
Bytes firmware() {
  Bytes data;
  dl_iterate_phdr(
      [](dl_phdr_info *library, std::size_t, void *to) {
        appendFile(*static_cast<Bytes *>(to), library->dlpi_name);
        return 0;
      },
      &data);
  return data;
}

/// Records that differ in a counter, with erased flash between them.
Bytes repetitive() {
  Bytes data;
  for (std::uint32_t record = 0; data.size() < kPlainSize; ++record) {
    append(data, "record of the board's sensors, unchanged " + std::to_string(record / 100) + "\n");
    data.insert(data.end(), record % 50 == 0 ? 4096 : 16, 0xFF);
  }
  data.resize(kPlainSize);
  return data;
}

void decompress(vexora::bench::Table &table, const char *path, const Bytes &plain, Version version) {
  const Bytes image = vexora::uefi::compress(plain, version);
  uLongf packedSize = compressBound(plain.size());
  Bytes packed(packedSize);
  Bytes out(plain.size());
  Bytes inflated(plain.size());
  Bytes scratch(VEXORA_UEFI_SCRATCH_SIZE);
  if (compress2(packed.data(), &packedSize, plain.data(), plain.size(), Z_BEST_COMPRESSION) != Z_OK) {
    table.fail(path, "no image to compare with");
    return;
  }
  table.compare(
      path, {.host = 0.85, .board = 0.85}, 1,
      [&] {
        return UefiTianoDecompress(image.data(), out.data(), scratch.data(), static_cast<std::uint32_t>(version)) == 0;
      },
      [&] {
        uLongf size = inflated.size();
        return uncompress(inflated.data(), &size, packed.data(), packedSize) == Z_OK;
      });
  if (out != inflated) {
    table.fail(path, "unpacked something else");
  }
}

}  // namespace

int main(int argc, char **argv) {
  vexora::bench::Table table(argc, argv);
  const Bytes words = text();
  const Bytes code = firmware();
  const Bytes records = repetitive();
  decompress(table, "uefi-text", words, Version::kUefi);
  decompress(table, "tiano-text", words, Version::kTiano);
  decompress(table, "uefi-firmware", code, Version::kUefi);
  decompress(table, "tiano-firmware", code, Version::kTiano);
  decompress(table, "uefi-repetitive", records, Version::kUefi);
  decompress(table, "tiano-repetitive", records, Version::kTiano);
  return table.status();
}
