// SPDX-License-Identifier: Apache-2.0
//
// Records in words: the answers of show, stats, export and verify.
#pragma once

#include <span>
#include <string>

#include "history_file.h"

namespace vexora::tool::history {

std::string tableOf(std::span<const Record> records, bool utc);
std::string csvOf(std::span<const Record> records, bool utc);
Json jsonOf(std::span<const Record> records);

std::string statisticsOf(std::span<const Record> records, bool utc);
Json statisticsJsonOf(std::span<const Record> records);

std::string findingsText(const DataFile &file, const std::string &path, std::span<const Finding> findings, bool utc);
Json findingsJson(const DataFile &file, const std::string &path, std::span<const Finding> findings);

}  // namespace vexora::tool::history
