// SPDX-License-Identifier: Apache-2.0
//
// Decompression of UEFI images against zlib's inflate, which unpacks the same plain data from its own tightest form.

#include <link.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ratio.h"
#include "uefi/encoder.h"
#include "vexora/platform.h"

namespace {

using vexora::uefi::Version;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kPlainSize = 4'000'000;
constexpr int kRounds = 21;

/// Numbers that are the same in each run.
std::uint32_t next() {
  static std::uint32_t state = 1;
  state = state * 1'664'525 + 1'013'904'223;
  return state >> 8;
}

void append(Bytes &to, const std::string &from) { to.insert(to.end(), from.begin(), from.end()); }

/// A log of a board: words of a small vocabulary, of which few are used often, with numbers between them.
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

/// Machine code and its tables, as in a firmware volume: this program's own libraries.
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

/// Records that differ in a counter, and erased flash between them.
Bytes repetitive() {
  Bytes data;
  for (std::uint32_t record = 0; data.size() < kPlainSize; ++record) {
    append(data, "record of the board's sensors, unchanged " + std::to_string(record / 100) + "\n");
    data.insert(data.end(), record % 50 == 0 ? 4096 : 16, 0xFF);
  }
  data.resize(kPlainSize);
  return data;
}

bool compare(const char *name, const Bytes &plain, Version version) {
  const Bytes image = vexora::uefi::compress(plain, version);
  uLongf packedSize = compressBound(plain.size());
  Bytes packed(packedSize);
  bool done = compress2(packed.data(), &packedSize, plain.data(), plain.size(), Z_BEST_COMPRESSION) == Z_OK;
  Bytes out(plain.size());
  Bytes scratch(VEXORA_UEFI_SCRATCH_SIZE);
  const auto decompress = [&] {
    return UefiTianoDecompress(image.data(), out.data(), scratch.data(), static_cast<std::uint32_t>(version)) == 0;
  };
  const auto inflate = [&] {
    uLongf size = out.size();
    return uncompress(out.data(), &size, packed.data(), packedSize) == Z_OK;
  };
  done = done && decompress() && out == plain;
  std::vector<double> ours;
  std::vector<double> theirs;
  std::vector<double> ratios;
  for (int round = 0; round < kRounds; ++round) {
    ours.push_back(vexora::bench::timeCalls(1, decompress, done));
    theirs.push_back(vexora::bench::timeCalls(1, inflate, done));
    ratios.push_back(ours.back() / theirs.back());
  }
  if (!done || out != plain) {
    std::fprintf(stderr, "%-24s a call did not do its work\n", name);
    return false;
  }
  const auto megabytes = [&](const std::vector<double> &times) {
    return static_cast<double>(plain.size()) * 1e3 / vexora::bench::median(times);
  };
  const double ratio = vexora::bench::median(ratios);
  std::fprintf(stderr, "%-24s %10zu %10zu %10lu %8.0f %8.0f %7.3f  %s\n", name, plain.size(), image.size(), packedSize,
               megabytes(ours), megabytes(theirs), ratio, ratio <= 1.0 ? "within" : "OVER");
  return true;
}

}  // namespace

// The table goes to standard error: each decompression prints on standard output.
int main() {
  if (std::freopen("/dev/null", "w", stdout) == nullptr) {
    return 1;
  }
  std::fprintf(stderr, "%-24s %10s %10s %10s %8s %8s %7s\n", "data, form", "bytes", "packed", "zlib's", "MB/s",
               "zlib's", "ratio");
  const struct {
    const char *name;
    Bytes data;
  } samples[] = {{"text", text()}, {"firmware", firmware()}, {"repetitive", repetitive()}};
  bool done = true;
  for (const auto &[name, data] : samples) {
    done &= compare((std::string(name) + ", UEFI").c_str(), data, Version::kUefi);
    done &= compare((std::string(name) + ", Tiano").c_str(), data, Version::kTiano);
  }
  return done ? 0 : 1;
}
