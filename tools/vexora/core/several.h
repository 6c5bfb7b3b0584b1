// SPDX-License-Identifier: Apache-2.0
//
// Commands that process several files or compare two.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/tool.h"

namespace vexora::tool {

/// Does the work for each file and adds the objects that it returns to the answer as "files". The work gets a prefix
/// for the lines that it prints, which is empty for a single file. Of several files an unusable one is a finding, and
/// the work goes on.
void forEachFile(Session &session, const std::vector<std::string> &files,
                 const std::function<Json(const std::string &file, const std::string &before)> &work);

struct NamedValue {
  std::string name;
  std::string value;
};

/// Reports a finding for each value that differs or is in only one of the lists.
void reportDifferences(Session &session, const std::vector<NamedValue> &before, const std::vector<NamedValue> &after);

}  // namespace vexora::tool
