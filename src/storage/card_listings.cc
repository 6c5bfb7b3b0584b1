// SPDX-License-Identifier: Apache-2.0
//
// Listings of the TF card.

#include <cstdio>

#include "base/report.h"
#include "storage/card_files.h"
#include "storage/card_images.h"
#include "storage/paths.h"
#include "vexora/storage.h"

namespace {

using namespace vexora::storage;

constexpr const char *kDocumentDirectory = "/mnt/sdmmc0p2/product_doc";

struct Field {
  const char *generation;
  char *text;
  bool received = false;
};

void writeName(const Field &field, std::string_view name) {
  static_cast<void>(std::snprintf(field.text, VEXORA_CARD_IMAGE_NAME_SIZE, "%.*s", printed(name), name.data()));
}

}  // namespace

int common_get_file_list_from_tf_card(const char *directory, char *names) {
  if (directory == nullptr || names == nullptr) {
    return -1;
  }
  if (!exists(kCard)) {
    std::fputs("/dev/mmcblk0:check TF card fail, no such file or directory.", stdout);
    return VEXORA_CARD_MISSING;
  }
  if (!exists(kCardMountPoint)) {
    std::fputs("Check TF card fail, no such file or directory.", stdout);
    return VEXORA_CARD_NO_DIRECTORY;
  }
  RegularFiles files(CardDirectory(directory).path());
  if (!files) {
    return VEXORA_CARD_NO_DIRECTORY;
  }
  Field fields[] = {{kNewImage, names}, {kOldImage, names + VEXORA_CARD_IMAGE_NAME_SIZE}};
  while (const char *const name = files.next()) {
    for (Field &field : fields) {
      if (const auto image = imageOf(name, field.generation)) {
        writeName(field, *image);
        field.received = true;
      }
    }
  }
  for (const Field &field : fields) {
    if (!field.received) {
      writeName(field, VEXORA_CARD_NO_FILE);
    }
  }
  return 0;
}

int get_production_doc_from_tf_card(char *names, int max, uint32_t *count) {
  if (names == nullptr || count == nullptr) {
    return -1;
  }
  if (!exists(kCard)) {
    REPORT_WARNING(vexora::kTfCard, "/dev/mmcblk0:check TF card fail, no such file or directory.");
    return VEXORA_CARD_MISSING;
  }
  if (!exists(kDocumentDirectory)) {
    REPORT_WARNING(vexora::kTfCard, "Check TF card fail, no such file or directory.");
    return VEXORA_CARD_NO_DIRECTORY;
  }
  RegularFiles files(kDocumentDirectory);
  if (!files) {
    return VEXORA_CARD_NO_DIRECTORY;
  }
  const std::uint32_t capacity = max >= 0 ? static_cast<std::uint32_t>(max) + 1 : 0;
  *count = 0;
  while (*count < capacity) {
    const char *const name = files.next();
    if (name == nullptr) {
      break;
    }
    char *const slot = names + std::size_t{*count} * VEXORA_CARD_DOC_NAME_SIZE;
    static_cast<void>(std::snprintf(slot, VEXORA_CARD_DOC_NAME_SIZE, "%s", name));
    ++*count;
  }
  return *count == 0 ? 2 : 0;
}
