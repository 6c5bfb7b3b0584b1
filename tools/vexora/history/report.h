// SPDX-License-Identifier: Apache-2.0
//
// Records in words: the answers of show, stats, export and verify.
#pragma once

#include <span>
#include <string>

#include "history/file.h"

namespace vexora::tool::history {

std::string tableOf(std::span<const Record> records, bool utc);
std::string csvOf(std::span<const Record> records, bool utc);
Json jsonOf(std::span<const Record> records);

std::string statisticsOf(std::span<const Record> records, bool utc);
Json statisticsJsonOf(std::span<const Record> records);

std::vector<Finding> findingsOf(std::span<const Damage> damages, bool utc);
Json summaryJsonOf(const DataFile &file, const std::string &path);

}  // namespace vexora::tool::history
