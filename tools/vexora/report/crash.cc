// SPDX-License-Identifier: Apache-2.0
//
// vexora crash: finds functions and lines for the crash reports of the library's signal handlers. A report is a line
// per frame, then the thread and its signal. It has no build ids: they are read from the modules' files, and the
// packages' debug files are named after them.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <sstream>

#include "core/root.h"
#include "diag/log_layout.h"
#include "report/commands.h"
#include "report/report.h"

namespace vexora::tool {

std::string report::runProgram(std::vector<std::string> words) {
  std::vector<char *> arguments;
  std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                 [](std::string &word) { return word.data(); });
  arguments.push_back(nullptr);
  int error = 0;
  std::string said = captured([&] {
    pid_t child = -1;
    error = posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ);
    waitpid(child, nullptr, 0);
  });
  if (error != 0) {
    throw Failure(kInaccessible, "cannot run " + words[0] + ": " + std::strerror(error));
  }
  return said;
}

namespace {

constexpr std::size_t kMaxCrashes = 16;  // the latest of a log
constexpr std::size_t kMaxLine = 2048;   // longer ones are no frames, and std::regex recurses once per character

struct Frame {
  std::string module;  // the file's path; "" for an address in no module
  std::string place;   // "function+0x1c", "+0x12f" in the module, or else the address
};

struct Crash {
  std::size_t line = 0;  // in the file, from 1
  std::string end = {};  // "Thread 6 (worker) received SIGSEGV"
  std::vector<Frame> frames = {};

