// SPDX-License-Identifier: Apache-2.0
//
// Decompression of UEFI images: LZ77 matches and literals, in prefix codes that each block defines. A block consists of
//
//   16 bits          number of its symbols, 0 for 65,536
//   extra code       encodes the lengths of the character code
//   character code   literals 0 to 255, then the match lengths 3 to 256
//   position code    the magnitude of a match's distance; the distance's lower bits follow each use
//   symbols
//
// The stream is hostile. A distance must be within the bytes written so far; a match is cut to the remaining space;
// after the last byte the reader returns zeros. Each symbol writes at least one byte, so decoding always ends.
//
// All state is in the caller's scratch area, which may begin at any address.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "base/bytes.h"
#include "platform/bit_reader.h"
#include "platform/prefix_code.h"
#include "vexora/platform.h"

namespace vexora::uefi {
namespace {

constexpr std::uint32_t kHeaderSize = 8;

constexpr unsigned kLiterals = 256;
constexpr unsigned kMinMatch = 3;
constexpr unsigned kCharacters = 510;
constexpr unsigned kCharacterCountWidth = 9;

constexpr unsigned kExtras = 19;
constexpr unsigned kExtraCountWidth = 5;
constexpr unsigned kPositions = 31;

// After the third length of the extra code, 2 bits give the number of zero lengths that follow.
constexpr unsigned kExtraZerosAfter = 3;
constexpr unsigned kNoZeros = kPositions + 1;

struct Sizes {
  explicit Sizes(const void *image)
      : compressed(loadLittle32(static_cast<const std::uint8_t *>(image))),
        plain(loadLittle32(static_cast<const std::uint8_t *>(image) + 4)) {}

  std::uint32_t compressed;
  std::uint32_t plain;
};

/// Copies to `to` the bytes that are `distance` before it, which may overlap; returns the end.
std::uint8_t *copyMatch(std::uint8_t *to, std::size_t distance, std::size_t length) {
  // Measured: from this length on a call is faster. With long words a loop's mispredicted end costs more.
  constexpr std::size_t kWorthCall = sizeof(std::size_t) == sizeof(std::uint64_t) ? 4 : 16;
  const std::uint8_t *from = to - distance;
  std::uint8_t *const end = to + length;
  if (length < kWorthCall || (distance != 1 && distance < length)) {
    do {
      *to++ = *from++;
    } while (to != end);
  } else if (distance == 1) {
    std::memset(to, *from, length);
  } else {
    std::memcpy(to, from, length);
  }
  return end;
}

class Decoder {
 public:
  Decoder(const std::uint8_t *source, Sizes sizes, std::uint8_t *destination, unsigned positionCountWidth)
      : bits_(source, sizes.compressed),
        begin_(destination),
        out_(destination),
        end_(destination + sizes.plain),
        positionCountWidth_(positionCountWidth) {}

  [[nodiscard]] std::uint32_t firstBits() const { return bits_.first(); }

  /// Writes the whole destination; returns false for a bad stream, with the bytes before the fault written.
  bool decode() {
    while (out_ != end_) {
      if (!readBlockHeader() || !decodeBlock()) {
        return false;
      }
    }
    return true;
  }

 private:
  /// Takes bits of a block's header. Out of line: headers are rare.
  [[gnu::noinline]] std::uint32_t take(unsigned number) { return bits_.take(number); }

  bool readBlockHeader() {
    symbolsLeft_ = take(16);
    if (symbolsLeft_ == 0) {
      symbolsLeft_ = 1U << 16;
    }
    return readShortCode(kExtras, kExtraCountWidth, kExtraZerosAfter) && readCharacterCode() &&
           readShortCode(kPositions, positionCountWidth_, kNoZeros);
  }

  /// Reads the extra or the position code. The stream may give more lengths than there are symbols; the surplus is
  /// ignored. A single symbol may be out of range: it is an error only where the stream uses it.
  bool readShortCode(unsigned symbols, unsigned countWidth, unsigned zerosAfter) {
    const std::uint32_t count = take(countWidth);
    if (count == 0) {
      shortCode_.buildSingle(take(countWidth));
      return true;
    }
    shortLengths_.fill(0);
    for (std::size_t at = 0; at < count;) {
      const unsigned length = readLength();
      if (length > kMaxWord) {
        return false;
      }
      shortLengths_[at++] = static_cast<std::uint8_t>(length);
      if (at == zerosAfter) {
        at += take(2);
      }
    }
    return shortCode_.build(std::span(shortLengths_).first(symbols));
  }

  /// Reads a length: 3 bits; when all are set, each further set bit adds one, and a zero ends it.
  unsigned readLength() {
    unsigned length = take(3);
    if (length == 7) {
      while (length <= kMaxWord && take(1) != 0) {
        ++length;
      }
    }
    return length;
  }

  bool readCharacterCode() {
    const std::uint32_t count = take(kCharacterCountWidth);
    if (count == 0) {
      const std::uint32_t character = take(kCharacterCountWidth);
      characterCode_.buildSingle(character);
      return character < kCharacters;
    }
    characterLengths_.fill(0);
    for (std::size_t at = 0; at < std::min<std::size_t>(count, kCharacters);) {
      const std::uint32_t extra = shortCode_.read(bits_);
      switch (extra) {
        case 0:
          at += 1;
          break;
        case 1:
          at += 3 + take(4);
          break;
        case 2:
          at += 20 + take(9);
          break;
        default:
          if (extra >= kExtras) {
            return false;
          }
          characterLengths_[at++] = static_cast<std::uint8_t>(extra - 2);
      }
    }
    return characterCode_.build(characterLengths_);
  }

