// SPDX-License-Identifier: Apache-2.0
//
// Splits matches and literals into blocks and writes each block with codes of its own. Blocks begin small; the two
// neighbours that save most bits by sharing codes are joined, until no pair saves any. A block's cost is found by
// writing it to a BitCounter.

#include "uefi/encoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <functional>
#include <list>
#include <utility>

#include "uefi/code_lengths.h"
#include "uefi/matches.h"

namespace vexora::uefi {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kLiterals = 256;
constexpr std::size_t kCharacters = 510;
constexpr std::size_t kExtras = 19;
constexpr std::size_t kPositions = 20;
constexpr std::size_t kMaxBlockSymbols = 65'535;
constexpr std::size_t kFirstBlockSymbols = 4096;

struct Form {
  std::size_t window;
  unsigned positionCountWidth;
};

constexpr Form kUefi = {std::size_t{1} << 13, 4};
constexpr Form kTiano = {std::size_t{1} << 19, 5};

/// Packs bits, the highest of each byte first.
class BitWriter {
 public:
  explicit BitWriter(std::vector<std::uint8_t> &out) : out_(out) {}

  void put(std::uint32_t bits, unsigned width) {
    pending_ = pending_ << width | bits;
    for (pendingWidth_ += width; pendingWidth_ >= 8; pendingWidth_ -= 8) {
      out_.push_back(static_cast<std::uint8_t>(pending_ >> (pendingWidth_ - 8)));
    }
  }

  void finish() { put(0, (8 - pendingWidth_) % 8); }

 private:
  std::vector<std::uint8_t> &out_;
  std::uint64_t pending_ = 0;
  unsigned pendingWidth_ = 0;
};

/// Counts the bits that a BitWriter would write.
struct BitCounter {
  void put(std::uint32_t, unsigned width) { bits += width; }
  std::uint64_t bits = 0;
};

std::size_t characterOf(const Token &token) {
  return token.length == 1 ? token.literal : kLiterals + token.length - kMinMatch;
}

std::size_t magnitudeOf(const Token &token) { return static_cast<std::size_t>(std::bit_width(token.position)); }

unsigned lowerBitsOf(std::size_t magnitude) { return magnitude > 1 ? static_cast<unsigned>(magnitude - 1) : 0; }

struct Frequencies {
  std::array<std::uint32_t, kCharacters> characters{};
  std::array<std::uint32_t, kPositions> positions{};

  explicit Frequencies(std::span<const Token> tokens) {
    for (const Token &token : tokens) {
      ++characters[characterOf(token)];
      if (token.length > 1) {
        ++positions[magnitudeOf(token)];
      }
    }
  }

