// SPDX-License-Identifier: Apache-2.0
//
// The path check, by the C library's matcher: only it classifies a locale's letters as it always has. Its time grows
// linearly with the path's length.

#include "base/report.h"
#include "text/pattern.h"
#include "vexora/text.h"

namespace {

// The point is not escaped: it matches any one character.
constexpr const char *kPathPattern = R"(^\/(\w+\/?-?.?:?)+$)";

}  // namespace

int is_valid_path(const char *path) {
  if (path == nullptr || *path == '\0') {
    return -1;
  }
  const vexora::text::Pattern pattern(kPathPattern);
  if (!pattern) {
    return -1;
  }
  const int status = pattern.match(path);
  if (status == REG_NOMATCH) {
    REPORT_FAILURE(vexora::kBaseFunction, "Error: no match status is:%d\n", status);
    return -1;
  }
  return status;
}
