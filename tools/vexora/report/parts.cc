// SPDX-License-Identifier: Apache-2.0
#include <vexora/platform.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>

#include "config/event_layout.h"
#include "config/settings_layout.h"
#include "core/root.h"
#include "diag/log_layout.h"
#include "events/commands.h"
#include "fru/commands.h"
#include "history/commands.h"
#include "history/file_layout.h"
#include "log/commands.h"
#include "platform/fru_layout.h"
#include "report/commands.h"
#include "report/report.h"
#include "settings/commands.h"
#include "storage/card_layout.h"

namespace vexora::tool::report {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxFiles = 100'000;
constexpr auto kPassOver = fs::directory_options::skip_permission_denied;

using Words = std::vector<std::string>;

// The library's files, and the commands to run on each. The first command checks for damage.
struct Questions {
  const char *path;
  std::vector<Words> commands;
};
const Questions kQuestions[] = {
    {VEXORA_DEBUG_DIRECTORY, {{"log"}}},
    {diag::kWatchdogLog, {{"log", "tail", "--lines", "50"}}},
    {vexora::history::kDataFile,
     {{"history", "verify"}, {"history", "stats", "--salvage"}, {"history", "plot", "--salvage"}}},
    {config::kSmtp.path, {{"config", "smtp", "check"}, {"config", "smtp", "show"}}},
    {config::kTrap.path, {{"config", "trap", "check"}, {"config", "trap", "show"}}},
    {config::kAgent.path, {{"config", "agent", "check"}, {"config", "agent", "show"}}},
    {config::kSubscriptionsFile, {{"subscriptions", "check"}, {"subscriptions", "show"}}},
};

/// Removes the root from a text, which leaves the board's own paths.
std::string withoutRoot(std::string text, const std::string &root) {
  for (std::size_t at = 0; !root.empty() && (at = text.find(root + "/", at)) != std::string::npos;) {
    text.erase(at, root.size());
  }
  return text;
}

/// Runs a command of the tool and adds its output and findings to a part.
void ask(Session &session, Words words, Part &part) {
  Session own{.root = session.root, .name = session.name};
  CLI::App app;
  for (const auto add : {addLog, addHistory, addFru, addConfig, addSubscriptions, addCrash}) {
    add(Command(&app), own);
  }
  std::reverse(words.begin(), words.end());
  std::string error;
  std::string text = captured([&] {
    try {
      app.parse(words);
    } catch (const Failure &failure) {
      own.found(failure.outcome());
      error = failure.what();
    }
  });
  // A report is passed on, so it must not contain a subscription's token.
  text = std::regex_replace(text, std::regex("(\n  hxauth +).*"), "$1********");
  part.text += withoutRoot(text + error + (error.empty() ? "" : "\n"), session.root);
  // The next commands find the same damage again: only the first one's findings count.
  const bool isNews = part.findings.empty();
  for (std::size_t i = 0; isNews && i < json_object_array_length(own.findings.get()); ++i) {
    const auto member = [&, one = json_object_array_get_idx(own.findings.get(), i)](const char *key) {
      const char *value = json_object_get_string(json_object_object_get(one, key));
      return withoutRoot(value == nullptr ? "" : value, session.root);
    };
    const std::string place = (member("place").starts_with(part.path) ? "" : part.path + ": ") + member("place");
    if (member("kind") != "symbols") {
      part.findings.push_back({place, member("reason"), member("kind")});
    }
  }
  if (!error.empty() && part.findings.empty() && own.outcome != kUsage) {
    session.found(own.outcome);
    part.findings.push_back({part.path, withoutRoot(error, session.root)});
  }
}

/// Returns the board's paths of the regular files below one of its directories. Links are not followed.
std::vector<std::string> filesBelow(const Session &session, const char *directory) {
  std::error_code error;
  std::vector<std::string> files;
  for (auto entry = fs::recursive_directory_iterator(session.path(directory), kPassOver, error);
       !error && entry != fs::recursive_directory_iterator() && files.size() < kMaxFiles; entry.increment(error)) {
    if (std::error_code unknown; entry->symlink_status(unknown).type() == fs::file_type::regular) {
      files.push_back(entry->path().string().substr(session.root.size()));
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// Adds a part for a file with any name that has crash reports, as a console's log, or is an inventory image.
void addFound(Session &session, const std::string &debugDirectory, const std::string &path, std::vector<Part> &parts) {
  const std::string file = session.path(path);
  std::error_code error;
  if (fs::file_size(file, error) > kMaxLog || error) {
    return;
  }
  const std::string content = readText(file, kMaxLog);
  const auto *bytes = reinterpret_cast<const std::uint8_t *>(content.data());
  Part part{path, {}};
  // Inventory images have many names, so the header is checked too.
  if (path.ends_with(".fru") || (content.size() >= vexora::fru::kHeaderSize && bytes[0] == vexora::fru::kFormat &&
                                 vexora_checksum_calc(bytes, vexora::fru::kHeaderSize) == 0)) {
    ask(session, {"fru", "show", file}, part);
  } else if (content.find(" received SIG") != std::string::npos || content.find(".so.1(+0x") != std::string::npos) {
    ask(session, {"crash", "--debug-dir", debugDirectory, file}, part);
  }
  if (!part.text.empty()) {
    parts.push_back(std::move(part));
  }
}

/// Lists the card's files. A directory has one image, in two versions: the new one and the previous one.
Part cardOf(const Session &session) {
  Part part{storage::kCardMountPoint, {}};
  std::map<std::string, std::string> images;
  for (const std::string &path : filesBelow(session, storage::kCardMountPoint)) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(session.path(path), error);
    const std::size_t name = path.rfind('/') + 1;
    const bool isNew = path.find(storage::kNewImage, name) != std::string::npos;
    part.text += std::to_string(size) + " bytes  " + printable(path) + "\n";
    if (size == 0 && (isNew || path.find(storage::kOldImage, name) != std::string::npos)) {
      part.findings.push_back({path, "an empty image", "card"});
    }
    if (isNew && !images.try_emplace(path.substr(0, name), path).second) {
      part.findings.push_back({path, "a second new image beside " + images[path.substr(0, name)], "card"});
    }
  }
  return part;
}

}  // namespace

std::vector<Part> examine(Session &session, const std::string &debugDirectory, const std::string &picture) {
  std::vector<Part> parts;
  std::error_code error;
  for (const auto &[path, commands] : kQuestions) {
    Part part{path, {}};
    if (!fs::exists(session.path(path), error)) {
      part.text = "not there\n";
    } else {
      for (Words words : commands) {
        if (VEXORA_TOOLS_PLOT != 0 && !picture.empty() && words.front() == "history" && words[1] == "plot") {
          words.insert(words.end(), {"--svg", picture});
        }
        ask(session, words, part);
      }
    }
    parts.push_back(std::move(part));
  }
  for (const char *directory : {"/conf", "/etc", "/extlog", "/mnt", "/var"}) {
    for (const std::string &path : filesBelow(session, directory)) {
      addFound(session, debugDirectory, path, parts);
    }
  }
  parts.push_back(cardOf(session));
  return parts;
}

}  // namespace vexora::tool::report
