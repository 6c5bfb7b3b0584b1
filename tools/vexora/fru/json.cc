// SPDX-License-Identifier: Apache-2.0
#include "fru/json.h"

#include <algorithm>

#include "fru/records.h"

namespace vexora::tool::fru {
namespace {

constexpr std::uint8_t kUnknownChassis = 2;
constexpr std::uint8_t kFirstOemRecord = 0xC0;
constexpr std::size_t kMaxRecord = 255;

Json fieldJson(const Area &area, std::size_t index) {
  const Field &field = area.fields[index];
  if (field.missing) {
    return {};
  }
  const Encoding encoding = encodingOf(area, index, field.type);
  const Text decoded = decode(field.data, encoding);
  Json json = object({{"type", field.type}, {"encoding", nameOf(encoding)}});
  if (encoding != Encoding::kBinary) {
    json.add("text", decoded.text);
  }
  if (encoding == Encoding::kBinary || !decoded.exact) {
    json.add("bytes", toHex(field.data));
  }
  return json;
}

void addFields(Json &json, const Area &area, Minute today) {
  json.add("length", area.length);
  if (area.headless) {
    // The image has no code and date: zeros here would look like real values.
  } else if (area.kind == AreaKind::kChassis) {
    json.add("type", area.code).add("typeName", chassisTypeName(area.code));
  } else {
    json.add("language", area.code).add("languageName", languageName(area.code));
  }
  if (area.kind == AreaKind::kBoard && !area.headless) {
    const auto date = dateOf(area.minutes, today);
    json.add("minutes", area.minutes).add("date", date ? Json(toText(date->at)) : Json());
  }
  Json own = object();
  Json custom = array();
  for (std::size_t i = 0; i < area.fields.size(); ++i) {
    if (i < shapeOf(area.kind).fields.size()) {
      own.add(shapeOf(area.kind).fields[i].name, fieldJson(area, i));
    } else {
      custom.append(fieldJson(area, i));
    }
  }
  json.add("fields", own).add("custom", custom);
  if (!area.unused.empty()) {
    json.add("unused", toHex(area.unused));
  }
}

Json recordJson(const Record &record) {
  const Json decoded = list(decodeRecord(record), [](const auto &item) {
    return object({{"name", item.first}, {"value", item.second}});
  });
  return object({{"type", record.type},
                 {"name", recordTypeName(record.type)},
                 {"version", record.version},
                 {"decoded", decoded},
                 {"data", toHex(record.data)}});
}

Json areaJson(const Area &area, Minute today) {
  Json json = object({{"area", shapeOf(area.kind).name}, {"offset", area.offset.value_or(0)}});
  if (hasFields(area.kind)) {
    addFields(json, area, today);
  } else if (area.kind == AreaKind::kInternal) {
    json.add("data", toHex(area.data));
  } else {
    json.add("records", list(area.records, recordJson));
  }
  return json;
}

/// A gap of equal bytes gets a length and that byte, others all their bytes.
Json gapJson(const Gap &gap) {
  Json json = object({{"offset", gap.offset}});
  if (std::all_of(gap.bytes.begin(), gap.bytes.end(), [&](auto byte) { return byte == gap.bytes[0]; })) {
    return json.add("length", gap.bytes.size()).add("fill", gap.bytes[0]);
  }
  return json.add("bytes", toHex(gap.bytes));
}

/// A value of a description, and its place in the document for messages.
class Node {
 public:
  Node(json_object *value, std::string place) : value_(value), place_(std::move(place)) {}

  [[noreturn]] void refuse(const std::string &reason) const { throw Failure(kFinding, place_ + ": " + reason); }

  [[nodiscard]] std::optional<Node> find(const std::string &key) const {
    json_object *found = nullptr;
    json_object_object_get_ex(value_, key.c_str(), &found);
    return found == nullptr ? std::nullopt : std::optional(Node(found, place_ + "." + key));
  }

  /// Refuses a value that is no object or has other members.
  void expect(const std::vector<std::string_view> &members) const {
    expectType(json_type_object, "an object");
    json_object_object_foreach(value_, key, ignored) {
      static_cast<void>(ignored);
      if (std::find(members.begin(), members.end(), key) == members.end()) {
        refuse("has no member '" + printable(key) + "'");
      }
    }
  }

  [[nodiscard]] std::vector<Node> elements() const {
    expectType(json_type_array, "an array");
    std::vector<Node> all;
    for (std::size_t i = 0; i < json_object_array_length(value_); ++i) {
      all.emplace_back(json_object_array_get_idx(value_, i), place_ + "[" + std::to_string(i) + "]");
    }
    return all;
  }

