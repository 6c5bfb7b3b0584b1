// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

namespace vexora {

/// The C library's text for an error number, safe in any thread.
class ErrorText {
 public:
  explicit ErrorText(int error) : text_(strerror_r(error, buffer_, sizeof buffer_)) {}
  ErrorText(const ErrorText &) = delete;
  ErrorText &operator=(const ErrorText &) = delete;

  [[nodiscard]] const char *get() const { return text_; }

 private:
  char buffer_[128] = {};
  const char *text_;
};

}  // namespace vexora
