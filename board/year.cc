// SPDX-License-Identifier: Apache-2.0
//
// board_year: a year of hours in one go, on a board whose clock the story sets.
//
// A daemon, a child of this program, takes one or two samples an hour into the history, and once a day uses the rest of
// the library. The story has gaps, steps of the clock, crashes, a card that is pulled out, a full flash, both changes
// of summer time and the end of 32-bit time. A model of the history, made from the documents and not from the library's
// code, runs beside it. Each day and after each event, the data file must equal the model's, byte for byte.
//
// The quiet months use a tmpfs, as each rewrite of the flash takes about a second.

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <signal.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "vexora/config.h"
#include "vexora/diag.h"
#include "vexora/history.h"
#include "vexora/ipc.h"
#include "vexora/storage.h"

namespace {

// The library's times have 32 bits on the boards, this program's have 64: it can set the clock beyond 2038.
static_assert(sizeof(std::time_t) == 8);

using Seconds = std::int64_t;

constexpr Seconds kHour = 3600;
constexpr Seconds kDay = 24 * kHour;
constexpr Seconds kMaxSample = 60;
constexpr Seconds kEndOfTime = INT32_MAX;
constexpr int kWaited = 1;  // a daemon's answer: the clock is earlier than its newest record

constexpr const char *kFile = "/extlog/syslog/history_data.dat";
constexpr const char *kLog = "/tmp/day.log";
constexpr const char *kTextFile = "/conf/day.txt";
constexpr int kAnalysisQueue = 12347;

[[noreturn]] void fail(const std::string &what) {
  std::printf("FAILED: %s\n", what.c_str());
  std::exit(EXIT_FAILURE);
}

void expect(bool isTrue, const std::string &what) {
  if (!isTrue) {
    fail(what);
  }
}

bool run(const char *command) {
  return std::system(command) == 0;  // NOLINT(cert-env33-c): the story's own commands
}

std::string readFile(const char *path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// --- the daemon ---

/// A process's resources.
struct Held {
  std::uint64_t heap;
  std::int32_t descriptors;
  std::int32_t children;
  std::int32_t messages;
};

struct Answer {
  std::int32_t result;
  std::uint32_t newest;  // the time of its newest record
  Held held;
};

Held whatIsHeld() {
  Held held{};
  const auto memory = mallinfo2();
  held.heap = memory.uordblks + memory.hblkhd;
  DIR *const directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) {
    ++held.descriptors;
  }
  closedir(directory);
  held.children = waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? 0 : 1;
  msqid_ds queue{};
  held.messages = msgctl(VexoraCreateMsgQueue(kAnalysisQueue), IPC_STAT, &queue) == 0
                      ? static_cast<std::int32_t>(queue.msg_qnum)
                      : -1;
  return held;
}

std::uint32_t newestRecord() {
  vexora_history_record newest{};
  return vexora_ringlist_get_tail(HistoryDataRing, &newest) == 0 ? newest.query_time : 0;
}

int sample() { return std::time(nullptr) < newestRecord() ? kWaited : historyDataRecord(); }

bool sendsRequest() {
  std::array<char, 260> request{};
  request[3] = 7;
  std::array<char, 260> received{};
  const int queue = VexoraCreateMsgQueue(kAnalysisQueue);
  return VexoraWriteMsgQueue(kAnalysisQueue, request.data(), request.size()) == 0 &&
         VexoraReadMsgQueue(queue, received.data(), received.size()) == 0 && received == request;
}

bool keepsSettings() {
  SmtpCfgRecord saved{};
  SmtpDestCfgRecord destinations[VEXORA_ALERT_DESTINATIONS]{};
  saved.SmtpPort = 25;
  SmtpCfgRecord loaded{};
  return VexoraSetSmtpTotalConfToJson(&saved, sizeof saved, destinations, sizeof destinations) == 0 &&
         VexoraGetSmtpTotalConfFromJson(&loaded, sizeof loaded, destinations, sizeof destinations) == 0 &&
         std::memcmp(&saved, &loaded, sizeof saved) == 0;
}

bool keepsSubscriptions() {
  blEventSubScriptionsFlag = 0;
  return SetEventSubScription2ConfFile(0, stEventSubScriptionStore) == 0 &&
         GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0;
}

bool keepsGuardedText() {
  const bool written = vexora_string_write_2_file_with_crc32_check(kTextFile, "a day") == 0;
  char *const text = vexora_string_read_file_with_crc32_check(kTextFile);
  const bool isRead = text != nullptr && std::strcmp(text, "a day") == 0;
  std::free(text);
  return written && isRead;
}

/// On a full flash the old settings and the old text stay, and only the text's writer reports the failure.
bool keepsOldOnes() {
  SmtpCfgRecord record{};
  SmtpDestCfgRecord destinations[VEXORA_ALERT_DESTINATIONS]{};
  record.SmtpPort = 26;
  const bool isSaved = VexoraSetSmtpTotalConfToJson(&record, sizeof record, destinations, sizeof destinations) == 0 &&
                       VexoraGetSmtpTotalConfFromJson(&record, sizeof record, destinations, sizeof destinations) == 0;
  char *text = nullptr;
  const bool isRefused = vexora_string_write_2_file_with_crc32_check(kTextFile, "another day") == -1 &&
                         (text = vexora_string_read_file_with_crc32_check(kTextFile)) != nullptr;
  const bool areOld = isSaved && record.SmtpPort == 25 && isRefused && std::strcmp(text, "a day") == 0;
  std::free(text);
  return areOld;
}

bool runsCommand() {
  std::array<char, 16> output{};
  return VexoraCommandToBuff("echo a day", output.data(), output.size()) == 0 &&
         std::strncmp(output.data(), "a day", 5) == 0;
}

/// Copies a log to the card. Returns 0, or 1 without a card.
int usesCard() {
  std::array<char, VEXORA_CARD_MOUNT_POINT_SIZE> where{};
  std::int64_t available = 0;
  if (common_mount_tf_card() == 0 &&
      (CheckTFCardMountStatus(where.data(), &available) != 0 || std::strcmp(where.data(), "/mnt/sdmmc0p2") != 0)) {
    return -1;
  }
  common_umount_tf_card();
  return common_copy_log_to_tf_card(kLog);
}

/// Uses the rest of the library. Returns the card's result, or a number below -1 for another failure.
int workOfDay() {
  if (!sendsRequest()) {
    return -2;
  }
  if (!keepsSettings() || !keepsSubscriptions() || !keepsGuardedText()) {
    return -3;
  }
  if (!runsCommand()) {
    return -4;
  }
  return usesCard();
}

int answerTo(char command) {
  switch (command) {
    case 's':
      return sample();
    case 'f':
      return historyDataRecord();  // whatever the clock says
    case 'd':
      return workOfDay();
    case 'o':
      return keepsOldOnes() ? 0 : -1;
    default:
      return 0;
  }
}

[[noreturn]] void beDaemon(int commands, int answers) {
  static std::array<char, BUFSIZ> buffer;  // not from the heap, at the first line printed
  (void)std::setvbuf(stdout, buffer.data(), _IOLBF, buffer.size());
  VexoraInitSignals("ZELMONITOR", 10);
  const bool isReady = historyDataInit() == 0;
  for (char command = 0; read(commands, &command, 1) == 1 && command != 'q';) {
    if (command == 'c') {
      raise(SIGSEGV);
    }
    Answer answer{};
    answer.result = isReady ? answerTo(command) : -9;
    answer.newest = newestRecord();
    answer.held = whatIsHeld();
    if (write(answers, &answer, sizeof answer) != sizeof answer) {
      break;
    }
  }
  _exit(EXIT_SUCCESS);
}

class Daemon {
 public:
  Daemon() = default;
  Daemon(const Daemon &) = delete;
  Daemon &operator=(const Daemon &) = delete;
  ~Daemon() { stop('q'); }

