// SPDX-License-Identifier: Apache-2.0
//
// Follows the watchdog log. The library deletes the file once it has grown to its limit and begins a new one, so the
// place to watch is the folder.

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>

#include "log/commands.h"

namespace vexora::tool {
namespace {

constexpr std::string_view kLogFolder = "/extlog/syslog";
constexpr std::string_view kFile = "/extlog/syslog/WDT.log";

// Where changes aren't notified, such as on some network file systems.
constexpr int kLookAgainMs = 1000;

std::vector<std::string> lastLines(const std::string &path, std::size_t count) {
  const std::vector<std::uint8_t> content = readFile(path);
  std::string_view text(reinterpret_cast<const char *>(content.data()), content.size());
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

/// What was appended since the last look, and all of a file that took the other's place. A file is held open while it
/// is followed: what was written last before its end is still read, and no new file can pass for it.
class Follower {
 public:
  explicit Follower(std::string path) : path_(std::move(path)) {}
  Follower(const Follower &) = delete;
  Follower &operator=(const Follower &) = delete;
  ~Follower() { close(file_); }

  /// Takes what is there as seen.
  void skip() {
    open();
    lseek(file_, 0, SEEK_END);
  }

  void print() {
    drain();
    struct stat there {};
    struct stat held {};
    const bool exists = stat(path_.c_str(), &there) == 0;
    if (exists && (fstat(file_, &held) != 0 || held.st_ino != there.st_ino || held.st_dev != there.st_dev)) {
      open();
      drain();
    } else if (exists && there.st_size < lseek(file_, 0, SEEK_CUR)) {
      lseek(file_, 0, SEEK_SET);
      drain();
    }
    std::cout.flush();
  }

 private:
  void open() {
    close(file_);
    file_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    rest_.clear();
  }

  void drain() {
    std::array<char, 4096> piece{};
    for (ssize_t got = 0; (got = read(file_, piece.data(), piece.size())) > 0;) {
      rest_.append(piece.data(), static_cast<std::size_t>(got));
    }
    for (std::size_t end = 0; (end = rest_.find('\n')) != std::string::npos; rest_.erase(0, end + 1)) {
      std::cout << printable(rest_.substr(0, end)) << "\n";
    }
  }

  std::string path_;
  int file_ = -1;
  std::string rest_;  // of a line that is still being written
};

[[noreturn]] void follow(const std::string &folder, Follower &follower) {
  const int notifier = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  inotify_add_watch(notifier, folder.c_str(), IN_CREATE | IN_MODIFY | IN_MOVED_TO | IN_DELETE);
  std::array<char, 4096> notices{};
  for (;;) {
    follower.print();
    pollfd waiting{notifier, POLLIN, 0};
    if (poll(&waiting, 1, kLookAgainMs) > 0) {
      while (read(notifier, notices.data(), notices.size()) > 0) {
      }
    }
  }
}

void tail(Session &session, unsigned count, bool once) {
  const std::string path = session.path(kFile);
  Follower follower(path);
  // Before the last lines are read: a record may be shown twice, but none is missed.
  follower.skip();
  const bool there = access(path.c_str(), F_OK) == 0;
  const std::vector<std::string> lines = there ? lastLines(path, count) : std::vector<std::string>();
  if (session.json) {
    Json records = array();
    for (const std::string &line : lines) {
      records.append(line);
    }
    session.answer(object({{"exists", there}, {"lines", records}}));
    return;
  }
  for (const std::string &line : lines) {
    std::cout << printable(line) << "\n";
  }
  if (!there) {
    std::cerr << "note: there is no watchdog log yet\n";
  }
  std::cout.flush();
  if (!once) {
    follow(session.path(kLogFolder), follower);
  }
}

}  // namespace

void addTail(Command log, Session &session) {
  Command command = log.add("tail",
                            "Follows the watchdog log, until interrupted.\nThe last lines come first. With --json "
                            "these are all, as what goes on has no end.",
                            "vexora log tail --lines 20 --once");
  auto lines = std::make_shared<unsigned>(10);
  auto once = std::make_shared<bool>(false);
  command.option("-n,--lines", *lines, "Lines to begin with, 10 unless told").typeName("N");
  command.flag("--once", *once, "Show the last lines only");
  command.run([&session, lines, once] { tail(session, *lines, *once); });
}

}  // namespace vexora::tool
