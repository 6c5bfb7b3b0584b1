// SPDX-License-Identifier: Apache-2.0
//
// The library uses the board's fixed paths. With --root DIR the tool redirects them into DIR: it defines the calls that
// take a path (root_calls.cc), and the dynamic linker prefers the program's definitions. Links are resolved as if "/"
// were DIR, so that none leads out of it. The tool's own files are redirected only if their path begins with DIR.
#pragma once

#include <string>

namespace vexora::tool {

/// From now on redirects the directories "/conf", "/etc", "/extlog", "/mnt" and "/var" into `root`. Returns the root's
/// absolute path without a trailing slash; "" for "/" or an empty root.
std::string enterRoot(const std::string &root);

bool insideRoot();

/// Whether the last name of a path is followed if it is a link.
enum class Last { kFollowed, kItself };

/// The redirected path for a call to the kernel. It is valid while this object lives.
class Led {
 public:
  explicit Led(const char *path, Last last = Last::kFollowed);
  [[nodiscard]] const char *get() const { return path_; }

 private:
  std::string room_;
  const char *path_;
};

/// Returns the path of a file that the user named: redirected only if it begins with the root.
std::string ownPath(const std::string &path);

/// While one lives, paths of its thread are redirected only if they begin with the root.
class OwnFiles {
 public:
  OwnFiles();
  ~OwnFiles();
  OwnFiles(const OwnFiles &) = delete;
  OwnFiles &operator=(const OwnFiles &) = delete;
};

}  // namespace vexora::tool
