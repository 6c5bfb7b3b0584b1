// SPDX-License-Identifier: Apache-2.0
//
// The answers of show, stats, export and verify, as text and JSON.
#pragma once

#include <span>
#include <string>

#include "history/selection.h"

namespace vexora::tool::history {

std::string tableOf(const Selection &selection);
std::string csvOf(const Selection &selection);
Json jsonOf(const Selection &selection);

std::string statisticsOf(const Selection &selection);
Json statisticsJsonOf(const Selection &selection);

std::vector<Finding> findingsOf(std::span<const Damage> damages, const Clock &clock, const std::string &file = "");
Json summaryJsonOf(const DataFile &file, const std::string &path);

}  // namespace vexora::tool::history
