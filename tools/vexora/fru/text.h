// SPDX-License-Identifier: Apache-2.0
//
// Converts the encodings of FRU fields to UTF-8 and back.
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

/// Returns the encoding of a field's type code, 0 to 3. Code 3 depends on the language.
Encoding encodingOf(unsigned type, bool english);
unsigned typeOf(Encoding encoding);
const char *nameOf(Encoding encoding);
std::optional<Encoding> encodingNamed(std::string_view name);

struct Text {
  std::string text;    // UTF-8; binary data as hexadecimal digits
  bool exact = false;  // encode() returns the same bytes
};

Text decode(View bytes, Encoding encoding);

/// Throws Failure(kFinding) with the reason when the encoding can't represent the text. A BCD text of odd length and a
/// six-bit text of 4n + 3 characters read back with a blank at their end.
Bytes encode(std::string_view text, Encoding encoding);

}  // namespace vexora::tool::fru
