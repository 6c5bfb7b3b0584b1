// SPDX-License-Identifier: Apache-2.0
#include "core/several.h"

#include <algorithm>
#include <iostream>

namespace vexora::tool {
namespace {

const char *valueOf(const std::vector<NamedValue> &values, const std::string &name) {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const NamedValue &value) { return value.name == name; });
  return found == values.end() ? nullptr : found->value.c_str();
}

}  // namespace

void forEachFile(Session &session, const std::vector<std::string> &files,
                 const std::function<Json(const std::string &file, const std::string &before)> &work) {
  Json answers = array();
  for (const std::string &file : files) {
    try {
      answers.append(work(file, files.size() > 1 ? printable(file) + ": " : ""));
    } catch (const Failure &failure) {
      if (files.size() == 1) {
        throw;
      }
      session.report({{{file, failure.what()}}}, "");
      session.found(failure.outcome());
    }
  }
  session.answer(object({{"files", answers}}));
}

void reportDifferences(Session &session, const std::vector<NamedValue> &before, const std::vector<NamedValue> &after) {
  std::vector<Finding> findings;
  const auto add = [&](const std::string &name, const char *old, const char *now) {
    const auto shown = [](const char *value) { return value == nullptr ? std::string("not there") : value; };
    findings.push_back({name, shown(old) + " -> " + shown(now), {}, object({{"before", old}, {"after", now}})});
  };
  for (const auto &[name, value] : before) {
    const char *now = valueOf(after, name);
    if (now == nullptr || value != now) {
      add(name, value.c_str(), now);
    }
  }
  for (const auto &[name, value] : after) {
    if (valueOf(before, name) == nullptr) {
      add(name, nullptr, value.c_str());
    }
  }
  session.report(findings, "no differences");
}

}  // namespace vexora::tool
