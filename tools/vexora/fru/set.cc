// SPDX-License-Identifier: Apache-2.0
#include "fru/set.h"

#include <algorithm>

#include "core/tool.h"

namespace vexora::tool::fru {
namespace {

constexpr std::string_view kCustom = "custom.";

[[noreturn]] void refuseName(const std::string &name) {
  throw Failure(kUsage, "'" + printable(name) +
                            "' is no field of this image; `vexora fru show` lists those it has, "
                            "such as board.serial-number or product.custom.1");
}

std::uint8_t toCode(std::string_view value) {
  const auto code = parseNumber(value, 255);
  if (!code) {
    throw Failure(kFinding, "'" + printable(value) + "' is not a number from 0 to 255");
  }
  return static_cast<std::uint8_t>(*code);
}

Field fieldIn(const Area &area, std::size_t index, std::string_view value, Encoding encoding) {
  if (encodingOf(area, index, typeOf(encoding)) != encoding) {
    throw Failure(kFinding, std::string("the language of this field has no ") + nameOf(encoding));
  }
  return makeField(value, encoding);
}

/// Makes the field in its own encoding if possible, else in the first of the other text encodings that can.
Field fieldFor(const Area &area, std::size_t index, std::string_view value) {
  const unsigned type = area.fields[index].type;
  for (const unsigned candidate : {type, kTextType, typeOf(Encoding::kSixBit), typeOf(Encoding::kBcdPlus)}) {
    const Encoding encoding = encodingOf(area, index, candidate);
    try {
      Field field = makeField(value, encoding);
      if (encoding != Encoding::kBinary && decode(field.data, encoding).text == value) {
        return field;
      }
    } catch (const Failure &) {
      continue;  // the next encoding may have these characters
    }
  }
  return makeField(value, encodingOf(area, index, kTextType));  // throws the reason
}

/// Keeps the texts: fields whose encoding depends on the language are encoded again.
void setLanguage(Area &area, std::uint8_t code) {
  Area changed = area;
  changed.code = code;
  for (std::size_t i = 0; i < area.fields.size(); ++i) {
    const unsigned type = area.fields[i].type;
    const Encoding encoding = encodingOf(changed, i, type);
    if (encoding != encodingOf(area, i, type)) {
      changed.fields[i] = fieldFor(changed, i, decode(area.fields[i].data, encodingOf(area, i, type)).text);
    }
  }
  area = changed;
}

/// Returns a field's index. A name after the last custom field adds a field.
std::optional<std::size_t> indexOf(Area &area, std::string_view name) {
  const auto own = shapeOf(area.kind).fields;
  const auto found = std::find_if(own.begin(), own.end(), [&](const FieldName &field) { return field.name == name; });
  if (found != own.end()) {
    return static_cast<std::size_t>(found - own.begin());
  }
  const auto number = name.starts_with(kCustom) ? parseNumber(name.substr(kCustom.size()), kMaxImage) : std::nullopt;
  const std::size_t count = own.size() + static_cast<std::size_t>(number.value_or(0));
  if (count == own.size() || count > area.fields.size() + 1) {
    return std::nullopt;
  }
  area.fields.resize(std::max(area.fields.size(), count));
  return count - 1;
}

/// Returns false when there is no such field.
bool assignTo(Area &area, std::string_view field, std::string_view value, std::optional<Encoding> encoding,
              Minute today) {
  if (field == "type" && area.kind == AreaKind::kChassis) {
    area.code = toCode(value);
  } else if (field == "language" && area.kind != AreaKind::kChassis) {
    setLanguage(area, toCode(value));
  } else if (field == "date" && area.kind == AreaKind::kBoard) {
    area.minutes = value.empty() ? 0 : minutesOf(value, today);
  } else if (const auto index = indexOf(area, field)) {
    area.fields[*index] = encoding ? fieldIn(area, *index, value, *encoding) : fieldFor(area, *index, value);
  } else {
    return false;
  }
  return true;
}

}  // namespace

void assign(Image &image, const std::string &assignment, std::optional<Encoding> encoding, Minute today) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string::npos) {
    throw Failure(kUsage, "'" + printable(assignment) + "' is not FIELD=VALUE");
  }
  const std::string name = assignment.substr(0, equals);
  const std::string value = assignment.substr(equals + 1);
  const std::size_t dot = std::min(name.find('.'), name.size());
  const auto kind = areaNamed(name.substr(0, dot));
  const auto area = std::find_if(image.areas.begin(), image.areas.end(),
                                 [&](const Area &candidate) { return kind == candidate.kind; });
  if (area == image.areas.end() || !hasFields(*kind) || dot == name.size()) {
    refuseName(name);
  }
  try {
    if (!assignTo(*area, name.substr(dot + 1), value, encoding, today)) {
      refuseName(name);
    }
  } catch (const Failure &failure) {
    throw Failure(failure.outcome(), failure.outcome() == kUsage ? failure.what() : name + ": " + failure.what());
  }
}

std::vector<std::string> layOut(Image &image, bool mayGrow) {
  std::vector<std::string> done;
  std::size_t end = kHeaderSize;
  for (Area &area : image.areas) {
    const std::string name = std::string(shapeOf(area.kind).name) + " area: ";
    const std::size_t size = sizeOf(area);
    const std::size_t place = std::max(area.offset.value_or(0), roundedUp(end));
    if (hasFields(area.kind) && size != area.length) {
      done.push_back(name + std::to_string(area.length) + " bytes became " + std::to_string(size));
      area.length = size;
    }
    if (place != area.offset) {
      done.push_back(name + "moved from " + std::to_string(area.offset.value_or(0)) + " to " + std::to_string(place));
      area.offset = place;
    }
    end = place + size;
  }
  if (end > image.size && !mayGrow) {
    throw Failure(kFinding, "the areas take " + std::to_string(end) + " bytes now, the image has " +
                                std::to_string(image.size) + "; --grow lets it become longer");
  }
  if (end > image.size) {
    done.push_back("image: " + std::to_string(image.size) + " bytes became " + std::to_string(roundedUp(end)));
    image.size = roundedUp(end);
  }
  return done;
}

}  // namespace vexora::tool::fru