  [[nodiscard]] bool isText() const { return json_object_is_type(value_, json_type_string) != 0; }

  [[nodiscard]] std::string text() const {
    expectType(json_type_string, "a text");
    return {json_object_get_string(value_), static_cast<std::size_t>(json_object_get_string_len(value_))};
  }

  [[nodiscard]] std::size_t number(std::size_t most) const {
    expectType(json_type_int, "a whole number");
    const std::int64_t value = json_object_get_int64(value_);
    if (value < 0 || static_cast<std::uint64_t>(value) > most) {
      refuse("is not between 0 and " + std::to_string(most));
    }
    return static_cast<std::size_t>(value);
  }

  [[nodiscard]] std::uint8_t byte() const { return static_cast<std::uint8_t>(number(255)); }

  [[nodiscard]] Bytes bytes() const {
    auto bytes = fromHex(text());
    if (!bytes) {
      refuse("is not pairs of hexadecimal digits");
    }
    return *std::move(bytes);
  }

  [[nodiscard]] bool isFalse() const {
    expectType(json_type_boolean, "true or false");
    return json_object_get_boolean(value_) == 0;
  }

 private:
  void expectType(json_type type, const char *name) const {
    if (json_object_is_type(value_, type) == 0) {
      refuse(std::string("is not ") + name);
    }
  }

