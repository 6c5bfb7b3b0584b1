// SPDX-License-Identifier: Apache-2.0
//
// board_client count | range TYPE FROM TO | refusals | clear
//
// Sends history commands to the sensor daemon, prints the decoded answers and compares every byte with the answer that
// history_story.cc computes. A correct answer prints a line that begins with a tick; after a wrong one the program ends
// with status 1.

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>

#include "history_story.h"

namespace {

using board::Bytes;
using board::History;
using board::Hour;
using board::Statistics;

constexpr std::string_view kDaemonSocket = "/var/sensor_daemon.sock";
constexpr std::size_t kAnswerHeader = 5;
constexpr std::size_t kMaxAnswer = kAnswerHeader + std::size_t{8760} * 28;
constexpr std::size_t kShownEntries = 5;
constexpr std::uint32_t kWholeHistory = 0xFFFFFFFF;

enum Operation : std::uint8_t { kCount = 0, kQuery = 1, kClear = 2 };

enum EntryType : std::uint8_t { kSensor3009 = 0, kSensor7000 = 1, kBothSensors = 4 };

const char *completionName(std::uint8_t code) {
  switch (code) {
    case 0x00:
      return "success";
    case 0xC7:
      return "request data length invalid";
    case 0xC9:
      return "parameter out of range";
    case 0xCC:
      return "invalid data field in request";
    default:
      return "unknown completion code";
  }
}

/// Formats seconds since the epoch as "YYYY-MM-DD hh:mm" in UTC.
std::string formatTime(std::uint32_t time) {
  const auto seconds = static_cast<std::time_t>(time);
  std::tm parts{};
  char text[32] = "";
  gmtime_r(&seconds, &parts);
  return {text, std::strftime(text, sizeof text, "%F %H:%M", &parts)};
}

/// A connected socket with an address of its own.
class Connection {
 public:
  Connection() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un own{.sun_family = AF_UNIX, .sun_path = {}};
    sockaddr_un daemon{.sun_family = AF_UNIX, .sun_path = {}};
    kDaemonSocket.copy(daemon.sun_path, kDaemonSocket.size());
    const timeval patience{.tv_sec = 10, .tv_usec = 0};
    // Binding to an empty address lets the kernel choose one; without an address the daemon could not answer.
    isOpen_ = bind(fd_, reinterpret_cast<const sockaddr *>(&own), sizeof own.sun_family) == 0 &&
              connect(fd_, reinterpret_cast<const sockaddr *>(&daemon), sizeof daemon) == 0 &&
              setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0;
  }
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;
  ~Connection() { close(fd_); }

  /// Returns the daemon's answer, or nothing when there is none.
  [[nodiscard]] Bytes ask(const Bytes &request) const {
    Bytes answer(kMaxAnswer + 1);
    if (!isOpen_ || send(fd_, request.data(), request.size(), 0) < 0) {
      return {};
    }
    const ssize_t length = recv(fd_, answer.data(), answer.size(), 0);
    answer.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return answer;
  }

 private:
  int fd_;
  bool isOpen_;
};

void printRequest(const Bytes &request) {
  std::fputs("   ", stdout);
  for (const std::uint8_t byte : request) {
    std::printf(" %02X", byte);
  }
}

bool allRight = true;

/// Sends a request and prints whether the answer is correct. Returns the answer, or nothing when it is wrong.
Bytes demand(const std::string &what, const Bytes &request, const Bytes &expected) {
  Bytes answer = Connection().ask(request);
  if (answer == expected) {
    std::printf("✓ %s: 0x%02X %s\n", what.c_str(), answer[0], completionName(answer[0]));
    printRequest(request);
    std::printf(" -> length %zu\n", answer.size());
    return answer;
  }
  const auto differing = std::mismatch(answer.begin(), answer.end(), expected.begin(), expected.end()).first;
  std::printf("✗ %s: WRONG ANSWER\n", what.c_str());
  printRequest(request);
  std::printf(" -> length %zu instead of %zu, first difference at byte %td\n", answer.size(), expected.size(),
              differing - answer.begin());
  allRight = false;
  return {};
}

class Cursor {
 public:
  Cursor(const Bytes &bytes, std::size_t at) : bytes_(bytes), at_(at) {}