  /// Decodes the block's symbols, up to the end of the destination.
  bool decodeBlock() {
    // Local copies, for speed.
    BitReader bits = bits_;
    std::uint8_t *const end = end_;
    std::uint8_t *out = out_;
    // The end of the output if all remaining symbols are literals. Matches move it, up to the end of the destination.
    std::uint8_t *stop = out + std::min<std::size_t>(symbolsLeft_, static_cast<std::size_t>(end - out));
    while (out != stop) {
      const std::uint32_t character = characterCode_.read(bits);
      if (character < kLiterals) {
        *out++ = static_cast<std::uint8_t>(character);
        continue;
      }
      const std::uint32_t position = readPosition(bits);
      if (position >= static_cast<std::size_t>(out - begin_)) {
        return false;
      }
      const std::size_t length = character - kLiterals + kMinMatch;
      stop += std::min(length - 1, static_cast<std::size_t>(end - stop));
      out = copyMatch(out, std::size_t{position} + 1, std::min(length, static_cast<std::size_t>(end - out)));
    }
    bits_ = bits;
    out_ = out;
    return true;
  }

  /// Takes a match's distance from the newest byte. A symbol out of range gives at least 1 GiB.
  std::uint32_t readPosition(BitReader &bits) const {
    const std::uint32_t width = shortCode_.read(bits);
    if (width <= BitReader::kWidestNumber) [[likely]] {
      return bits.takeNumber(width);
    }
    const unsigned rest = width - BitReader::kWidestNumber;
    const std::uint32_t upper = bits.takeNumber(BitReader::kWidestNumber);
    return upper << rest | bits.take(rest);
  }

  BitReader bits_;
  std::uint8_t *begin_;
  std::uint8_t *out_;
  std::uint8_t *end_;
  std::uint32_t symbolsLeft_ = 0;
  unsigned positionCountWidth_;
  PrefixCode<12, kCharacters> characterCode_;
  PrefixCode<8, kPositions> shortCode_;  // first the extra code, then the position code
  std::array<std::uint8_t, kCharacters> characterLengths_;
  std::array<std::uint8_t, kPositions> shortLengths_;
};

static_assert(kExtras <= kPositions && (1U << kExtraCountWidth) - 1 <= kPositions, "lengths fit shortLengths_");
static_assert(VEXORA_UEFI_SCRATCH_SIZE == 13'376, "callers' areas have this size");
static_assert(sizeof(Decoder) + alignof(Decoder) - 1 <= VEXORA_UEFI_SCRATCH_SIZE, "fits an area that begins anywhere");

/// Returns the width of the count of position lengths, the only difference between the forms; 0 for an unknown form.
unsigned positionCountWidth(std::uint32_t version) {
  switch (version) {
    case VEXORA_UEFI_FORM:
      return 4;
    case VEXORA_TIANO_FORM:
      return 5;
    default:
      return 0;
  }
}

}  // namespace
}  // namespace vexora::uefi

using vexora::uefi::Decoder;
using vexora::uefi::kHeaderSize;
using vexora::uefi::Sizes;

int UefiDecompressGetInfo(const void *source, uint32_t source_size, uint32_t *destination_size,
                          uint32_t *scratch_size) {
  if (source == nullptr || destination_size == nullptr || scratch_size == nullptr || source_size < kHeaderSize) {
    return -1;
  }
  const Sizes sizes(source);
  if (sizes.compressed > source_size - kHeaderSize) {
    return -1;
  }
  *destination_size = sizes.plain;
  *scratch_size = VEXORA_UEFI_SCRATCH_SIZE;
  return 0;
}

int UefiTianoDecompress(const void *source, void *destination, void *scratch, uint32_t version) {
  if (source == nullptr) {
    return -1;
  }
  const Sizes sizes(source);
  std::printf("%s----size:%d, CompSize:%d, OrigSize:%d\r\n", __func__, VEXORA_UEFI_SCRATCH_SIZE,
              static_cast<int>(sizes.compressed), static_cast<int>(sizes.plain));
  if (sizes.plain == 0) {
    return 0;
  }
  if (destination == nullptr || scratch == nullptr) {
    return -1;
  }
  std::memset(scratch, 0, VEXORA_UEFI_SCRATCH_SIZE);
  const unsigned countWidth = vexora::uefi::positionCountWidth(version);
  if (countWidth == 0) {
    return -1;
  }
  std::size_t capacity = VEXORA_UEFI_SCRATCH_SIZE;
  void *const place = std::align(alignof(Decoder), sizeof(Decoder), scratch, capacity);
  auto *const decoder = new (place) Decoder(static_cast<const std::uint8_t *>(source) + kHeaderSize, sizes,
                                            static_cast<std::uint8_t *>(destination), countWidth);
  std::printf("%s: mBitBuf: 0x%x\r\n", __func__, decoder->firstBits());
  return decoder->decode() ? 0 : -1;
}

int UefiDecompress(const void *source, void *destination, void *scratch) {
  return UefiTianoDecompress(source, destination, scratch, VEXORA_UEFI_FORM);
}
