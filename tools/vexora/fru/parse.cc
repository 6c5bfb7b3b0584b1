// SPDX-License-Identifier: Apache-2.0
#include "fru/parse.h"

#include <algorithm>

#include "core/tool.h"

namespace vexora::tool::fru {
namespace {

/// Reads from the front. A read past the end returns no bytes or 0, and makes failed() true.
class Cursor {
 public:
  explicit Cursor(View all) : all_(all) {}

  View take(std::size_t size) {
    failed_ = failed_ || size > all_.size() - at_;
    if (failed_) {
      return {};
    }
    at_ += size;
    return all_.subspan(at_ - size, size);
  }
  std::uint8_t byte() {
    const View taken = take(1);
    return taken.empty() ? 0 : taken[0];
  }
  [[nodiscard]] View rest() const { return all_.subspan(at_); }
  [[nodiscard]] std::size_t at() const { return at_; }
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  View all_;
  std::size_t at_ = 0;
  bool failed_ = false;
};

Bytes copy(View bytes) { return {bytes.begin(), bytes.end()}; }

std::string hexByte(std::uint8_t byte) { return "0x" + toHex({&byte, 1}); }

std::string checksumMessage(std::uint8_t stored, std::uint8_t computed) {
  return "checksum is " + hexByte(stored) + ", its bytes give " + hexByte(computed);
}

struct Extent {
  std::size_t begin;
  std::size_t end;
  AreaKind kind;
  bool whole;  // read to its end
};

class Parser {
 public:
  explicit Parser(View image) : image_(image) { out_.image.size = image.size(); }

  Parsed run() {
    if (image_.size() < kHeaderSize || image_.size() > kMaxImage) {
      fault("size", "image", 0, "has " + std::to_string(image_.size()) + " bytes");
    } else if (readHeader()) {
      readAreas();
      findOverlaps();
      findGaps();
    }
    std::stable_sort(out_.faults.begin(), out_.faults.end(),
                     [](const Fault &a, const Fault &b) { return a.offset < b.offset; });
    try {
      out_.exact = std::ranges::equal(serialise(out_.image), image_);
    } catch (const Failure &) {
      out_.exact = false;  // areas overlap or exceed the image
    }
    return std::move(out_);
  }

 private:
  void fault(const char *kind, const std::string &place, std::size_t offset, const std::string &message) {
    out_.faults.push_back({kind, place, offset, message});
  }

  /// Returns whether the version is the known one.
  bool isVersion(std::uint8_t byte, std::uint8_t version, const char *kind, const std::string &place, std::size_t at) {
    if ((byte & kVersionBits) != version) {
      fault(kind, place, at, "format version is " + std::to_string(byte & kVersionBits));
      return false;
    }
    if ((byte & ~kVersionBits) != 0) {
      fault("reserved", place, at, "reserved bits are set beside the version: " + hexByte(byte));
    }
    return true;
  }

  bool readHeader() {
    const View header = image_.first(kHeaderSize);
    const std::uint8_t computed = zeroChecksum(header.first(kHeaderSize - 1));
    if (header[kHeaderSize - 1] != computed) {
      fault("header-checksum", "header", kHeaderSize - 1, checksumMessage(header[kHeaderSize - 1], computed));
    }
    if (header[1 + kAreaKinds] != 0) {
      fault("reserved", "header", 1 + kAreaKinds, "padding is " + hexByte(header[1 + kAreaKinds]));
    }
    return isVersion(header[0], kFormat, "header-version", "header", 0);
  }

  void readAreas() {
    std::vector<Extent> starts;
    for (std::size_t kind = 0; kind < kAreaKinds; ++kind) {
      const std::size_t start = image_[1 + kind] * kUnit;
      if (start >= image_.size()) {
        fault("area-bounds", shapeOf(static_cast<AreaKind>(kind)).name, 1 + kind,
              "begins at " + std::to_string(start) + ", after the image's end");
      } else if (start != 0) {
        starts.push_back({start, image_.size(), static_cast<AreaKind>(kind), true});
      }
    }
    std::stable_sort(starts.begin(), starts.end(), [](const Extent &a, const Extent &b) { return a.begin < b.begin; });
    for (std::size_t i = 0; i < starts.size(); ++i) {
      const std::size_t next = i + 1 < starts.size() ? starts[i + 1].begin : image_.size();
      readArea(starts[i].kind, starts[i].begin, next);
    }
  }