  /// Returns the index of the frame that crashed. It comes after the handler's frames and the kernel's signal frame.
  [[nodiscard]] std::size_t fault() const {
    const auto way = std::find_if(frames.begin(), frames.end(), [](const Frame &frame) {
      return frame.module.find("/libvexora_software_interface.so") == std::string::npos;
    });
    return way == frames.begin() || frames.end() - way < 2 ? 0 : static_cast<std::size_t>(way - frames.begin()) + 1;
  }
};

std::vector<Crash> parse(std::istringstream text) {
  static const std::regex frame(R"((?:([^(]*)\(([^()]*)\) ?)?\[(0x[0-9a-f]+)\]\r?)");
  static const std::regex thread(R"(  (Thread .* received SIG\w*)\r?)");
  static const std::regex daemon(R"(  (.+) is terminating because of SIG.*)");
  std::vector<Crash> crashes;
  Crash next;
  std::string line;
  for (std::size_t number = 1; std::getline(text, line); ++number) {
    if (line.size() > kMaxLine || line.starts_with("[Critical]:<")) {
      continue;  // a record of the debug log repeats the previous line
    }
    std::smatch found;
    next.line = next.frames.empty() ? number : next.line;
    if (std::regex_match(line, found, frame)) {
      next.frames.push_back({found[1], found[found[2].length() > 0 ? 2 : 3]});
      next.frames.resize(std::min<std::size_t>(next.frames.size(), diag::kMaxFrames));
    } else if (std::regex_match(line, found, thread)) {
      next.end = found[1];
      crashes.push_back(std::exchange(next, {}));
    } else if (std::regex_match(line, found, daemon) && !crashes.empty()) {
      crashes.back().end = found[1].str() + ": " + crashes.back().end;
    }
  }
  if (!next.frames.empty()) {
    next.end = "a report that is cut: its signal is missing";
    crashes.push_back(next);
  }
  crashes.erase(crashes.begin(), crashes.end() - static_cast<std::ptrdiff_t>(std::min(crashes.size(), kMaxCrashes)));
  return crashes;
}

/// Returns the path of a board's file in the first directory that has it, "" if none has.
std::string fileIn(const std::vector<std::string> &directories, const std::string &path) {
  const OwnFiles own;
  for (const std::string &directory : directories) {
    if (std::string file = ownPath(directory + path); path.starts_with('/') && access(file.c_str(), R_OK) == 0) {
      return file;
    }
  }
  return "";
}

/// Returns a frame's functions and lines, inlined ones first. Adds missing debug files to `missing`.
std::vector<std::string> callsOf(const Frame &frame, bool isFault, const std::vector<std::string> &directories,
                                 std::map<std::string, std::string> &missing) {
  static const std::regex form(R"((\w+\+|\+?)(0x[0-9a-f]{1,15}))");
  static const std::regex label("Build ID: ([0-9a-f]{2})([0-9a-f]{2,62})");
  std::smatch place;
  // Hazard: addr2line would read other texts as an option or as a file of options.
  if (frame.module.empty() || !std::regex_match(frame.place, place, form)) {
    return {};
  }
  const std::string file = fileIn(directories, frame.module);
  if (file.empty()) {
    missing[frame.module] = "the file is missing: unpack its package into --debug-dir";
    return {};
  }
  const std::string notes = report::runProgram({"readelf", "-n", file});
  std::smatch id;
  std::regex_search(notes, id, label);
  const std::string debugFile = fileIn(directories, "/lib/debug/.build-id/" + id.str(1) + "/" + id.str(2) + ".debug");
  // All frames but the fault have return addresses: the call is just before.
  const std::uint64_t address = std::stoull(place[2], nullptr, 16) - (isFault ? 0 : 1);
  const std::string query = (place.length(1) > 1 ? place.str(1) : "") + format("0x%" PRIx64, address);
  const std::string answer =
      report::runProgram({"addr2line", "-fipC", "-e", debugFile.empty() ? file : debugFile, query});
  if (answer.find('?') != std::string::npos) {
    missing[frame.module] = (debugFile.empty() ? "unpack its -dbgsym package, too: no lines in build id "
                                               : "no line for a frame in build id ") +
                            id.str(1) + id.str(2);
  }
  std::istringstream lines(answer);
  std::vector<std::string> calls;
  for (std::string line; std::getline(lines, line) && !line.starts_with('?');) {
    calls.push_back(line);
  }
  return calls;
}

void show(Session &session, const std::string &file, const std::string &debugDirectory) {
  std::vector<std::string> directories;
  for (const std::string &directory : {debugDirectory, session.root}) {
    if (!directory.empty() || debugDirectory == session.root) {  // without both: this machine's own files
      directories.insert(directories.end(), {directory, directory + "/usr"});
    }
  }
  std::map<std::string, std::string> missing;
  Json answer = array();
  const std::vector<Crash> crashes = parse(std::istringstream(readText(file, report::kMaxLog)));
  for (const Crash &crash : crashes) {
    session.report(std::vector<Finding>{{file + ":" + std::to_string(crash.line), crash.end, "crash"}}, "");
    Json frames = array();
    for (std::size_t i = 0; i < crash.frames.size(); ++i) {
      const Frame &frame = crash.frames[i];
      const bool isFault = i == crash.fault();
      const std::vector<std::string> calls = callsOf(frame, isFault, directories, missing);
      frames.append(object({{"module", frame.module}, {"place", frame.place}, {"calls", list(calls)}}));
      std::string text = (isFault ? "> " : "  ") + printable(frame.module + "(" + frame.place + ")") + "\n";
      for (const std::string &call : calls) {
        text += "      " + printable(call) + "\n";
      }
      std::cout << (session.json ? "" : text);
    }
    answer.append(object({{"line", crash.line}, {"fault", crash.fault()}, {"frames", frames}}));
  }
  session.answer(object({{"file", file}, {"crashes", answer}}));
  std::vector<Finding> findings;
  std::transform(missing.begin(), missing.end(), std::back_inserter(findings), [](const auto &one) {
    return Finding{one.first, one.second, "symbols"};
  });
  session.report(findings, crashes.empty() ? printable(file) + ": no crash" : "");
}

}  // namespace

void addCrash(Command app, Session &session) {
  constexpr const char *kAbout =
      "Finds the library's crash reports in the log of a console, the latest 16, and shows functions and lines for "
      "their frames.\nThe frames name files of the board. They are looked for in --debug-dir, where its packages and "
      "their -dbgsym "
      "packages were unpacked (dpkg-deb -x PACKAGE DIR), and in --root, or without either on this machine; debug "
      "symbols by build id. addr2line and readelf (of binutils) read them. The frame that crashed is marked; those "
      "above it are the report's own. What is missing is named.";
  Command command = app.add("crash", kAbout, "vexora crash /extlog/syslog/WDT.log");
  auto file = std::make_shared<std::string>("-");
  auto directory = std::make_shared<std::string>();
  command.option("REPORT", *file, "File with the report; standard input when left out").typeName("");
  command.option("--debug-dir", *directory, "Directory of unpacked packages").typeName("DIR");
  command.run([&session, file, directory] { show(session, *file, *directory); });
}

}  // namespace vexora::tool