  Frequencies &operator+=(const Frequencies &other) {
    const auto add = [](auto &to, const auto &from) {
      std::transform(to.begin(), to.end(), from.begin(), to.begin(), std::plus<>());
    };
    add(characters, other.characters);
    add(positions, other.positions);
    return *this;
  }
};

/// A symbol of the extra code and the bits after it.
struct Extra {
  std::uint32_t symbol;
  std::uint32_t bits;
  unsigned width;
};

std::span<const std::uint8_t> withoutTrailingZeros(std::span<const std::uint8_t> lengths) {
  while (!lengths.empty() && lengths.back() == 0) {
    lengths = lengths.first(lengths.size() - 1);
  }
  return lengths;
}

/// Returns the character code's lengths with runs of zeros folded: a symbol for each of 1 or 2 zeros, one and 4 bits
/// for 3 to 18, one and 9 bits for 20 or more. A run of 19 has no symbol: it becomes 1 and 18.
std::vector<Extra> foldLengths(std::span<const std::uint8_t> lengths) {
  std::vector<Extra> extras;
  for (std::size_t at = 0; at < lengths.size();) {
    if (lengths[at] != 0) {
      extras.push_back({lengths[at++] + 2U, 0, 0});
      continue;
    }
    std::uint32_t run = 0;
    for (; at < lengths.size() && lengths[at] == 0; ++at) {
      ++run;
    }
    if (run == 19) {
      extras.push_back({0, 0, 0});
      --run;
    }
    if (run >= 20) {
      extras.push_back({2, run - 20, 9});
    } else if (run >= 3) {
      extras.push_back({1, run - 3, 4});
    } else {
      extras.insert(extras.end(), run, {0, 0, 0});
    }
  }
  return extras;
}

template <typename Writer>
void putWord(Writer &out, const PrefixWords &code, std::size_t symbol) {
  out.put(code.words[symbol], code.lengths[symbol]);
}

/// Writes the extra or the position code. In the extra code the third length is followed by a count of zero lengths.
template <typename Writer>
void putShortCode(Writer &out, const PrefixWords &code, unsigned countWidth, bool zerosAfterThird) {
  if (code.single) {
    out.put(0, countWidth);
    out.put(*code.single, countWidth);
    return;
  }
  const auto lengths = withoutTrailingZeros(code.lengths);
  out.put(static_cast<std::uint32_t>(lengths.size()), countWidth);
  for (std::size_t at = 0; at < lengths.size();) {
    const std::uint32_t length = lengths[at++];
    if (length < 7) {
      out.put(length, 3);
    } else {
      out.put((1U << (length - 3)) - 2, length - 3);
    }
    if (at == 3 && zerosAfterThird) {
      const std::size_t first = at;
      while (at < 6 && code.lengths[at] == 0) {
        ++at;
      }
      out.put(static_cast<std::uint32_t>(at - first), 2);
    }
  }
}

class BlockCodes {
 public:
  BlockCodes(const Frequencies &frequencies, bool longWords)
      : characters_(makeCode(frequencies.characters, longWords)),
        positions_(makeCode(frequencies.positions, longWords)),
        folded_(foldLengths(withoutTrailingZeros(characters_.lengths))) {
    std::array<std::uint32_t, kExtras> extras{};
    for (const Extra &extra : folded_) {
      ++extras[extra.symbol];
    }
    extras_ = makeCode(extras, longWords);
  }

  template <typename Writer>
  void putHeader(Writer &out, std::size_t symbols, unsigned positionCountWidth) const {
    out.put(static_cast<std::uint32_t>(symbols), 16);
    putShortCode(out, extras_, 5, true);
    if (characters_.single) {
      out.put(0, 9);
      out.put(*characters_.single, 9);
    } else {
      out.put(static_cast<std::uint32_t>(withoutTrailingZeros(characters_.lengths).size()), 9);
      for (const Extra &extra : folded_) {
        putWord(out, extras_, extra.symbol);
        out.put(extra.bits, extra.width);
      }
    }
    putShortCode(out, positions_, positionCountWidth, false);
  }

  template <typename Writer>
  void putToken(Writer &out, const Token &token) const {
    putWord(out, characters_, characterOf(token));
    if (token.length > 1) {
      const std::size_t magnitude = magnitudeOf(token);
      const unsigned width = lowerBitsOf(magnitude);
      putWord(out, positions_, magnitude);
      out.put(token.position & ((1U << width) - 1), width);
    }
  }

  /// Returns the bits of a block.
  [[nodiscard]] std::uint64_t cost(const Frequencies &frequencies, std::size_t symbols, unsigned countWidth) const {
    BitCounter counter;
    putHeader(counter, symbols, countWidth);
    for (std::size_t symbol = 0; symbol < kCharacters; ++symbol) {
      counter.bits += std::uint64_t{frequencies.characters[symbol]} * characters_.lengths[symbol];
    }
    for (std::size_t symbol = 0; symbol < kPositions; ++symbol) {
      counter.bits += std::uint64_t{frequencies.positions[symbol]} * (positions_.lengths[symbol] + lowerBitsOf(symbol));
    }
    return counter.bits;
  }

