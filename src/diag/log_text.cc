// SPDX-License-Identifier: Apache-2.0

#include "diag/log_text.h"

#include <algorithm>
#include <cstdio>

namespace vexora {

bool LogText::render(const char *format, std::va_list arguments) {
  const int wanted = std::vsnprintf(text, kSize, format, arguments);
  if (wanted < 0) {
    return false;
  }
  length = std::min(static_cast<std::size_t>(wanted), kSize - 1);
  if (length != 0 && (text[length - 1] == '\n' || text[length - 1] == '\t')) {
    return true;
  }
  length = std::min(length + 1, kSize - 1);
  text[length - 1] = '\n';
  text[length] = '\0';
  return true;
}

}  // namespace vexora