  std::uint32_t take(unsigned size) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < size; ++i) {
      value |= std::uint32_t{bytes_[at_++]} << (8 * i);
    }
    return value;
  }

  void skip(std::size_t bytes) { at_ += bytes; }

  Statistics takeStatistics() {
    const auto average = static_cast<std::uint16_t>(take(2));
    const auto maximum = static_cast<std::uint16_t>(take(2));
    const auto minimum = static_cast<std::uint16_t>(take(2));
    return {average, maximum, minimum};
  }

 private:
  const Bytes &bytes_;
  std::size_t at_;
};

std::vector<Hour> decode(const Bytes &answer, std::uint8_t type) {
  std::vector<Hour> entries;
  if (answer.size() < kAnswerHeader) {
    return entries;
  }
  const std::uint32_t count = Cursor(answer, 1).take(4);
  Cursor cursor(answer, kAnswerHeader);
  for (std::uint32_t i = 0; i < count; ++i) {
    Hour &entry = entries.emplace_back();
    if (type != kSensor3009) {
      entry.sensor7000 = cursor.takeStatistics();
    }
    if (type != kSensor7000) {
      entry.sensor3009 = cursor.takeStatistics();
    }
    cursor.skip(8);  // hour, day, month and year, which repeat the time
    entry.time = cursor.take(4);
    cursor.skip(4);  // the time again
  }
  return entries;
}

void printStatistics(const char *sensor, const Statistics &statistics) {
  std::printf("   %s %4u avg %4u max %4u min", sensor, statistics.average, statistics.maximum, statistics.minimum);
}

void printEntries(const std::vector<Hour> &entries, std::uint8_t type) {
  for (const Hour &entry : entries) {
    if (&entry == &entries[0] + kShownEntries) {
      std::printf("    ... and %zu more\n", entries.size() - kShownEntries);
      return;
    }
    std::printf("    %s", formatTime(entry.time).c_str());
    if (type != kSensor7000) {
      printStatistics("0x3009", entry.sensor3009);
    }
    if (type != kSensor3009) {
      printStatistics("0x7000", entry.sensor7000);
    }
    std::puts("");
  }
}

Bytes rangeRequest(std::uint8_t type, std::uint32_t from, std::uint32_t to) {
  Bytes request{kQuery, type};
  board::putLittle(request, from, 4);
  board::putLittle(request, to, 4);
  return request;
}

std::vector<Hour> demandRange(const History &history, std::uint8_t type, std::uint32_t from, std::uint32_t to) {
  const std::string what =
      "records of type " + std::to_string(type) + ", " +
      (from == 0 && to == kWholeHistory ? "the whole history" : formatTime(from) + " to " + formatTime(to));
  return decode(demand(what, rangeRequest(type, from, to), board::expectedRange(history, type, from, to)), type);
}

void demandCount(const History &history) {
  const auto held = static_cast<std::uint32_t>(history.hours.size());
  Bytes expected{0};
  board::putLittle(expected, held, 4);
  const Bytes answer = demand("count", {kCount}, expected);
  if (!answer.empty()) {
    std::printf("    %u records\n", Cursor(answer, 1).take(4));
  }
}

void demandRefusals() {
  demand("empty request", {}, {0xC7});
  demand("count with a byte too many", {kCount, 0}, {0xC7});
  Bytes range = rangeRequest(kBothSensors, 0, 1);
  range.pop_back();
  demand("records with a byte too few", range, {0xC7});
  demand("clear with a byte too many", {kClear, 0}, {0xC7});
  demand("operation 3", {3}, {0xC9});
  demand("records of type 2", rangeRequest(2, 0, kWholeHistory), {0xCC});
  demand("records up to the second they start", rangeRequest(kBothSensors, 1, 1), {0xCC});
}

std::uint32_t number(const char *text) { return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)); }

}  // namespace

int main(int argc, char **argv) {
  const std::string_view command = argc > 1 ? argv[1] : "";
  const History history = board::replayStory();
  if (command == "count") {
    demandCount(history);
  } else if (command == "range" && argc == 5) {
    const auto type = static_cast<std::uint8_t>(number(argv[2]));
    printEntries(demandRange(history, type, number(argv[3]), number(argv[4])), type);
  } else if (command == "refusals") {
    demandRefusals();
  } else if (command == "clear") {
    // A second clear finds no data file to remove.
    demand("clear", {kClear}, {history.isCleared ? std::uint8_t{0xCC} : std::uint8_t{0x00}});
  } else {
    std::fputs("usage: board_client count | range TYPE FROM TO | refusals | clear\n", stderr);
    return EXIT_FAILURE;
  }
  return allRight ? EXIT_SUCCESS : EXIT_FAILURE;
}
