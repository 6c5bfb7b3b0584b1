// SPDX-License-Identifier: Apache-2.0
//
// A FRU image as in the IPMI Platform Management FRU Information Storage Definition 1.0: a header with the offsets of
// up to five areas, in units of 8 bytes. The model keeps each choice of a valid image, so that it can be written again
// byte for byte: type codes, lengths, offsets, and the bytes in unused space.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fru/text.h"
#include "platform/fru_layout.h"

namespace vexora::tool::fru {

using namespace vexora::fru;

constexpr std::size_t kMaxUnits = 255;  // fits a byte
constexpr std::size_t kMaxImage = 1U << 20U;
constexpr std::size_t kMaxField = kLengthBits;
constexpr std::uint8_t kVersionBits = 0x0F;
constexpr std::uint8_t kRecordFormat = 2;
constexpr std::size_t kRecordHeaderSize = 5;
constexpr std::uint8_t kEndOfList = 0x80;  // in a record's second byte
constexpr std::uint8_t kEnglish = 25;
constexpr unsigned kTextType = 3;

struct Field {
  unsigned type = kTextType;
  Bytes data;
  bool missing = false;  // the image or the area ends before this field
};

struct Record {
  std::uint8_t type = 0;
  std::uint8_t version = kRecordFormat;
  Bytes data;
};

/// In the order of the header's offsets.
enum class AreaKind { kInternal, kChassis, kBoard, kProduct, kMultiRecord };
constexpr std::size_t kAreaKinds = 5;

struct Area {
  AreaKind kind = AreaKind::kInternal;
  std::optional<std::size_t> offset;  // none: after the previous area
  std::size_t length = 0;             // of an area of fields; 0: the shortest possible
  std::uint8_t code = kEnglish;       // the chassis' type, or the language
  std::uint32_t minutes = 0;          // the board's date
  bool headless = false;              // the image ends before the end of code and date
  std::vector<Field> fields;          // the area's own, then custom ones
  Bytes unused;                       // between the fields' end and the checksum; empty when all are zeros
  Bytes data;                         // of the internal use area
  std::vector<Record> records;        // of the multi-record area
};

/// Bytes outside all areas.
struct Gap {
  std::size_t offset = 0;
  Bytes bytes;
};

struct Image {
  std::size_t size = 0;     // 0: ends after the last area
  std::vector<Area> areas;  // in the order of their offsets
  std::vector<Gap> gaps;
};

struct FieldName {
  const char *name;
  const char *title;
  bool english;  // in any of the area's languages
};

struct AreaShape {
  const char *name;
  const char *title;
  std::size_t fieldsAt;  // 0 for areas without fields
  std::span<const FieldName> fields;
};

const AreaShape &shapeOf(AreaKind kind);
std::optional<AreaKind> areaNamed(std::string_view name);
inline bool hasFields(AreaKind kind) { return shapeOf(kind).fieldsAt != 0; }

/// "serial-number"; "custom.1" and so on for the fields after the area's own.
std::string fieldName(AreaKind kind, std::size_t index);
std::string fieldTitle(AreaKind kind, std::size_t index);
Encoding encodingOf(const Area &area, std::size_t index, unsigned type);

/// "Rack Mount Chassis"; "" for a number without a meaning.
const char *chassisTypeName(std::uint8_t type);
/// The language's two letters; "" for a number without a meaning.
std::string languageName(std::uint8_t code);

std::uint8_t zeroChecksum(View bytes);
std::size_t roundedUp(std::size_t size);

/// Returns an area's length: the given one or, if it is too short, the shortest possible.
std::size_t sizeOf(const Area &area);

/// Throws Failure(kFinding) when a field can't have this text.
Field makeField(std::string_view text, Encoding encoding);

/// Returns an image's bytes with all checksums. Throws Failure(kFinding) when the areas don't fit.
Bytes serialise(const Image &image);

}  // namespace vexora::tool::fru
