// SPDX-License-Identifier: Apache-2.0
//
// vexora report: runs the other commands on a board or a dump of its files, and collects their findings.
#include "report/commands.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>

#include "core/root.h"
#include "report/report.h"

namespace vexora::tool {
namespace {

namespace fs = std::filesystem;

// A dump is hostile. tar creates no file outside the directory: it removes a leading "/", refuses ".." and creates
// links last. The unpacked size is limited to 2 GiB. Devices and pipes are deleted, as opening one may block. Names are
// parameters, so the shell doesn't interpret them. A single directory around the board's ones is removed.
constexpr const char *kUnpack =
    R"(cd "$2" || exit
       ulimit -f 4194304
       gzip -dcf <"$1" | head -c 2147483648 |
         LC_ALL=C tar -x -m --no-same-owner --no-same-permissions 2>&1 | grep -v '^tar: Removing leading'
       chmod -R u+rwX .
       find . ! -type d ! -type f ! -type l -delete
       [ -e conf ] || [ -e extlog ] || find . -mindepth 2 -maxdepth 2 -exec mv -t . {} +
       [ -e conf ] || [ -e extlog ] || echo 'neither /conf nor /extlog of a board is in it')";

constexpr const char *kPage =
    "<!DOCTYPE html>\n<html lang=\"en\"><meta charset=\"utf-8\"><title>Report</title>\n"
    "<style>body{font:16px sans-serif;max-width:75em;margin:2em auto;padding:0 1em}svg{max-width:100%;height:auto}"
    "pre{background:#f5f5f5;padding:1em;overflow-x:auto}</style>\n<h1>Report</h1>\n";

struct Arguments {
  std::string dump;
  std::string page;
  std::string debugDirectory;
};

/// Returns what is wrong with the archive, "" if nothing.
std::string unpack(const std::string &archive, const std::string &directory) {
  std::string said = report::runProgram({"sh", "-c", kUnpack, "sh", fs::canonical(archive), directory});
  said.erase(0, said.find_first_not_of('\n'));
  said.erase(std::min(said.find('\n'), said.size()));
  return said;
}

std::string section(const std::string &heading, const std::string &text) {
  return "<h2>" + escaped(printable(heading)) + "</h2>\n<pre>" + escaped(text) + "</pre>\n";
}

void show(Session &session, const Arguments &arguments) {
  std::string directory = fs::temp_directory_path() / "vexora.XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) {
    throw Failure(kInaccessible, "cannot make " + directory + ": " + std::strerror(errno));
  }
  const std::shared_ptr<void> removal(nullptr, [&directory](void *) {
    const OwnFiles own;
    const int reason = errno;  // main() reports it if a write to standard output has failed
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    errno = reason;
  });
  const std::string name = arguments.dump.empty() ? session.path("/") : arguments.dump;
  std::vector<Finding> findings;
  if (!arguments.dump.empty()) {
    if (const std::string damage = unpack(arguments.dump, directory); !damage.empty()) {
      findings.push_back({name, damage, "dump"});
    }
    session.root = enterRoot(directory);
    session.name = name;
  }
  const std::string picture = arguments.page.empty() ? "" : directory + "/.history.svg";
  const std::vector<report::Part> parts = report::examine(session, arguments.debugDirectory, picture);
  std::string details;
  for (const report::Part &part : parts) {
    findings.insert(findings.end(), part.findings.begin(), part.findings.end());
    details += section(part.path, part.text);
    std::cout << (session.json || !picture.empty() ? "" : "== " + printable(part.path) + "\n" + part.text + "\n");
  }
  const std::string lines = captured([&] { session.report(findings, "no findings"); });
  std::cout << lines;
  if (!picture.empty()) {
    const OwnFiles own;
    const std::string drawn = fs::exists(picture) ? readText(picture) : "";
    writeFile(arguments.page,
              kPage + section("Findings", lines) + drawn.substr(std::min(drawn.find("<svg"), drawn.size())) + details);
  }
  const auto toJson = [](const report::Part &part) { return object({{"file", part.path}, {"text", part.text}}); };
  session.answer(object({{"file", name}, {"parts", list(parts, toJson)}}));
}

}  // namespace

void addReport(Command app, Session &session) {
  constexpr const char *kAbout =
      "Shows and checks all that the library left on a board: the debug log, the history, settings, event "
      "subscriptions, the card, and crash reports and FRU images (*.fru, or by their header) wherever they lie. "
      "Secrets are masked.\nDUMP is a tar archive of the board's file system, also one by gzip. It is unpacked for the "
      "time of the run. Without it: the root.";
  Command command = app.add("report", kAbout, "vexora report --html board.html");
  auto arguments = std::make_shared<Arguments>();
  command.option("DUMP", arguments->dump, "Archive").typeName("");
  command.option("--html", arguments->page, "Write one page to attach to a case, with charts").typeName("FILE");
  command.option("--debug-dir", arguments->debugDirectory, "Directory of unpacked packages: see 'crash'")
      .typeName("DIR");
  command.run([&session, arguments] {
    if (!arguments->dump.empty() && !session.root.empty()) {
      throw Failure(kUsage, "report takes DUMP or --root, not both");
    }
    show(session, *arguments);
  });
}

}  // namespace vexora::tool
