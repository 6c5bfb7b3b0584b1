// SPDX-License-Identifier: Apache-2.0
#include "core/root.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/tool.h"

namespace vexora::tool {
namespace {

constexpr std::string_view kDirectories[] = {"/conf", "/etc", "/extlog", "/mnt", "/var"};

// The kernel's limit.
constexpr int kLinks = 40;

// A path that can't be resolved must not reach the system's own directories. No file has an empty name.
constexpr const char *kNowhere = "";

// Never destroyed: libraries close files after the program's static objects are destroyed.
std::string &rootDirectory() {
  static auto *const directory = new std::string;
  return *directory;
}

thread_local int ownFiles = 0;

bool liesIn(std::string_view path, std::string_view directory) {
  return path.starts_with(directory) && (path.size() == directory.size() || path[directory.size()] == '/');
}

bool isBoardPath(std::string_view path) {
  for (const std::string_view directory : kDirectories) {
    if (liesIn(path, directory)) {
      return true;
    }
  }
  return false;
}

std::optional<std::string> readLink(const std::string &path) {
  std::array<char, PATH_MAX> target{};
  // Not by readlink(): this program's own version of it would resolve the path again.
  const long length = syscall(SYS_readlinkat, AT_FDCWD, path.c_str(), target.data(), target.size());
  return length <= 0 ? std::nullopt : std::optional(std::string(target.data(), static_cast<std::size_t>(length)));
}

std::string takeName(std::string &rest) {
  const std::size_t begin = std::min(rest.find_first_not_of('/'), rest.size());
  const std::size_t end = std::min(rest.find('/', begin), rest.size());
  std::string name = rest.substr(begin, end - begin);
  rest.erase(0, end);
  return name;
}

/// Resolves links and ".." in a path whose "/" is the root. Missing names are kept.
std::string resolve(std::string rest, Last last) {
  const std::string &root = rootDirectory();
  std::string inside;
  for (int links = 0; links <= kLinks;) {
    const std::string name = takeName(rest);
    if (name.empty()) {
      return root + inside;
    }
    if (name == "..") {
      inside.erase(std::min(inside.rfind('/'), inside.size()));
    } else if (name != ".") {
      std::string next = inside;
      next.append("/").append(name);
      const bool asItself = rest.empty() && last == Last::kItself;
      const auto target = asItself ? std::nullopt : readLink(root + next);
      if (target) {
        ++links;
        rest.insert(0, *target + "/");
        inside = target->front() == '/' ? "" : inside;
      } else {
        inside = next;
      }
    }
  }
  return kNowhere;
}

}  // namespace

std::string enterRoot(const std::string &root) {
  if (root.empty()) {
    return {};
  }
  char *real = realpath(root.c_str(), nullptr);
  const std::string directory = real != nullptr ? real : "";
  std::free(real);
  if (directory.empty()) {
    throw Failure(kInaccessible, "cannot enter " + printable(root));
  }
  rootDirectory() = directory == "/" ? "" : directory;
  return rootDirectory();
}

bool insideRoot() { return !rootDirectory().empty(); }

Led::Led(const char *path, Last last) : path_(path) {
  const std::string &root = rootDirectory();
  if (root.empty() || path == nullptr) {
    return;
  }
  if (liesIn(path, root)) {
    room_ = resolve(path + root.size(), last);
  } else if (ownFiles == 0 && isBoardPath(path)) {
    room_ = resolve(path, last);
  } else {
    return;
  }
  path_ = room_.c_str();
}

std::string ownPath(const std::string &path) {
  const OwnFiles own;
  return Led(path.c_str()).get();
}

OwnFiles::OwnFiles() { ++ownFiles; }

OwnFiles::~OwnFiles() { --ownFiles; }

}  // namespace vexora::tool
