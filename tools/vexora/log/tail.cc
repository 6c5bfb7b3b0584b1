// SPDX-License-Identifier: Apache-2.0
//
// vexora log tail: shows the last lines of the watchdog log.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include "diag/log_layout.h"
#include "log/commands.h"

namespace vexora::tool {
namespace {

constexpr std::size_t kMaxLog = 1U << 24;  // the library starts a new file much earlier

std::vector<std::string> lastLines(std::string_view text, std::size_t count) {
  std::vector<std::string> lines;
  if (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  while (!text.empty() && lines.size() < count) {
    const std::size_t begin = text.rfind('\n') + 1;
    lines.emplace_back(text.substr(begin));
    text = text.substr(0, begin == 0 ? 0 : begin - 1);
  }
  std::reverse(lines.begin(), lines.end());
  return lines;
}

void tail(Session &session, unsigned count) {
  const std::string path = session.path(diag::kWatchdogLog);
  const bool there = access(path.c_str(), F_OK) == 0;
  const std::vector<std::string> lines = there ? lastLines(readText(path, kMaxLog), count) : std::vector<std::string>();
  session.answer(object({{"exists", there}, {"lines", list(lines)}}));
  if (session.json) {
    return;
  }
  for (const std::string &line : lines) {
    std::cout << printable(line) << "\n";
  }
  std::cerr << (there ? "" : "note: there is no watchdog log yet\n");
}

}  // namespace

void addTail(Command log, Session &session) {
  Command command = log.add("tail",
                            "Shows the last lines of the watchdog log.\nOn the board, 'tail -F "
                            "/extlog/syslog/WDT.log' follows it over its beginning anew.",
                            "vexora log tail --lines 20");
  auto lines = std::make_shared<unsigned>(10);
  command.option("-n,--lines", *lines, "Lines, 10 by default").typeName("N");
  command.run([&session, lines] { tail(session, *lines); });
}

}  // namespace vexora::tool