  json_object *value_;
  std::string place_;
};

Encoding readEncoding(const Node &name) {
  if (const auto encoding = encodingNamed(name.text())) {
    return *encoding;
  }
  name.refuse("is none of binary, bcd-plus, six-bit, latin-1 and utf-16");
}

unsigned readType(const Node &node, const Area &area, std::size_t index) {
  const auto type = node.find("type");
  const auto name = node.find("encoding");
  if (!name) {
    return type ? static_cast<unsigned>(type->number(kTextType)) : kTextType;
  }
  const Encoding encoding = readEncoding(*name);
  const unsigned code = type ? static_cast<unsigned>(type->number(kTextType)) : typeOf(encoding);
  if (encodingOf(area, index, code) != encoding) {
    name->refuse("type " + std::to_string(code) + " in the language of this field is " +
                 nameOf(encodingOf(area, index, code)));
  }
  return code;
}

Field madeField(const Node &node, std::string_view text, Encoding encoding) {
  try {
    return makeField(text, encoding);
  } catch (const Failure &failure) {
    node.refuse(failure.what());
  }
}

Field readField(const Node &node, const Area &area, std::size_t index) {
  if (node.isText()) {
    return madeField(node, node.text(), encodingOf(area, index, kTextType));
  }
  node.expect({"type", "encoding", "text", "bytes"});
  const unsigned type = readType(node, area, index);
  const Encoding encoding = encodingOf(area, index, type);
  const auto bytes = node.find("bytes");
  const auto text = node.find("text");
  if (!bytes) {
    return madeField(node, text ? text->text() : "", encoding);
  }
  Field field = madeField(node, toHex(bytes->bytes()), Encoding::kBinary);
  field.type = type;
  if (type == kTextType && field.data.size() == 1) {
    node.refuse("one byte of type 3 would mark the end of the fields");
  }
  if (text && text->text() != decode(field.data, encoding).text) {
    node.refuse("text and bytes differ; one of them is enough");
  }
  return field;
}

std::uint32_t readDate(const Node &date, std::optional<Minute> today) {
  try {
    return minutesOf(date.text(), today);
  } catch (const Failure &failure) {
    date.refuse(failure.what());
  }
}

std::uint32_t readMinutes(const Node &node, Minute today) {
  const auto minutes = node.find("minutes");
  const auto date = node.find("date");
  if (!minutes) {
    return date ? readDate(*date, today) : 0;
  }
  const auto count = static_cast<std::uint32_t>(minutes->number(kMinuteCounts - 1));
  if (date && readDate(*date, {}) != count) {
    date->refuse("is not what the minutes mean; one of them is enough");
  }
  return count;
}

void readFields(const Node &node, Area &area) {
  const auto own = shapeOf(area.kind).fields;
  area.fields.resize(own.size());
  if (const auto fields = node.find("fields")) {
    std::vector<std::string_view> names(own.size());
    std::transform(own.begin(), own.end(), names.begin(), [](const FieldName &field) { return field.name; });
    fields->expect(names);
    for (std::size_t i = 0; i < own.size(); ++i) {
      if (const auto field = fields->find(own[i].name)) {
        area.fields[i] = readField(*field, area, i);
      }
    }
  }
  if (const auto custom = node.find("custom")) {
    for (const Node &field : custom->elements()) {
      area.fields.push_back(readField(field, area, area.fields.size()));
    }
  }
}

void readFieldsArea(const Node &node, Area &area, Minute today) {
  if (area.kind == AreaKind::kChassis) {
    node.expect({"area", "offset", "length", "type", "typeName", "fields", "custom", "unused"});
  } else if (area.kind == AreaKind::kBoard) {
    node.expect(
        {"area", "offset", "length", "language", "languageName", "minutes", "date", "fields", "custom", "unused"});
    area.minutes = readMinutes(node, today);
  } else {
    node.expect({"area", "offset", "length", "language", "languageName", "fields", "custom", "unused"});
  }
  const auto code = node.find(area.kind == AreaKind::kChassis ? "type" : "language");
  const auto length = node.find("length");
  const auto unused = node.find("unused");
  area.code = code ? code->byte() : area.kind == AreaKind::kChassis ? kUnknownChassis : kEnglish;
  area.length = length ? length->number(kMaxUnits * kUnit) : 0;
  area.unused = unused ? unused->bytes() : Bytes();
  if (area.length % kUnit != 0) {
    length->refuse("is not a multiple of 8");
  }
  readFields(node, area);
}

Record readRecord(const Node &node) {
  node.expect({"type", "name", "version", "decoded", "data"});
  const auto type = node.find("type");
  const auto version = node.find("version");
  const auto data = node.find("data");
  Record record;
  record.type = type ? type->byte() : kFirstOemRecord;
  record.version = version ? static_cast<std::uint8_t>(version->number(kVersionBits)) : kRecordFormat;
  record.data = data ? data->bytes() : Bytes();
  if (record.data.size() > kMaxRecord) {
    data->refuse("is longer than 255 bytes");
  }
  return record;
}

Area readArea(const Node &node, Minute today) {
  const auto name = node.find("area");
  const auto kind = name ? areaNamed(name->text()) : std::nullopt;
  if (!kind) {
    node.refuse("its \"area\" is none of internal, chassis, board, product and multi-record");
  }
  Area area;
  area.kind = *kind;
  if (const auto offset = node.find("offset")) {
    area.offset = offset->number(kMaxUnits * kUnit);
  }
  if (hasFields(*kind)) {
    readFieldsArea(node, area, today);
  } else if (*kind == AreaKind::kInternal) {
    node.expect({"area", "offset", "data"});
    const auto data = node.find("data");
    area.data = data ? data->bytes() : Bytes();
  } else {
    node.expect({"area", "offset", "records"});
    const auto records = node.find("records");
    for (const Node &record : records ? records->elements() : std::vector<Node>()) {
      area.records.push_back(readRecord(record));
    }
  }
  return area;
}

Gap readGap(const Node &node) {
  node.expect({"offset", "length", "fill", "bytes"});
  const auto offset = node.find("offset");
  const auto length = node.find("length");
  const auto fill = node.find("fill");
  const auto bytes = node.find("bytes");
  if (!offset || bytes.has_value() == length.has_value()) {
    node.refuse("needs an offset, and either bytes or a length");
  }
  return {offset->number(kMaxImage),
          bytes ? bytes->bytes() : Bytes(length->number(kMaxImage), fill ? fill->byte() : 0)};
}

}  // namespace

Json toJson(const Parsed &parsed, Minute today) {
  const Json areas = list(parsed.image.areas, [&](const Area &area) { return areaJson(area, today); });
  const Json unused = list(parsed.image.gaps, gapJson);
  return object({{"size", parsed.image.size}, {"exact", parsed.exact}, {"areas", areas}, {"unused", unused}});
}

Image fromJson(const Json &document, Minute today) {
  const Node node(document.get(), "description");
  node.expect({"size", "exact", "areas", "unused", "version", "command", "status", "findings"});
  if (const auto exact = node.find("exact"); exact && exact->isFalse()) {
    exact->refuse(
        "it describes a damaged image and cannot give the same one again. See its findings; take \"exact\" out once "
        "it says what you want");
  }
  Image image;
  if (const auto size = node.find("size")) {
    image.size = size->number(kMaxImage);
  }
  if (const auto areas = node.find("areas")) {
    for (const Node &area : areas->elements()) {
      image.areas.push_back(readArea(area, today));
    }
  }
  if (const auto unused = node.find("unused")) {
    for (const Node &gap : unused->elements()) {
      image.gaps.push_back(readGap(gap));
    }
  }
  return image;
}

}  // namespace vexora::tool::fru
