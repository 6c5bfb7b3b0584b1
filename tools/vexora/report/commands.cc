// SPDX-License-Identifier: Apache-2.0
//
// vexora report: all that the other commands find wrong with a board, or with a dump of its files.
#include "report/commands.h"

#include <unistd.h>

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

// A dump comes from elsewhere. tar makes no file outside of the folder: it leaves out a leading "/", refuses ".." and
// makes links last. What a few bytes may swell to is limited to 2 GiB, and opening a device or pipe might wait, so none
// is left. A single folder around the board's ones is taken away. The shell gets names as parameters: it doesn't read
// them.
constexpr const char *kUnpack =
    R"(exec 3>&1 >/dev/null; cd "$2" && ulimit -f 4194304 &&
       gzip -dcf <"$1" | head -c 2147483648 | LC_ALL=C tar -x -m --no-same-owner --no-same-permissions
       chmod -R u+rwX . && find . ! -type d ! -type f ! -type l -delete
       [ -e conf ] || [ -e extlog ] || mv ./*/* . 2>/dev/null
       [ -e conf ] || [ -e extlog ] || echo "neither /conf nor /extlog of a board is in it" >&2)";

constexpr const char *kPage =
    "<!DOCTYPE html>\n<html lang=\"en\"><meta charset=\"utf-8\"><title>Report</title>\n"
    "<style>body{font:16px sans-serif;max-width:75em;margin:2em auto;padding:0 1em}svg{max-width:100%;height:auto}"
    "pre{background:#f5f5f5;padding:1em;overflow-x:auto}</style>\n<h1>Report</h1>\n";

struct Arguments {
  std::string dump;
  std::string page;
  std::string debugFolder;
};

/// Returns what is wrong with the archive; empty when nothing is.
std::string unpack(const std::string &archive, const std::string &folder) {
  if (access(archive.c_str(), R_OK) != 0) {
    throw Failure(kInaccessible, "cannot read " + printable(archive) + ": " + std::strerror(errno));
  }
  std::string said = report::runProgram({"sh", "-c", kUnpack, "sh", fs::absolute(archive), folder});
  said.erase(0, said.find_first_not_of('\n'));
  said.erase(std::min(said.find('\n'), said.size()));
  return said.find("Removing leading") == std::string::npos ? said : "";
}

std::string escaped(const std::string &text) {
  std::string safe;
  for (const char character : text) {
    safe += character == '<' ? "&lt;" : character == '&' ? "&amp;" : std::string(1, character);
  }
  return safe;
}

std::string section(const std::string &heading, const std::string &picture, const std::string &text) {
  return "<h2>" + escaped(printable(heading)) + "</h2>\n" + picture + "<pre>" + escaped(text) + "</pre>\n";
}

std::string pageOf(const std::string &name, const std::vector<Finding> &findings,
                   const std::vector<report::Part> &parts, const std::string &picture) {
  std::string lines = findings.empty() ? "none\n" : "";
  for (const Finding &finding : findings) {
    lines +=
        printable(finding.kind + (finding.kind.empty() ? "" : ": ") + finding.place + ": " + finding.reason) + "\n";
  }
  std::string page = kPage + section("Findings in " + name, "", lines);
  for (const report::Part &part : parts) {
    page += section(part.path, part.path.ends_with("/history_data.dat") ? picture : "", part.text);
  }
  return page;
}

void show(Session &session, const Arguments &arguments) {
  std::string folder = fs::temp_directory_path() / "vexora.XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw Failure(kInaccessible, "cannot make " + folder + ": " + std::strerror(errno));
  }
  const std::shared_ptr<void> removal(nullptr, [&folder](void *) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  });
  const std::string picture = folder + "/.history.svg";
  const std::string name = arguments.dump.empty() ? session.path("/") : arguments.dump;
  std::vector<Finding> findings;
  if (!arguments.dump.empty()) {
    if (const std::string damage = unpack(arguments.dump, folder); !damage.empty()) {
      findings.push_back({name, damage, "dump"});
    }
    session.root = enterRoot(folder);
  }
  const std::vector<report::Part> parts =
      report::examine(session, arguments.debugFolder, arguments.page.empty() ? "" : picture);
  for (const report::Part &part : parts) {
    findings.insert(findings.end(), part.findings.begin(), part.findings.end());
    if (!session.json && arguments.page.empty()) {
      std::cout << "== " << printable(part.path) << "\n" << part.text << "\n";
    }
  }
  if (!arguments.page.empty()) {
    const std::string drawn = fs::exists(picture) ? readText(picture) : "";
    writeFile(arguments.page, pageOf(name, findings, parts, drawn.substr(std::min(drawn.find("<svg"), drawn.size()))));
  }
  const auto toJson = [](const report::Part &part) { return object({{"file", part.path}, {"text", part.text}}); };
  session.answer(object({{"file", name}, {"parts", list(parts, toJson)}}));
  session.report(findings, "no findings");
}

}  // namespace

void addReport(Command app, Session &session) {
  Command command =
      app.add("report",
              "Shows and checks all that the library left on a board: the debug log, the history, settings, event "
              "subscriptions, the card, and crash reports and FRU images (*.fru, or by their header) wherever they "
              "lie. Secrets "
              "are masked.\nDUMP is a tar archive of the board's file system, also one by gzip, that is unpacked for "
              "the time of "
              "the run. Without it: the root.",
              "vexora report --html board.html");
  auto arguments = std::make_shared<Arguments>();
  command.option("DUMP", arguments->dump, "Archive").typeName("");
  command.option("--html", arguments->page, "Write one page to attach to a case, with charts").typeName("FILE");
  command.option("--debug-dir", arguments->debugFolder, "Folder of unpacked packages: see 'crash'").typeName("DIR");
  command.run([&session, arguments] {
    if (!arguments->dump.empty() && !session.root.empty()) {
      throw Failure(kUsage, "report takes DUMP or --root, not both");
    }
    show(session, *arguments);
  });
  addCrash(app, session);
}

}  // namespace vexora::tool
