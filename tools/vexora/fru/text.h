// SPDX-License-Identifier: Apache-2.0
//
// The encodings of FRU fields, to UTF-8 and back.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vexora::tool::fru {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

enum class Encoding { kBinary, kBcdPlus, kSixBit, kLatin1, kUtf16 };

/// What the type code of a field, 0 to 3, means; code 3 depends on the language.
Encoding encodingOf(unsigned type, bool english);
unsigned typeOf(Encoding encoding);
const char *nameOf(Encoding encoding);
std::optional<Encoding> encodingNamed(std::string_view name);

struct Text {
  std::string text;    // UTF-8; binary data as hexadecimal digits
  bool exact = false;  // encoded again it gives the same bytes
};

Text decode(View bytes, Encoding encoding);

/// Throws Failure(kFinding) with the reason when the encoding has no place for the text. BCD and six-bit texts that
/// don't fill their last byte read back with a blank at their end.
Bytes encode(std::string_view text, Encoding encoding);

}  // namespace vexora::tool::fru
