// SPDX-License-Identifier: Apache-2.0
#include "fru/show.h"

#include <algorithm>

#include "fru/records.h"

namespace vexora::tool::fru {
namespace {

constexpr std::size_t kTitleWidth = 28;
constexpr int kRed = 31;
constexpr int kYellow = 33;

/// `value` may contain colours and isn't escaped: callers must escape foreign bytes.
std::string line(const std::string &title, const std::string &value) {
  return "  " + title + std::string(kTitleWidth - std::min(kTitleWidth - 1, title.size()), ' ') + value + "\n";
}

std::string codeLine(const std::string &title, std::uint8_t code, const std::string &name) {
  return line(title, std::to_string(code) + (name.empty() ? "" : " (" + name + ")"));
}

std::string dateLine(std::uint32_t minutes, Minute today) {
  const auto date = dateOf(minutes, today);
  if (!date) {
    return line("Date", "not stated");
  }
  const std::string note = date->future ? coloured("in the future", kYellow)
                           : date->wraps == 0
                               ? "the latest that its 24 bits can mean and is not in the future"
                               : "the latest that its 24 bits can mean and is not in the future; they started again " +
                                     std::to_string(date->wraps) + (date->wraps == 1 ? " time" : " times");
  return line("Date", toText(date->at) + " (" + note + ")");
}

std::string fieldText(const Area &area, std::size_t index) {
  const Field &field = area.fields[index];
  if (field.missing || field.data.empty()) {
    return field.missing ? "(missing)" : "(empty)";
  }
  const Encoding encoding = encodingOf(area, index, field.type);
  const std::string text = printable(decode(field.data, encoding).text);
  return (encoding == Encoding::kBinary ? text : "\"" + text + "\"") + "  " + nameOf(encoding);
}

std::string headText(const Area &area, Minute today) {
  if (area.headless) {
    return line(area.kind == AreaKind::kChassis ? "Type" : "Language", "(missing)");
  }
  return (area.kind == AreaKind::kChassis ? codeLine("Type", area.code, chassisTypeName(area.code))
                                          : codeLine("Language", area.code, languageName(area.code))) +
         (area.kind == AreaKind::kBoard ? dateLine(area.minutes, today) : "");
}

std::string fieldsText(const Area &area, Minute today) {
  std::string text = headText(area, today);
  for (std::size_t i = 0; i < area.fields.size(); ++i) {
    text += line(fieldTitle(area.kind, i), fieldText(area, i));
  }
  return text + (area.unused.empty() ? "" : line("After the fields", toHex(area.unused)));
}

std::string recordsText(const Area &area) {
  std::string text;
  for (std::size_t i = 0; i < area.records.size(); ++i) {
    const Record &record = area.records[i];
    text += line("Record " + std::to_string(i + 1), std::string(recordTypeName(record.type)) + ", type " +
                                                        std::to_string(record.type) + ", " +
                                                        std::to_string(record.data.size()) + " bytes");
    for (const auto &[name, value] : decodeRecord(record)) {
      text += line("  " + name, printable(value));
    }
    text += line("  Data", toHex(record.data));
  }
  return text;
}

std::string areaText(const Area &area, Minute today) {
  const std::string text = std::string(shapeOf(area.kind).title) + " area, " + std::to_string(sizeOf(area)) +
                           " bytes at " + std::to_string(area.offset.value_or(0)) + "\n";
  if (hasFields(area.kind)) {
    return text + fieldsText(area, today);
  }
  return text + (area.kind == AreaKind::kMultiRecord ? recordsText(area) : hexDump(area.data));
}

}  // namespace

std::vector<Finding> findingsOf(const std::vector<Fault> &faults, const std::string &file, const std::string &before) {
  std::vector<Finding> findings;
  findings.reserve(faults.size());
  for (const Fault &fault : faults) {
    findings.push_back({before + fault.place + " at " + std::to_string(fault.offset), fault.message, fault.kind,
                        object({{"file", file}, {"offset", fault.offset}})});
  }
  return findings;
}

std::vector<NamedValue> valuesOf(const Image &image, Minute today) {
  std::vector<NamedValue> values = {{"size", std::to_string(image.size)}};
  for (const Area &area : image.areas) {
    const std::string name = shapeOf(area.kind).name;
    if (hasFields(area.kind)) {
      values.push_back({name + (area.kind == AreaKind::kChassis ? ".type" : ".language"), std::to_string(area.code)});
    }
    if (area.kind == AreaKind::kBoard) {
      const auto date = dateOf(area.minutes, today);
      values.push_back({name + ".date", date ? toText(date->at) : "not stated"});
    }
    for (std::size_t i = 0; i < area.fields.size(); ++i) {
      values.push_back({name + "." + fieldName(area.kind, i), fieldText(area, i)});
    }
    for (std::size_t i = 0; i < area.records.size(); ++i) {
      const Record &record = area.records[i];
      values.push_back({name + "." + std::to_string(i + 1), recordTypeName(record.type) + (" " + toHex(record.data))});
    }
    if (area.kind == AreaKind::kInternal) {
      values.push_back({name, toHex(area.data)});
    }
  }
  return values;
}

std::string readable(const Parsed &parsed, Minute today) {
  std::string text = "FRU image, " + std::to_string(parsed.image.size) + " bytes\n";
  for (const Area &area : parsed.image.areas) {
    text += "\n" + areaText(area, today);
  }
  for (const Gap &gap : parsed.image.gaps) {
    text += (&gap == parsed.image.gaps.data() ? "\n" : "") + std::to_string(gap.bytes.size()) + " unused bytes at " +
            std::to_string(gap.offset) + "\n";
  }
  return text + (parsed.faults.empty() ? "" : "\n");
}

}  // namespace vexora::tool::fru