  void start() {
    int commands[2];
    int answers[2];
    expect(pipe2(commands, O_CLOEXEC) == 0 && pipe2(answers, O_CLOEXEC) == 0, "a pipe for the daemon");
    process_ = fork();
    if (process_ == 0) {
      close(commands[1]);
      close(answers[0]);
      const int log = open("/tmp/daemon.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
      dup2(log, STDOUT_FILENO);
      dup2(log, STDERR_FILENO);
      close(log);
      beDaemon(commands[0], answers[1]);
    }
    close(commands[0]);
    close(answers[1]);
    commands_ = commands[1];
    answers_ = answers[0];
    isWarm_ = false;
  }

  /// Ends the daemon: 'q' as a service manager does, 'c' by a crash.
  void stop(char command) {
    if (process_ == 0) {
      return;
    }
    int status = 0;
    expect(write(commands_, &command, 1) == 1 && waitpid(process_, &status, 0) == process_, "the daemon's end");
    expect(command == 'q' ? status == 0 : status != 0, "the daemon's exit status");
    close(commands_);
    close(answers_);
    process_ = 0;
  }

  Answer ask(char command) {
    Answer answer{};
    expect(write(commands_, &command, 1) == 1 && read(answers_, &answer, sizeof answer) == sizeof answer,
           "an answer of the daemon");
    held_ = answer.held;
    return answer;
  }

  /// Checks that the daemon's resources after a day's work equal those of the day before.
  void holdsNoMore() {
    const Held &now = held_;
    expect(now.children == 0 && now.messages == 0, "no child and no message left");
    if (isWarm_) {
      expect(now.heap == warm_.heap && now.descriptors == warm_.descriptors,
             "heap " + std::to_string(now.heap) + " instead of " + std::to_string(warm_.heap) + " bytes, descriptors " +
                 std::to_string(now.descriptors) + " instead of " + std::to_string(warm_.descriptors));
    }
    warm_ = now;
    isWarm_ = true;
  }

 private:
  pid_t process_ = 0;
  int commands_ = -1;
  int answers_ = -1;
  bool isWarm_ = false;
  Held held_{};
  Held warm_{};
};

// --- the model ---

struct Statistics {
  std::uint16_t average;
  std::uint16_t maximum;
  std::uint16_t minimum;
};

struct Record {
  Statistics sensor7000;
  Statistics sensor3009;
  std::uint16_t hour;
  std::uint16_t day;
  std::uint16_t month;
  std::uint16_t year;
  std::uint32_t time;
  std::uint32_t sameTime;
};
static_assert(sizeof(Record) == 28);

class Model {
 public:
  void restart() {
    samples7000_.clear();
    samples3009_.clear();
    lastHour_ = -1;
  }

