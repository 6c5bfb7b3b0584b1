// SPDX-License-Identifier: Apache-2.0
// File helpers of the host. Links inside copied and removed trees are copied and removed as links, so that no call
// touches files outside the tree. Directories are read with readdir: the standard library's iterators end the program
// when an allocation fails.

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>

#include "firmware/unix.h"
#include "no_exceptions.h"

namespace {

namespace fs = std::filesystem;
using vexora::firmware::withoutExceptions;

fs::path destinationOf(const fs::path &from, const char *to) {
  std::error_code error;
  return fs::is_directory(to, error) ? fs::path(to) / from.filename() : fs::path(to);
}

int copyOneFile(const fs::path &from, const fs::path &to) {
  std::error_code error;
  const bool copied = fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
  return copied && !error ? 0 : -1;
}

int moveOneFile(const fs::path &from, const fs::path &to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (error != std::errc::cross_device_link) {
    return error ? -1 : 0;
  }
  if (copyOneFile(from, to) != 0) {
    return -1;
  }
  fs::remove(from, error);
  return error ? -1 : 0;
}

bool isInside(const fs::path &inner, const fs::path &outer) {
  return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

struct DirectoryCloser {
  void operator()(DIR *directory) const { closedir(directory); }
};

// Calls `action` with the name of each entry until the last one or an error.
template <typename Action>
void forEachEntry(const fs::path &path, std::error_code &error, Action action) {
  const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(path.c_str()));
  if (!directory) {
    error.assign(errno, std::generic_category());
    return;
  }
  while (!error) {
    errno = 0;
    const dirent *const entry = readdir(directory.get());
    if (entry == nullptr) {
      error.assign(errno, std::generic_category());
      return;
    }
    if (const std::string_view name = entry->d_name; name != "." && name != "..") {
      action(name);
    }
  }
}

void removeTree(const fs::path &path, std::error_code &error) {
  if (fs::symlink_status(path, error).type() == fs::file_type::directory) {
    forEachEntry(path, error, [&](std::string_view name) { removeTree(path / name, error); });
    if (error) {
      return;
    }
  }
  fs::remove(path, error);
}

// Removes an entry that an entry of `type` would replace. Returns false when an existing entry is to be kept.
bool makeWay(const fs::path &to, fs::file_type type, bool overwrite, std::error_code &error) {
  const fs::file_type existing = fs::symlink_status(to, error).type();
  if (existing == fs::file_type::not_found) {
    error.clear();
    return true;
  }
  if (error || (existing == type && type == fs::file_type::directory)) {
    return true;
  }
  if (overwrite) {
    removeTree(to, error);
  }
  return overwrite;
}

void copyEntry(const fs::path &from, const fs::path &to, bool overwrite, std::error_code &error) {
  const fs::file_type type = fs::symlink_status(from, error).type();
  const bool isCopied =
      type == fs::file_type::directory || type == fs::file_type::symlink || type == fs::file_type::regular;
  if (error || !isCopied || !makeWay(to, type, overwrite, error) || error) {
    return;
  }
  if (type == fs::file_type::symlink) {
    fs::copy_symlink(from, to, error);
  } else if (type == fs::file_type::regular) {
    fs::copy_file(from, to, error);
  } else if (fs::create_directory(to, from, error); !error) {
    forEachEntry(from, error, [&](std::string_view name) { copyEntry(from / name, to / name, overwrite, error); });
  }
}

int copyTree(const fs::path &from, const fs::path &to, bool overwrite) {
  std::error_code error;
  const fs::path source = fs::canonical(from, error);
  if (error || !fs::is_directory(source, error)) {
    return -1;
  }
  if (const fs::path target = fs::weakly_canonical(fs::absolute(to, error), error); error || isInside(target, source)) {
    return -1;
  }
  fs::create_directories(to, error);
  if (!error) {
    forEachEntry(source, error, [&](std::string_view name) { copyEntry(source / name, to / name, overwrite, error); });
  }
  return error ? -1 : 0;
}

}  // namespace

int copyFile(const char *from, const char *to) {
  if (from == nullptr || to == nullptr) {
    return -1;
  }
  return withoutExceptions(-1, [=] { return copyOneFile(from, destinationOf(from, to)); });
}

int moveFile(const char *from, const char *to) {
  if (from == nullptr || to == nullptr) {
    return -1;
  }
  return withoutExceptions(-1, [=] { return moveOneFile(from, destinationOf(from, to)); });
}

int copyDir(const char *from, const char *to, int overwrite) {
  if (from == nullptr || to == nullptr) {
    return -1;
  }
  return withoutExceptions(-1, [=] { return copyTree(from, to, overwrite != 0); });
}

int RmDir(const char *path) {
  if (path == nullptr || *path == '\0') {
    return -1;
  }
  return withoutExceptions(-1, [=] {
    std::error_code error;
    if (fs::equivalent(path, "/", error)) {
      return -1;
    }
    removeTree(path, error);
    return error ? -1 : 0;
  });
}
