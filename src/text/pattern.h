// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <regex.h>

namespace vexora::text {

/// Owns a compiled extended regular expression. A failed compile leaves nothing to release.
class Pattern {
 public:
  explicit Pattern(const char *text) : compiled_(regcomp(&pattern_, text, REG_EXTENDED) == 0) {}
  Pattern(const Pattern &) = delete;
  Pattern &operator=(const Pattern &) = delete;
  ~Pattern() {
    if (compiled_) {
      regfree(&pattern_);
    }
  }

  explicit operator bool() const { return compiled_; }

  /// Returns 0 for a match anywhere in the text, or regexec's error.
  int match(const char *text) const {
    regmatch_t whole{};
    return regexec(&pattern_, text, 1, &whole, 0);
  }

 private:
  regex_t pattern_{};
  bool compiled_;
};

}  // namespace vexora::text