  [[nodiscard]] bool isEarly(Seconds now) const { return now < newest().time; }

  /// A sample; if it closes a record, `isWritable` says whether the medium accepts it. Returns the recorder's result.
  int sample(Seconds now, double reading7000, double reading3009, bool isWritable) {
    if (now > kEndOfTime) {
      return -1;
    }
    samples7000_.push_back(static_cast<unsigned>(std::floor(reading7000)));
    samples3009_.push_back(static_cast<unsigned>(std::ceil(reading3009 - 0.5)));
    const auto moment = static_cast<std::time_t>(now);
    std::tm local{};
    localtime_r(&moment, &local);
    if (local.tm_hour == lastHour_) {
      return 0;
    }
    hasFile_ = !isEarly(now);
    if (!hasFile_) {
      return -1;
    }
    close(now, local);
    hasFile_ = isWritable;
    if (!isWritable) {
      return -1;
    }
    restart();
    lastHour_ = local.tm_hour;
    return 0;
  }

  /// The data file, or nothing while it doesn't exist.
  [[nodiscard]] std::string file() const {
    if (!hasFile_) {
      return {};
    }
    const std::uint32_t header[] = {head_, tail_, sizeof(Record), kCapacity, count_};
    std::string bytes(sizeof header + sizeof slots_, '\0');
    std::memcpy(bytes.data(), header, sizeof header);
    std::memcpy(bytes.data() + sizeof header, slots_.data(), sizeof slots_);
    return bytes;
  }

  [[nodiscard]] std::uint32_t count() const { return count_; }

 private:
  static constexpr std::uint32_t kCapacity = 8760;

  [[nodiscard]] const Record &newest() const { return slots_[tail_]; }

  static Statistics summarize(const std::vector<unsigned> &samples) {
    unsigned sum = 0;
    for (const unsigned each : samples) {
      sum += each;
    }
    const auto [minimum, maximum] = std::minmax_element(samples.begin(), samples.end());
    return {static_cast<std::uint16_t>(sum / samples.size()), static_cast<std::uint16_t>(*maximum),
            static_cast<std::uint16_t>(*minimum)};
  }