  void readArea(AreaKind kind, std::size_t start, std::size_t next) {
    Area area;
    area.kind = kind;
    area.offset = start;
    const std::string name = shapeOf(kind).name;
    bool whole = true;
    bool known = true;
    std::size_t length = 0;
    if (kind == AreaKind::kMultiRecord) {
      length = readRecords(area, whole);
    } else {
      known = isVersion(image_[start], kFormat, "area-version", name, start);
      // The internal use area has no length: it ends where the next area begins.
      length = !known ? 0 : kind == AreaKind::kInternal ? next - start : readFieldsArea(area);
    }
    if (kind == AreaKind::kInternal && length != 0) {
      area.data = copy(image_.subspan(start + 1, length - 1));
    }
    extents_.push_back({start, start + length, kind, whole && length != 0});
    if (known) {
      out_.image.areas.push_back(std::move(area));
    }
  }

  /// Returns the number of the image's bytes in the area.
  std::size_t readFieldsArea(Area &area) {
    const std::string place = shapeOf(area.kind).name;
    const std::size_t start = *area.offset;
    View body = image_.subspan(start);
    area.length = body.size() > 1 ? body[1] * kUnit : 0;
    if (area.length == 0 || area.length > body.size()) {
      fault("area-bounds", place, start + 1,
            "is " + std::to_string(area.length) + " bytes long; the image has " + std::to_string(body.size()) +
                " from its begin on");
    } else {
      const std::uint8_t stored = body[area.length - 1];
      body = body.first(area.length - 1);
      if (stored != zeroChecksum(body)) {
        fault("area-checksum", place, start + area.length - 1, checksumMessage(stored, zeroChecksum(body)));
      }
    }
    const std::size_t taken = std::min(area.length, image_.size() - start);
    if (area.length != 0) {
      Cursor cursor(body);
      cursor.take(2);
      area.code = cursor.byte();
      area.minutes = static_cast<std::uint32_t>(littleEndian(cursor.take(area.kind == AreaKind::kBoard ? 3 : 0)));
      area.headless = cursor.failed();
      readFields(area, cursor);
      readUnused(area, cursor);
    }
    return taken;
  }

  void readFields(Area &area, Cursor &cursor) {
    const std::string place = shapeOf(area.kind).name;
    for (std::uint8_t typeLength = 0;;) {
      const std::size_t at = *area.offset + cursor.at();
      const std::string name = place + "." + fieldName(area.kind, area.fields.size());
      typeLength = cursor.byte();
      if (cursor.failed()) {
        fault("field-end", place, at, "has no end marker after its fields");
        break;
      }
      if (typeLength == kEndOfFields) {
        if (area.fields.size() < shapeOf(area.kind).fields.size()) {
          fault("field-end", name, at, "the end marker is in its place");
        }
        break;
      }
      const std::size_t left = cursor.rest().size();
      const Field field = {unsigned{typeLength} >> 6U, copy(cursor.take(typeLength & kLengthBits)), false};
      if (cursor.failed()) {
        fault("field-end", name, at,
              "is " + std::to_string(typeLength & kLengthBits) + " bytes long; its area has " + std::to_string(left) +
                  " left");
        break;
      }
      const Encoding encoding = encodingOf(area, area.fields.size(), field.type);
      if (!decode(field.data, encoding).exact) {
        fault("field-encoding", name, at, std::string("holds what has no meaning in ") + nameOf(encoding));
      }
      area.fields.push_back(field);
    }
    area.fields.resize(std::max(area.fields.size(), shapeOf(area.kind).fields.size()), {kTextType, {}, true});
  }

