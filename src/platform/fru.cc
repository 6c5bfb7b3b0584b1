// SPDX-License-Identifier: Apache-2.0
//
// Fields of FRU inventory images. To find a field, the walker skips the fields before it, each a type/length byte and
// its data. One walker serves all areas; the descriptions below say how they differ. The image is hostile: every step
// is checked against the remaining bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <span>

#include "platform/fru_layout.h"
#include "vexora/platform.h"

using namespace vexora::fru;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kChecksumAt = kHeaderSize - 1;

struct Area {
  const char *word;            ///< in messages
  std::size_t offsetAt;        ///< position of the area's offset in the common header
  std::size_t fieldsAt;        ///< where the area's fields begin
  std::uint8_t fixedSize = 0;  ///< of field 1, where it has no type/length byte
  int fields;
  int endMarkedField = 0;  ///< an end marker here means that the field is absent
  int fieldAfterByte = 0;  ///< one byte precedes this field
};

constexpr Area kChassis = {.word = "chassis",
                           .offsetAt = 2,
                           .fieldsAt = 2,
                           .fixedSize = 1,
                           .fields = VEXORA_FRU_CHASSIS_CUSTOM,
                           .endMarkedField = VEXORA_FRU_CHASSIS_CUSTOM};
constexpr Area kBoard = {
    .word = "board", .offsetAt = 3, .fieldsAt = 3, .fixedSize = 3, .fields = VEXORA_FRU_BOARD_PART_NUMBER};
constexpr Area kProduct = {.word = "product",
                           .offsetAt = 4,
                           .fieldsAt = 3,
                           .fields = VEXORA_FRU_PRODUCT_CUSTOM,
                           .fieldAfterByte = VEXORA_FRU_PRODUCT_CUSTOM};

struct Field {
  std::uint8_t typeLength;
  Bytes data;
};

std::uint8_t zeroChecksum(Bytes bytes) {
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : bytes) {
    sum = static_cast<std::uint8_t>(sum - byte);
  }
  return sum;
}

/// Reads an area from its front. A read past the end fails, and all further ones do.
class Cursor {
 public:
  explicit Cursor(Bytes rest) : rest_(rest) {}

  Bytes take(std::size_t size) {
    failed_ = failed_ || size > rest_.size();
    if (failed_) {
      return {};
    }
    const Bytes taken = rest_.first(size);
    rest_ = rest_.subspan(size);
    return taken;
  }

  Field takeField() {
    const Bytes typeLength = take(1);
    if (typeLength.empty()) {
      return {};
    }
    return {typeLength[0], take(typeLength[0] & kLengthBits)};
  }

  /// Returns whether the next byte is the end marker of the fields.
  [[nodiscard]] bool isAtEndMarker() const { return !rest_.empty() && rest_[0] == kEndOfFields; }
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  Bytes rest_;
  bool failed_ = false;
};

/// Finds a field; nothing when it would run past the image.
std::optional<Field> findField(Bytes fromArea, const Area &area, int field) {
  Cursor cursor(fromArea);
  cursor.take(area.fieldsAt);
  Field found = {area.fixedSize, cursor.take(area.fixedSize)};
  for (int number = area.fixedSize != 0 ? 2 : 1; number <= field; ++number) {
    if (number == area.fieldAfterByte) {
      cursor.take(1);
    }
    found = number == area.endMarkedField && cursor.isAtEndMarker() ? Field{} : cursor.takeField();
  }
  return cursor.failed() ? std::nullopt : std::optional(found);
}

/// A getter's arguments.
struct Request {
  const std::uint8_t *fru;
  int fruLen;
  int field;
  std::uint8_t *out;
  int outMax;
  std::uint8_t *outTypeLen;

  [[nodiscard]] bool isUsable(const Area &area) const {
    return fru != nullptr && fruLen >= static_cast<int>(kHeaderSize) && field >= 1 && field <= area.fields &&
           out != nullptr && outTypeLen != nullptr && outMax >= 1;
  }
};

int readField(const char *function, const Area &area, const Request &request) {
  const auto &[fru, fruLen, field, out, outMax, outTypeLen] = request;
  if (!request.isUsable(area)) {
    std::printf("Input parameters error in function %s, %p, %d, %d, %p, %d, %p\n", function,
                static_cast<const void *>(fru), fruLen, field, static_cast<void *>(out), outMax,
                static_cast<void *>(outTypeLen));
    return -1;
  }
  if (vexora_check_fru_common_header(fru, fruLen) != 0) {
    std::printf("Check FRU Header info error in function %s!\n", function);
    return -1;
  }
  const Bytes image(fru, static_cast<std::size_t>(fruLen));
  const std::uint8_t offset = image[area.offsetAt];
  if (offset == 0) {
    std::printf("[Warning]: No %s information in FRU \n", area.word);
    *outTypeLen = 0;
    return 0;
  }
  if (offset * kUnit > image.size()) {
    std::printf("[Warning]: Invalid %s info offset(%d) in FRU \n", area.word, offset);
    return -1;
  }
  const std::optional<Field> found = findField(image.subspan(offset * kUnit), area, field);
  if (!found) {
    return -1;
  }
  std::copy_n(found->data.begin(), std::min(found->data.size(), static_cast<std::size_t>(outMax)), out);
  *outTypeLen = found->typeLength;
  return 0;
}

}  // namespace

int vexora_check_fru_common_header(const std::uint8_t *fru, int fruLen) {
  if (fru == nullptr || fruLen < static_cast<int>(kHeaderSize)) {
    std::printf("Input parameters error in function %s, %p, %d\n", __func__, static_cast<const void *>(fru), fruLen);
    return -1;
  }
  if (fru[0] != kFormat) {
    std::printf("[Warning]: Invalid FRU format version(%d) \n", fru[0]);
    return -1;
  }
  const std::uint8_t computed = zeroChecksum({fru, kChecksumAt});
  if (computed != fru[kChecksumAt]) {
    std::printf("[Warning]: FRU common header checksum mis-match! 0x%02x vs 0x%02x \n", computed, fru[kChecksumAt]);
    std::printf("FRU Data:0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x\n", fru[0], fru[1], fru[2],
                fru[3], fru[4], fru[5], fru[6], fru[7]);
    return -1;
  }
  return 0;
}

int vexora_get_fru_chassis_info(const std::uint8_t *fru, int fruLen, int field, std::uint8_t *out, int outMax,
                                std::uint8_t *outTypeLen) {
  return readField(__func__, kChassis, {fru, fruLen, field, out, outMax, outTypeLen});
}

int vexora_get_fru_board_info(const std::uint8_t *fru, int fruLen, int field, std::uint8_t *out, int outMax,
                              std::uint8_t *outTypeLen) {
  return readField(__func__, kBoard, {fru, fruLen, field, out, outMax, outTypeLen});
}

int vexora_get_fru_product_info(const std::uint8_t *fru, int fruLen, int field, std::uint8_t *out, int outMax,
                                std::uint8_t *outTypeLen) {
  return readField(__func__, kProduct, {fru, fruLen, field, out, outMax, outTypeLen});
}

std::uint8_t vexora_checksum_calc(const std::uint8_t *data, std::uint32_t count) {
  if (data == nullptr) {
    std::printf("Input parameters error in function %s, %p\n", __func__, static_cast<const void *>(data));
    return 255;
  }
  return zeroChecksum({data, count});
}

std::uint8_t cal_zerosum(const std::uint8_t *data, std::uint32_t count) {
  return count == 0 ? 0 : zeroChecksum({data, (count - 1) % 256 + 1});
}
