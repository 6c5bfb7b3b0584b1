// SPDX-License-Identifier: Apache-2.0
//
// Firmware images on the TF card. A directory holds one image (".new") and its predecessor (".old"). Storing an image
// turns the current one into the predecessor and removes the old predecessor, whatever their names are.

#include "storage/card_images.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/medium.h"
#include "base/owners.h"
#include "base/report.h"
#include "firmware/unix.h"
#include "storage/card_files.h"
#include "storage/paths.h"
#include "vexora/diag.h"
#include "vexora/storage.h"

namespace {

using vexora::HeapBlock;
using namespace vexora::storage;

constexpr const char *kLogModule = "ZELMONITOR";

constexpr mode_t kImageDirectoryMode = 0777;
constexpr std::size_t kImagePathSize = 511;

bool begins(const char *version, std::optional<std::string_view> image) {
  return image && std::string_view(version).starts_with(*image);
}

/// A list of names, one after the other, each with its terminator.
class NameList {
 public:
  [[nodiscard]] const char *begin() const { return names_.get(); }
  [[nodiscard]] const char *end() const { return names_.get() + size_; }
  static const char *after(const char *name) { return name + std::strlen(name) + 1; }

  /// Returns false when memory is short; the list is then unchanged.
  bool add(const char *name) {
    const std::size_t size = std::strlen(name) + 1;
    if (capacity_ - size_ < size && !grow()) {
      return false;
    }
    std::memcpy(names_.get() + size_, name, size);
    size_ += size;
    return true;
  }

 private:
  /// More than the longest name; doubled at each growth.
  bool grow() {
    const std::size_t capacity = capacity_ * 2 + 4096;
    void *const names = std::realloc(names_.get(), capacity);
    if (names == nullptr) {
      return false;
    }
    static_cast<void>(names_.release());
    names_.reset(static_cast<char *>(names));
    capacity_ = capacity;
    return true;
  }

  HeapBlock<char> names_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

/// Reads the directory's listing; returns false when it can't be read to its end.
bool listFiles(const char *directory, NameList &names) {
  RegularFiles files(directory);
  if (!files) {
    return false;
  }
  while (const char *const name = files.next()) {
    if (!names.add(name)) {
      return false;
    }
  }
  return errno == 0;
}

void removeOldImage(const char *directory, const char *name) {
  char path[kImagePathSize];
  static_cast<void>(std::snprintf(path, sizeof path, "%s/%s", directory, name));
  if (std::remove(path) != 0) {
    std::printf("Unlink %s fail in TF card.\n", path);
  }
}

void makeOldImage(const char *directory, const char *name, std::string_view image) {
  char from[kImagePathSize];
  char to[kImagePathSize];
  static_cast<void>(std::snprintf(from, sizeof from, "%s/%s", directory, name));
  static_cast<void>(std::snprintf(to, sizeof to, "%s/%.*s%s", directory, printed(image), image.data(), kOldImage));
  if (std::rename(from, to) != 0) {
    std::printf("Rename %s to %s fail in TF card.\n", name, to);
  }
}

/// Ages the images before a new one is stored. Removes first, then renames: the order of the directory must not matter,
/// and a renamed file must not be removed.
void ageImages(const char *directory, const NameList &names) {
  for (const char *name = names.begin(); name != names.end(); name = NameList::after(name)) {
    if (imageOf(name, kOldImage)) {
      removeOldImage(directory, name);
    }
  }
  for (const char *name = names.begin(); name != names.end(); name = NameList::after(name)) {
    if (const auto image = imageOf(name, kNewImage)) {
      makeOldImage(directory, name, *image);
    }
  }
}

/// Syncs a file, its name, and the name of its directory, which may be new.
bool isStored(const char *path, const char *directory) {
  char parent[kImagePathSize];
  static_cast<void>(std::snprintf(parent, sizeof parent, "%s/..", directory));
  return vexora::reachesMedium(path) && vexora::reachesMedium(directory) && vexora::reachesMedium(parent);
}

}  // namespace

int common_check_ima_file_version_tf_card(const char *directory, const char *version) {
  if (directory == nullptr || version == nullptr) {
    return -1;
  }
  const CardDirectory place(directory);
  if (!exists(place.path())) {
    VexoraDebug(vexora::kInfo, kLogModule, "%s is not exist in TF Card\n", place.path());
    return VEXORA_CARD_NO_DIRECTORY;
  }
  RegularFiles files(place.path());
  if (!files) {
    std::printf("Cannot open directory %s\n", place.path());
    return -1;
  }
  while (const char *const name = files.next()) {
    if (begins(version, imageOf(name, kNewImage))) {
      return VEXORA_CARD_IMAGE_NEW;
    }
    if (begins(version, imageOf(name, kOldImage))) {
      return VEXORA_CARD_IMAGE_OLD;
    }
  }
  return VEXORA_CARD_NO_IMAGE;
}

int common_copy_ima_file_to_tf_card(const char *source_path, const char *image_name, const char *directory) {
  if (source_path == nullptr || image_name == nullptr || directory == nullptr) {
    return -1;
  }
  if (!exists(kCard)) {
    std::fputs("TFCARD_DEVICE:check TF card fail, no such device.", stdout);
    return VEXORA_CARD_MISSING;
  }
  if (!exists(kCardMountPoint)) {
    std::fputs("TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.", stdout);
    return VEXORA_CARD_MISSING;
  }
  const CardDirectory place(directory);
  if (!exists(place.path()) && mkdir(place.path(), kImageDirectoryMode) != 0) {
    VexoraDebug(vexora::kError, kLogModule, "create %s in TF card fail.\n", place.path());
    return -1;
  }
  NameList names;
  if (!listFiles(place.path(), names)) {
    std::printf("Cannot open directory %s\n", place.path());
    return -1;
  }
  ageImages(place.path(), names);
  char destination[kImagePathSize];
  static_cast<void>(std::snprintf(destination, sizeof destination, "%s/%s.%s", place.path(), image_name, "new"));
  if (copyFile(source_path, destination) != 0 || !isStored(destination, place.path())) {
    std::printf("Copy %s to %s fail in TF card.\n", source_path, destination);
    return -1;
  }
  return 0;
}