 private:
  PrefixWords characters_;
  PrefixWords positions_;
  std::vector<Extra> folded_;
  PrefixWords extras_;
};

struct Block {
  std::span<const Token> tokens;
  Frequencies frequencies;
  std::uint64_t cost = 0;
  std::uint64_t saving = 0;  // bits that one block with the next one's tokens would save
};

/// Joins neighbouring blocks while that saves bits.
class Joiner {
 public:
  Joiner(std::list<Block> &blocks, unsigned positionCountWidth) : blocks_(blocks), countWidth_(positionCountWidth) {
    for (Block &block : blocks_) {
      block.cost = cost(block.frequencies, block.tokens.size());
    }
    for (auto block = blocks_.begin(); block != blocks_.end(); ++block) {
      findSaving(block);
    }
  }

  void join() {
    const auto less = [](const Block &a, const Block &b) { return a.saving < b.saving; };
    for (auto block = std::max_element(blocks_.begin(), blocks_.end(), less);
         block != blocks_.end() && block->saving > 0; block = std::max_element(blocks_.begin(), blocks_.end(), less)) {
      const auto next = std::next(block);
      block->cost += next->cost - block->saving;
      block->frequencies += next->frequencies;
      block->tokens = {block->tokens.data(), block->tokens.size() + next->tokens.size()};
      blocks_.erase(next);
      findSaving(block);
      if (block != blocks_.begin()) {
        findSaving(std::prev(block));
      }
    }
  }

 private:
  [[nodiscard]] std::uint64_t cost(const Frequencies &frequencies, std::size_t symbols) const {
    return BlockCodes(frequencies, false).cost(frequencies, symbols, countWidth_);
  }

  void findSaving(const std::list<Block>::iterator &block) {
    block->saving = 0;
    const auto next = std::next(block);
    if (next == blocks_.end() || block->tokens.size() + next->tokens.size() > kMaxBlockSymbols) {
      return;
    }
    Frequencies joined = block->frequencies;
    const std::uint64_t joinedCost = cost(joined += next->frequencies, block->tokens.size() + next->tokens.size());
    const std::uint64_t apart = block->cost + next->cost;
    block->saving = apart > joinedCost ? apart - joinedCost : 0;
  }

  std::list<Block> &blocks_;
  unsigned countWidth_;
};

std::list<Block> splitIntoBlocks(std::span<const Token> tokens, const Form &form, std::size_t blockSymbols) {
  std::list<Block> blocks;
  const std::size_t size = blockSymbols != 0 ? std::min(blockSymbols, kMaxBlockSymbols) : kFirstBlockSymbols;
  for (std::size_t at = 0; at < tokens.size(); at += size) {
    const auto part = tokens.subspan(at, std::min(size, tokens.size() - at));
    blocks.push_back({part, Frequencies(part)});
  }
  if (blockSymbols == 0) {
    Joiner(blocks, form.positionCountWidth).join();
  }
  return blocks;
}

std::vector<Token> literalsOf(std::span<const std::uint8_t> data) {
  std::vector<Token> tokens;
  tokens.reserve(data.size());
  for (const std::uint8_t byte : data) {
    tokens.push_back({0, 1, byte});
  }
  return tokens;
}

void storeLittle32(std::uint8_t *at, std::size_t value) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    *at++ = static_cast<std::uint8_t>(value >> shift);
  }
}

}  // namespace

std::vector<std::uint8_t> compress(std::span<const std::uint8_t> data, Version version, const Options &options) {
  if (data.size() > UINT32_MAX) {
    return {};
  }
  const Form &form = version == Version::kUefi ? kUefi : kTiano;
  const std::vector<Token> tokens = options.matches ? findMatches(data, form.window, options.tries) : literalsOf(data);
  std::vector<std::uint8_t> image(kHeaderSize);
  BitWriter out(image);
  for (const Block &block : splitIntoBlocks(tokens, form, options.blockSymbols)) {
    const BlockCodes codes(block.frequencies, options.longWords);
    codes.putHeader(out, block.tokens.size(), form.positionCountWidth);
    for (const Token &token : block.tokens) {
      codes.putToken(out, token);
    }
  }
  out.finish();
  storeLittle32(&image[0], image.size() - kHeaderSize);
  storeLittle32(&image[4], data.size());
  return image;
}

}  // namespace vexora::uefi
