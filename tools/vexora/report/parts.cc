// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <numeric>
#include <sstream>

#include "core/root.h"
#include "events/commands.h"
#include "fru/commands.h"
#include "history/commands.h"
#include "log/commands.h"
#include "report/commands.h"
#include "report/report.h"
#include "settings/commands.h"

namespace vexora::tool::report {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostFiles = 100'000;
constexpr auto kPassOver = fs::directory_options::skip_permission_denied;
constexpr const char *kCard = "/mnt/sdmmc0p2";

// What is asked about the library's own files. The first question looks for damage.
struct Questions {
  const char *path;
  std::vector<const char *> commands;
};
const Questions kQuestions[] = {
    {"/conf/vexora_debug", {"log"}},
    {"/extlog/syslog/WDT.log", {"log tail --lines 50"}},
    {"/extlog/syslog/history_data.dat", {"history verify", "history stats", "history plot"}},
    {"/conf/SmtpCfg.json", {"config smtp check", "config smtp show"}},
    {"/conf/SnmpTrapCfg.json", {"config trap check", "config trap show"}},
    {"/conf/SnmpAgentCfg.json", {"config agent check", "config agent show"}},
    {"/conf/eventsubscriptions.conf", {"subscriptions check", "subscriptions show"}},
};

/// A text with the board's own paths.
std::string withoutRoot(std::string text, const std::string &root) {
  for (std::size_t at = 0; !root.empty() && (at = text.find(root + "/", at)) != std::string::npos;) {
    text.erase(at, root.size());
  }
  return text;
}

/// A subscription's token is nobody's to read in a case.
void maskTokens(std::string &text) {
  constexpr std::string_view kToken = "\n  hxauth ";
  for (std::size_t at = 0; (at = text.find(kToken, at)) != std::string::npos; at += kToken.size()) {
    const std::size_t begin = text.find_first_not_of(' ', at + kToken.size());
    text.replace(begin, text.find('\n', begin) - begin, "********");
  }
}

/// Runs a command and adds its answer to a part.
void ask(Session &session, const std::string &command, const std::vector<std::string> &more, Part &part) {
  Session own{.root = session.root};
  CLI::App app;
  for (const auto add : {addLog, addHistory, addFru, addSettings, addEvents, addCrash}) {
    add(Command(&app), own);
  }
  std::istringstream words(command);
  std::vector<std::string> line{std::istream_iterator<std::string>(words), {}};
  line.insert(line.end(), more.begin(), more.end());
  std::reverse(line.begin(), line.end());
  std::string error;
  std::string text = captured([&] {
    try {
      app.parse(line);
    } catch (const std::exception &failure) {
      const auto *known = dynamic_cast<const Failure *>(&failure);
      own.found(known == nullptr ? kInaccessible : known->outcome());
      error = failure.what();
    }
  });
  maskTokens(text);
  part.text += withoutRoot(text + error + (error.empty() ? "" : "\n"), session.root);
  const auto found = [&](const std::string &place, const std::string &reason, const std::string &kind) {
    const std::string inside = withoutRoot(place, session.root);
    part.findings.push_back(
        {inside.starts_with(part.path) ? inside : part.path + ": " + inside, withoutRoot(reason, session.root), kind});
  };
  for (std::size_t i = 0; i < json_object_array_length(own.findings.get()); ++i) {
    const auto member = [finding = json_object_array_get_idx(own.findings.get(), i)](const char *key) {
      json_object *value = json_object_object_get(finding, key);
      return std::string(value == nullptr ? "" : json_object_get_string(value));
    };
    if (member("kind") != "symbols") {
      found(member("place"), member("reason"), member("kind"));
    }
  }
  // What a check has found is no news when another command stumbles over it.
  if (!error.empty() && part.findings.empty() && own.outcome != kUsage) {
    session.found(own.outcome);
    found(part.path, error, "");
  }
}

/// An inventory image, by its name or, as those have many names, by its header.
bool isFru(const std::string &path, const std::string &content) {
  const unsigned sum = std::accumulate(
      content.begin(), content.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(content.size(), 8)), 0U,
      [](unsigned all, char byte) { return all + static_cast<unsigned char>(byte); });
  return path.ends_with(".fru") || (content.size() >= 8 && content[0] == 1 && content[6] == 0 && sum % 256 == 0);
}

/// The regular files below a folder of the board, by their paths there. Links are not followed.
std::vector<std::string> filesBelow(const Session &session, const char *folder) {
  std::error_code error;
  std::vector<std::string> files;
  for (auto entry = fs::recursive_directory_iterator(session.path(folder), kPassOver, error);
       !error && entry != fs::recursive_directory_iterator() && files.size() < kMostFiles; entry.increment(error)) {
    if (std::error_code unknown; entry->symlink_status(unknown).type() == fs::file_type::regular) {
      files.push_back(entry->path().string().substr(session.root.size()));
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// What lies on a board under any name: crash reports in the logs of consoles, and inventory images.
void addFound(Session &session, const std::string &debugFolder, const std::string &path, std::vector<Part> &parts) {
  const std::string file = session.path(path);
  std::error_code error;
  if (fs::file_size(file, error) > kLargestLog || error) {
    return;
  }
  const std::string content = readText(file, kLargestLog);
  Part part{path, {}};
  if (isFru(path, content)) {
    ask(session, "fru show", {file}, part);
  } else if (content.find(" received SIG") != std::string::npos || content.find(".so.1(+0x") != std::string::npos) {
    ask(session, "crash --debug-dir", {debugFolder, file}, part);
  }
  if (!part.text.empty()) {
    parts.push_back(std::move(part));
  }
}

/// The card: each folder has one image, the new one and the one before.
Part cardOf(const Session &session) {
  Part part{kCard, {}};
  std::map<std::string, std::string> images;
  for (const std::string &path : filesBelow(session, kCard)) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(session.path(path), error);
    const std::size_t name = path.rfind('/') + 1;
    const bool isNew = path.find(".new", name) != std::string::npos;
    part.text += std::to_string(size) + " bytes  " + printable(path) + "\n";
    if (size == 0 && (isNew || path.find(".old", name) != std::string::npos)) {
      part.findings.push_back({path, "an empty image", "card"});
    }
    if (isNew && !images.try_emplace(path.substr(0, name), path).second) {
      part.findings.push_back({path, "a second new image beside " + images[path.substr(0, name)], "card"});
    }
  }
  return part;
}

}  // namespace

std::vector<Part> examine(Session &session, const std::string &debugFolder, const std::string &picture) {
  std::vector<Part> parts;
  std::error_code error;
  for (const auto &[path, commands] : kQuestions) {
    Part part{path, {}};
    if (!fs::exists(session.path(path), error)) {
      part.text = "not there\n";
    } else {
      for (const char *command : commands) {
        const bool isDrawn = VEXORA_TOOLS_PLOT != 0 && !picture.empty() && std::string_view(command) == "history plot";
        ask(session, command, isDrawn ? std::vector<std::string>{"--svg", picture} : std::vector<std::string>(), part);
      }
    }
    parts.push_back(std::move(part));
  }
  for (const char *folder : {"/conf", "/etc", "/extlog", "/mnt", "/var"}) {
    for (const std::string &path : filesBelow(session, folder)) {
      addFound(session, debugFolder, path, parts);
    }
  }
  parts.push_back(cardOf(session));
  return parts;
}

}  // namespace vexora::tool::report