  void readUnused(Area &area, const Cursor &cursor) {
    const View rest = cursor.failed() ? View() : cursor.rest();
    const auto last = std::find_if(rest.rbegin(), rest.rend(), [](std::uint8_t byte) { return byte != 0; });
    area.unused.assign(rest.begin(), last.base());
    if (!area.unused.empty()) {
      fault("unused-space", shapeOf(area.kind).name, *area.offset + cursor.at(),
            "holds something after its last field: " + toHex(area.unused));
    }
  }

  std::size_t readRecords(Area &area, bool &whole) {
    Cursor cursor(image_.subspan(*area.offset));
    for (whole = false; !whole;) {
      const std::size_t at = *area.offset + cursor.at();
      const std::string place = std::string(shapeOf(area.kind).name) + "." + std::to_string(area.records.size() + 1);
      const View header = cursor.take(kRecordHeaderSize);
      if (cursor.failed()) {
        fault("record-end", place, at, "the image ends before a record that is marked as the last");
        break;
      }
      const std::uint8_t computed = zeroChecksum(header.first(kRecordHeaderSize - 1));
      if (header[kRecordHeaderSize - 1] != computed) {
        fault("record-checksum", place, at + kRecordHeaderSize - 1,
              "header " + checksumMessage(header[kRecordHeaderSize - 1], computed));
        break;
      }
      const View data = cursor.take(header[2]);
      if (cursor.failed()) {
        fault("record-bounds", place, at + 2,
              "is " + std::to_string(header[2]) + " bytes long; the image has " + std::to_string(cursor.rest().size()) +
                  " left");
        break;
      }
      whole = (header[1] & kEndOfList) != 0;
      checkRecord(header, data, place, at);
      area.records.push_back({header[0], static_cast<std::uint8_t>(header[1] & kVersionBits), copy(data)});
    }
    return cursor.at();
  }

  void checkRecord(View header, View data, const std::string &place, std::size_t at) {
    const auto version = static_cast<std::uint8_t>(header[1] & static_cast<std::uint8_t>(~kEndOfList));
    isVersion(version, kRecordFormat, "record-version", place, at + 1);
    if (header[3] != zeroChecksum(data)) {
      fault("record-checksum", place, at + 3, "data " + checksumMessage(header[3], zeroChecksum(data)));
    }
  }

  void findOverlaps() {
    for (std::size_t i = 1; i < extents_.size(); ++i) {
      const auto before = std::max_element(extents_.begin(), extents_.begin() + static_cast<std::ptrdiff_t>(i),
                                           [](const Extent &a, const Extent &b) { return a.end < b.end; });
      if (extents_[i].begin < before->end) {
        fault("area-overlap", shapeOf(extents_[i].kind).name, extents_[i].begin,
              std::string("begins inside the ") + shapeOf(before->kind).name + " area, which ends at " +
                  std::to_string(before->end));
      }
    }
  }

  /// Keeps the unread rest of a damaged area as a gap too; its content is no fault.
  void findGaps() {
    std::size_t end = kHeaderSize;
    bool whole = true;
    for (const Extent &extent : extents_) {
      addGap(end, extent.begin, whole);
      end = std::max(end, extent.end);
      whole = extent.whole;
    }
    addGap(end, image_.size(), whole);
  }

  void addGap(std::size_t begin, std::size_t end, bool unused) {
    if (begin >= end) {
      return;
    }
    const View gap = image_.subspan(begin, end - begin);
    out_.image.gaps.push_back({begin, copy(gap)});
    const auto stray = std::find_if(gap.begin(), gap.end(), [](auto byte) { return byte != 0 && byte != 0xFF; });
    if (unused && stray != gap.end()) {
      fault("unused-space", "image", begin + static_cast<std::size_t>(stray - gap.begin()),
            "holds something where no area is: " + hexByte(*stray));
    }
  }

  View image_;
  Parsed out_;
  std::vector<Extent> extents_;
};

}  // namespace

Parsed parse(View image) { return Parser(image).run(); }

}  // namespace vexora::tool::fru
