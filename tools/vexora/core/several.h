// SPDX-License-Identifier: Apache-2.0
//
// Commands over several files: each looked at whatever the others are, or two compared.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/tool.h"

namespace vexora::tool {

/// Does the work for each file, and adds the objects that it returns to the answer as "files". The work gets the name
/// to put before what it prints: none when there is only one file. Of several files one that can't be used is a
/// finding, and the next one follows.
void forEachFile(Session &session, const std::vector<std::string> &files,
                 const std::function<Json(const std::string &file, const std::string &before)> &work);

struct NamedValue {
  std::string name;
  std::string value;
};

/// Reports what is in only one of two lists or has another value there, which is a finding.
void reportDifferences(Session &session, const std::vector<NamedValue> &before, const std::vector<NamedValue> &after);

}  // namespace vexora::tool
