// SPDX-License-Identifier: Apache-2.0
#include "fru/image.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <numeric>

#include "core/tool.h"
#include "vexora/platform.h"

namespace vexora::tool::fru {
namespace {

constexpr FieldName kChassisFields[] = {{"part-number", "Part number", true}, {"serial-number", "Serial number", true}};
constexpr FieldName kBoardFields[] = {{"manufacturer", "Manufacturer", false},
                                      {"product-name", "Product name", false},
                                      {"serial-number", "Serial number", true},
                                      {"part-number", "Part number", true},
                                      {"fru-file-id", "FRU file ID", true}};
constexpr FieldName kProductFields[] = {
    {"manufacturer", "Manufacturer", false},       {"product-name", "Product name", false},
    {"part-number", "Part or model number", true}, {"version", "Version", true},
    {"serial-number", "Serial number", true},      {"asset-tag", "Asset tag", false},
    {"fru-file-id", "FRU file ID", true}};

constexpr std::array<AreaShape, kAreaKinds> kShapes = {{{"internal", "Internal use", 0, {}},
                                                        {"chassis", "Chassis", 3, kChassisFields},
                                                        {"board", "Board", 6, kBoardFields},
                                                        {"product", "Product", 3, kProductFields},
                                                        {"multi-record", "Multi-record", 0, {}}}};

constexpr std::array<const char *, 37> kChassisTypes = {"",
                                                        "Other",
                                                        "Unknown",
                                                        "Desktop",
                                                        "Low Profile Desktop",
                                                        "Pizza Box",
                                                        "Mini Tower",
                                                        "Tower",
                                                        "Portable",
                                                        "Laptop",
                                                        "Notebook",
                                                        "Hand Held",
                                                        "Docking Station",
                                                        "All in One",
                                                        "Sub Notebook",
                                                        "Space-saving",
                                                        "Lunch Box",
                                                        "Main Server Chassis",
                                                        "Expansion Chassis",
                                                        "SubChassis",
                                                        "Bus Expansion Chassis",
                                                        "Peripheral Chassis",
                                                        "RAID Chassis",
                                                        "Rack Mount Chassis",
                                                        "Sealed-case PC",
                                                        "Multi-system chassis",
                                                        "Compact PCI",
                                                        "Advanced TCA",
                                                        "Blade",
                                                        "Blade Enclosure",
                                                        "Tablet",
                                                        "Convertible",
                                                        "Detachable",
                                                        "IoT Gateway",
                                                        "Embedded PC",
                                                        "Mini PC",
                                                        "Stick PC"};

// Two letters per code. English has two codes: 0 and 25.
constexpr std::string_view kLanguages =
    "enaaabafamarasayazbabebgbhbibnbobrcacocscydadedzeleneoeseteufafifjfofrfygagdglgnguhahihrhuhyiaieikinisitiwjajijwka"
    "kkklkmknkokskukylalnloltlvmgmimkmlmnmomrmsmtmynanenlnoocomorpaplpsptqurmrnrorurwsasdsgshsiskslsmsnsosqsrssstsusvsw"
    "tatetgthtitktltntotrtstttwukuruzvivowoxhyozhzu";
static_assert(kLanguages.size() == 2 * 137 && kLanguages.substr(2 * kEnglish, 2) == "en");

/// Counts the fixed bytes, the fields, their end marker, unused bytes and the checksum.
std::size_t sizeOfFields(const Area &area) {
  const std::size_t fields =
      std::accumulate(area.fields.begin(), area.fields.end(), std::size_t{0},
                      [](std::size_t sum, const Field &field) { return sum + 1 + field.data.size(); });
  return shapeOf(area.kind).fieldsAt + fields + 1 + area.unused.size() + 1;
}

void append(Bytes &bytes, View more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

Bytes fieldsBytes(const Area &area) {
  const std::size_t length = sizeOf(area);
  Bytes bytes = {kFormat, static_cast<std::uint8_t>(length / kUnit), area.code};
  if (area.kind == AreaKind::kBoard) {
    bytes.resize(bytes.size() + 3);
    putLittleEndian(std::span(bytes).last(3), area.minutes);
  }
  for (const Field &field : area.fields) {
    bytes.push_back(static_cast<std::uint8_t>(field.type << 6U | field.data.size()));
    append(bytes, field.data);
  }
  bytes.push_back(kEndOfFields);
  append(bytes, area.unused);
  bytes.resize(length - 1);
  bytes.push_back(zeroChecksum(bytes));
  return bytes;
}

Bytes recordsBytes(const Area &area) {
  Bytes bytes;
  for (const Record &record : area.records) {
    const bool last = &record == &area.records.back();
    const Bytes header = {record.type, static_cast<std::uint8_t>(record.version | (last ? kEndOfList : 0)),
                          static_cast<std::uint8_t>(record.data.size()), zeroChecksum(record.data)};
    append(bytes, header);
    bytes.push_back(zeroChecksum(header));
    append(bytes, record.data);
  }
  return bytes;
}

Bytes areaBytes(const Area &area) {
  if (hasFields(area.kind)) {
    return fieldsBytes(area);
  }
  if (area.kind == AreaKind::kMultiRecord) {
    return recordsBytes(area);
  }
  Bytes bytes = {kFormat};
  append(bytes, area.data);
  return bytes;
}

[[noreturn]] void refuse(const Area &area, const std::string &reason) {
  throw Failure(kFinding, std::string(shapeOf(area.kind).name) + " area: " + reason);
}

void checkArea(const Area &area) {
  const std::size_t size = sizeOf(area);
  if (hasFields(area.kind) && size > kMaxUnits * kUnit) {
    refuse(area, "takes " + std::to_string(size) + " bytes; an area has at most 2040");
  }
  if (hasFields(area.kind) && area.length != 0 && size != area.length) {
    refuse(area, "takes " + std::to_string(size) + " bytes; its length is given as " + std::to_string(area.length));
  }
  if (area.kind == AreaKind::kMultiRecord && area.records.empty()) {
    refuse(area, "has no records");
  }
}

/// Returns each area's offset.
std::vector<std::size_t> placesOf(const Image &image) {
  std::vector<std::size_t> places;
  std::bitset<kAreaKinds> seen;
  std::size_t end = kHeaderSize;
  for (const Area &area : image.areas) {
    checkArea(area);
    const auto kind = static_cast<std::size_t>(area.kind);
    const std::size_t place = area.offset.value_or(roundedUp(end));
    if (seen.test(kind)) {
      refuse(area, "is there twice");
    }
    if (place % kUnit != 0 || place < end || place > kMaxUnits * kUnit) {
      refuse(area, "cannot begin at " + std::to_string(place) + (place < end ? ", which is taken" : ""));
    }
    seen.set(kind);
    places.push_back(place);
    end = place + sizeOf(area);
  }
  if (image.size != 0 && end > image.size) {
    throw Failure(kFinding,
                  "the areas take " + std::to_string(end) + " bytes; the image has " + std::to_string(image.size));
  }
  return places;
}

}  // namespace

const AreaShape &shapeOf(AreaKind kind) { return kShapes[static_cast<std::size_t>(kind)]; }

std::optional<AreaKind> areaNamed(std::string_view name) {
  const auto *const found =
      std::find_if(kShapes.begin(), kShapes.end(), [&](const AreaShape &shape) { return name == shape.name; });
  return found == kShapes.end() ? std::nullopt : std::optional(static_cast<AreaKind>(found - kShapes.begin()));
}

std::string fieldName(AreaKind kind, std::size_t index) {
  const auto own = shapeOf(kind).fields;
  return index < own.size() ? own[index].name : "custom." + std::to_string(index - own.size() + 1);
}

std::string fieldTitle(AreaKind kind, std::size_t index) {
  const auto own = shapeOf(kind).fields;
  return index < own.size() ? own[index].title : "Custom " + std::to_string(index - own.size() + 1);
}

Encoding encodingOf(const Area &area, std::size_t index, unsigned type) {
  const auto own = shapeOf(area.kind).fields;
  const bool english = area.kind == AreaKind::kChassis || area.code == 0 || area.code == kEnglish ||
                       (index < own.size() && own[index].english);
  return encodingOf(type, english);
}

const char *chassisTypeName(std::uint8_t type) { return type < kChassisTypes.size() ? kChassisTypes[type] : ""; }

std::string languageName(std::uint8_t code) {
  return code < kLanguages.size() / 2 ? std::string(kLanguages.substr(code * 2U, 2)) : "";
}

std::uint8_t zeroChecksum(View bytes) {
  // The library refuses NULL, which is an empty vector's data().
  return bytes.empty() ? 0 : vexora_checksum_calc(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

std::size_t roundedUp(std::size_t size) { return (size + kUnit - 1) / kUnit * kUnit; }

std::size_t sizeOf(const Area &area) {
  if (hasFields(area.kind)) {
    return std::max(area.length, roundedUp(sizeOfFields(area)));
  }
  if (area.kind == AreaKind::kMultiRecord) {
    return std::accumulate(
        area.records.begin(), area.records.end(), std::size_t{0},
        [](std::size_t sum, const Record &record) { return sum + kRecordHeaderSize + record.data.size(); });
  }
  return 1 + area.data.size();
}

Field makeField(std::string_view text, Encoding encoding) {
  Field field = {typeOf(encoding), encode(text, encoding)};
  if (field.data.size() > kMaxField) {
    throw Failure(kFinding, "'" + printable(text) + "' takes " + std::to_string(field.data.size()) +
                                " bytes; a field has at most " + std::to_string(kMaxField));
  }
  if (field.type == kTextType && field.data.size() == 1) {
    throw Failure(kFinding, "'" + printable(text) + "' is one byte of text, which would mark the end of the fields");
  }
  return field;
}

Bytes serialise(const Image &image) {
  const std::vector<std::size_t> places = placesOf(image);
  const std::size_t end = image.areas.empty() ? kHeaderSize : places.back() + sizeOf(image.areas.back());
  Bytes bytes(image.size != 0 ? image.size : roundedUp(end));
  if (bytes.size() < kHeaderSize) {
    throw Failure(kFinding, "an image has at least " + std::to_string(kHeaderSize) + " bytes");
  }
  for (const Gap &gap : image.gaps) {
    const std::size_t at = std::min(gap.offset, bytes.size());
    std::copy_n(gap.bytes.begin(), std::min(gap.bytes.size(), bytes.size() - at),
                bytes.begin() + static_cast<std::ptrdiff_t>(at));
  }
  std::fill_n(bytes.begin(), kHeaderSize, 0);
  bytes[0] = kFormat;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const Bytes area = areaBytes(image.areas[i]);
    std::copy(area.begin(), area.end(), bytes.begin() + static_cast<std::ptrdiff_t>(places[i]));
    bytes[1 + static_cast<std::size_t>(image.areas[i].kind)] = static_cast<std::uint8_t>(places[i] / kUnit);
  }
  bytes[kHeaderSize - 1] = zeroChecksum(View(bytes).first(kHeaderSize - 1));
  return bytes;
}

}  // namespace vexora::tool::fru