  static void merge(Statistics &to, const Statistics &from) {
    to.average = static_cast<std::uint16_t>((to.average + from.average) / 2);
    to.maximum = std::max(to.maximum, from.maximum);
    to.minimum = std::min(to.minimum, from.minimum);
  }

  void close(Seconds now, const std::tm &local) {
    const auto half = [](int value) { return static_cast<std::uint16_t>(value); };
    const auto time = static_cast<std::uint32_t>(now);
    Record record{summarize(samples7000_),
                  summarize(samples3009_),
                  half(local.tm_hour),
                  half(local.tm_mday),
                  half(local.tm_mon + 1),
                  half(local.tm_year + 1900),
                  time,
                  time};
    if (now - newest().time < kHour && record.hour == newest().hour && count_ > 0) {
      merge(record.sensor7000, newest().sensor7000);
      merge(record.sensor3009, newest().sensor3009);
    } else {
      tail_ = (tail_ + 1) % kCapacity;
      head_ = count_ == kCapacity ? (tail_ + 1) % kCapacity : 0;
      count_ = std::min(count_ + 1, kCapacity);
    }
    slots_[tail_] = record;
  }

  std::array<Record, kCapacity> slots_{};
  std::uint32_t head_ = 0;
  std::uint32_t tail_ = kCapacity - 1;
  std::uint32_t count_ = 0;
  bool hasFile_ = true;
  int lastHour_ = -1;
  std::vector<unsigned> samples7000_;
  std::vector<unsigned> samples3009_;
};

// --- the story ---

class Story {
 public:
  void tell(const char *event) const {
    const auto moment = static_cast<std::time_t>(now_);
    std::tm local{};
    localtime_r(&moment, &local);
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), "%F %R %Z", &local);
    std::printf("%-22s %s\n", text.data(), event);
  }

  void start() {
    daemon_.start();
    model_.restart();
  }
  void end() { daemon_.stop('q'); }
  void crash() {
    tell("the daemon crashes and is restarted");
    daemon_.stop('c');
    start();
  }

  void setClock(Seconds time) { now_ = time; }
  void step(Seconds seconds) { now_ += seconds; }
  void setPeriod(Seconds seconds) { period_ = seconds; }

  /// Takes a sample and lets the time until the next one pass. A waiting daemon takes none.
  int sample(char command = 's', bool mayFail = false) {
    const double reading7000 = 400 + static_cast<double>(now_ / 1800 * 37 % 160) / 4;
    const double reading3009 = 20 + static_cast<double>(now_ / 1800 * 13 % 60) / 4;
    std::ofstream("/var/ipmipdk_readings") << "0x7000 " << reading7000 << "\n0x3009 " << reading3009 << '\n';
    const timespec time{now_, 0};
    expect(clock_settime(CLOCK_REALTIME, &time) == 0, "setting the clock");
    const auto [result, newest, held] = daemon_.ask(command);
    int expected = kWaited;
    if (command == 'f' || now_ > kEndOfTime || !model_.isEarly(now_)) {
      // The clock continues until the sample is taken.
      const bool isLate = newest > now_ && newest < now_ + kMaxSample;
      expected = model_.sample(isLate ? newest : now_, reading7000, reading3009, !mayFail || result == 0);
    }
    expect(result == expected, "a sample: " + std::to_string(result) + " instead of " + std::to_string(expected));
    now_ += period_;
    ++samples_;
    return result;
  }

  void check() const { expect(readFile(kFile) == model_.file(), "the data file is not the model's"); }

  void work(int card = 0) {
    const int result = daemon_.ask('d').result;
    expect(result == card, "the day's work: " + std::to_string(result));
    daemon_.holdsNoMore();
    check();
  }

  void keepOldOnes() { expect(daemon_.ask('o').result == 0, "old settings on a full flash"); }

  void hours(Seconds hours) {
    for (const Seconds end = now_ + hours * kHour; now_ < end;) {
      const Seconds day = now_ / kDay;
      sample();
      if (now_ / kDay != day) {
        work();
      }
    }
    check();
  }

