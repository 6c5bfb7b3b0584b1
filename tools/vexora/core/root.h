// SPDX-License-Identifier: Apache-2.0
//
// The library works at the board's fixed paths. Inside --root DIR the tool stands between it and the system: the calls
// that take a path are defined in the program (root_calls.cc), which every library asks first, and lead the board's
// folders into DIR. Links are followed as a process would whose "/" is DIR, so that none leads out of it. The tool's
// own files are not led anywhere, unless they were named by their place in DIR.
#pragma once

#include <string>

namespace vexora::tool {

/// From here on the folders "/conf", "/etc", "/extlog", "/mnt" and "/var" are those of `root`. Returns the root's
/// absolute path, without a slash at its end; "" for "/" or an empty root.
std::string enterRoot(const std::string &root);

/// Whether the board's folders are led into a root.
bool insideRoot();

/// Whether the last name of a path may be a link to what is meant.
enum class Last { kFollowed, kItself };

/// The path that the system has to see for the one that a program named; it lives as long as this.
class Led {
 public:
  explicit Led(const char *path, Last last = Last::kFollowed);
  [[nodiscard]] const char *get() const { return path_; }

 private:
  std::string room_;
  const char *path_;
};

/// The system's path for a file of the tool's own, such as one that the user named.
std::string ownPath(const std::string &path);

/// While one lives, the tool's own calls reach the system's folders.
class OwnFiles {
 public:
  OwnFiles();
  ~OwnFiles();
  OwnFiles(const OwnFiles &) = delete;
  OwnFiles &operator=(const OwnFiles &) = delete;
};

}  // namespace vexora::tool