  /// Moves the logs into memory, or back to the flash.
  void useMemory(bool isMemory) const {
    const std::string change = isMemory ? "mount -t tmpfs logs /extlog/syslog" : "umount /extlog/syslog";
    expect(run(("mkdir /tmp/logs && cp -a /extlog/syslog/. /tmp/logs && " + change +
                " && cp -a /tmp/logs/. /extlog/syslog && rm -r /tmp/logs")
                   .c_str()),
           "moving the logs");
    check();
  }

  [[nodiscard]] int samples() const { return samples_; }
  [[nodiscard]] const Model &model() const { return model_; }

 private:
  Daemon daemon_;
  Model model_;
  Seconds now_ = 0;
  Seconds period_ = kHour / 2;
  int samples_ = 0;
};

bool setCard(bool isIn) {
  const std::string driver = "/sys/bus/platform/drivers/sdhci-aspeed/";
  std::ofstream(driver + (isIn ? "bind" : "unbind")) << "1e740100.sdhci\n";
  for (int i = 0; i < 500 && (access("/dev/mmcblk0", F_OK) == 0) != isIn; ++i) {
    usleep(10000);
  }
  return (access("/dev/mmcblk0", F_OK) == 0) == isIn;
}

/// Fills the flash to the last byte, or frees that space.
void fillFlash(bool isFull) {
  if (!isFull) {
    expect(unlink("/flash/junk") == 0, "removing what fills the flash");
    return;
  }
  expect(!run("cat /dev/urandom >/flash/junk 2>/dev/null"), "filling the flash");
}

constexpr Seconds kYearBegins = 2111702400;  // 2036-12-01 00:00:00 UTC

void tellYear(Story &story) {
  story.setClock(1200);
  story.tell("first start, on the flash: the clock doesn't know the time");
  story.start();
  story.hours(3);
  story.setClock(kYearBegins + 420);
  story.tell("the network gives the time");
  story.hours(30);
  story.crash();
  story.hours(2);

  story.tell("the power is off for three days");
  story.end();
  const Seconds goesOn = kYearBegins + 5 * kDay;
  story.setClock(600);
  story.start();
  expect(story.sample() == kWaited && story.sample() == kWaited, "a daemon that waits for the time");
  story.setClock(goesOn);
  story.tell("the network gives the time");
  story.hours(26);

  story.tell("the clock is set back by 40 minutes: the daemon waits");
  story.step(-40 * 60);
  story.hours(3);
  story.tell("the clock is set forward by 5 hours");
  story.step(5 * kHour);
  story.hours(3);
  story.tell(
      "the clock is set back by 5 hours, and a daemon samples all the same: the file goes until it is right again");
  story.step(-5 * kHour);
  expect(story.sample('f') == -1 && access(kFile, F_OK) != 0, "no file");
  story.step(6 * kHour);
  story.hours(2);

  story.tell("the card is pulled out");
  expect(setCard(false), "pulling the card out");
  story.work(1);
  story.hours(2);
  story.tell("the card is put back");
  expect(setCard(true), "putting the card back");
  story.work();

  story.tell("the quiet months, in memory");
  story.useMemory(true);
  story.setPeriod(kHour);
  for (int i = 0; i < 12; ++i) {
    story.hours(31 * 24);
    story.crash();
  }
  story.setPeriod(kHour / 2);
  story.useMemory(false);

  story.tell("back on the flash, which runs full");
  fillFlash(true);
  story.keepOldOnes();
  int failed = 0;
  for (int i = 0; i < 12; ++i) {
    failed += story.sample('s', true) == 0 ? 0 : 1;
    story.check();
  }
  expect(failed > 0, "a full flash");
  fillFlash(false);
  story.tell("the flash has space again");
  story.hours(3);

  story.setClock(kEndOfTime - 7200);
  story.tell("the last hours of 32-bit time");
  story.hours(1);
  story.setClock(kEndOfTime + 1);
  story.tell("beyond: no record, and the file stays");
  expect(story.sample() == -1 && story.sample() == -1, "no record beyond 2038");
  story.check();
  story.setClock(kEndOfTime - 1800);
  story.tell("the clock is put right");
  story.sample();
  story.work();
  story.end();
}

}  // namespace

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);  // both changes of summer time
  std::ofstream(kLog) << "a day\n";
  static Story story;
  tellYear(story);
  std::printf("%d samples, %u records: the file is the model's, and nothing is left behind\n", story.samples(),
              story.model().count());
  return EXIT_SUCCESS;
}
