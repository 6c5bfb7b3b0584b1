// SPDX-License-Identifier: Apache-2.0
//
// cut_files IMAGE ROUNDS
//
// Works on the files that a power cut may hit, and checks them after one. First it looks at each file; then it rewrites
// all of them, round after round. A version's contents follow from its number. Marks record which version a file has:
// one is written to a flash partition of its own before a rewrite, another one after it, in the same stream of
// programmed pages as the files themselves. After a cut the marks up to the cut remain.
//
// cut_files defaults: makes the settings' defaults
//
// It prints one line for each file that was being written when the power failed. "WRONG" begins a line for a fault that
// no cut may cause: a lost version that had been acknowledged, or damage that the library accepts as a valid file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "vexora/config.h"
#include "vexora/history.h"
#include "vexora/storage.h"

namespace {

namespace fs = std::filesystem;

/// The versions of a file, oldest first; empty while the file doesn't exist.
using Versions = std::vector<unsigned>;

constexpr unsigned kFirst = 1;  // of the settings: the default, which a load copies

bool report(const char *what) {
  std::printf("failed: %s\n", what);
  return false;
}

std::string readFile(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool writeFile(const fs::path &path, const std::string &content) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  const bool written =
      fd >= 0 && write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()) && fsync(fd) == 0;
  return fd >= 0 && close(fd) == 0 && written;
}

/// Letters that follow from a version's number. Like an image, they hardly compress.
std::string letters(unsigned version, std::size_t length) {
  std::mt19937 random(version);
  std::string text(length, 'a');
  for (char &letter : text) {
    letter = static_cast<char>('a' + random() % 26);
  }
  return text;
}

// --- history ---

constexpr const char *kHistoryFile = "/extlog/syslog/history_data.dat";
constexpr std::uint32_t kHours = 8760;
constexpr std::uint32_t kYear = 1704067200;  // 2024-01-01 00:00:00 UTC; the hours before it fill the first file

vexora_history_record makeRecord(std::uint32_t time, const vexora_history_statistics &sensor7000,
                                 const vexora_history_statistics &sensor3009) {
  const auto seconds = static_cast<std::time_t>(time);
  std::tm date{};
  gmtime_r(&seconds, &date);
  const auto half = [](int value) { return static_cast<std::uint16_t>(value); };
  return {
      sensor7000, sensor3009, half(date.tm_hour), half(date.tm_mday), half(date.tm_mon + 1), half(date.tm_year + 1900),
      time,       time};
}

std::uint32_t hourOf(unsigned version) { return kYear + version * 3600; }
std::uint16_t reading7000(unsigned version) { return static_cast<std::uint16_t>(version * 7 % 1000); }
std::uint16_t reading3009(unsigned version) { return static_cast<std::uint16_t>(version % 100); }

/// The data file by its documented layout: empty, then a full year, then a record a version.
std::string historyImage(const Versions &versions) {
  std::array<std::uint32_t, 5> header{0, kHours - 1, sizeof(vexora_history_record), kHours, 0};
  std::vector<vexora_history_record> slots(kHours);
  if (versions.size() > 1) {
    header[4] = kHours;
    std::mt19937 random(kHours);
    const auto figure = [&random] { return static_cast<std::uint16_t>(random()); };
    for (std::uint32_t i = 0; i < kHours; ++i) {
      slots[i] =
          makeRecord(kYear - (kHours - i) * 3600, {figure(), figure(), figure()}, {figure(), figure(), figure()});
    }
  }
  for (std::size_t i = 2; i < versions.size(); ++i) {
    const std::uint16_t at7000 = reading7000(versions[i]);
    const std::uint16_t at3009 = reading3009(versions[i]);
    header[1] = (header[1] + 1) % kHours;
    header[0] = (header[1] + 1) % kHours;
    slots[header[1]] = makeRecord(hourOf(versions[i]), {at7000, at7000, at7000}, {at3009, at3009, at3009});
  }
  std::string image(sizeof header + kHours * sizeof slots[0], '\0');
  std::memcpy(image.data(), header.data(), sizeof header);
  std::memcpy(image.data() + sizeof header, slots.data(), kHours * sizeof slots[0]);
  return image;
}

bool isHistory(const Versions &versions) {
  return versions.empty() ? !fs::exists(kHistoryFile) : readFile(kHistoryFile) == historyImage(versions);
}

/// Whether a daemon reads the file's records, in their order.
bool historyLoads(const Versions &versions) {
  const std::string image = historyImage(versions);
  std::array<std::uint32_t, 5> header{};
  std::memcpy(header.data(), image.data(), sizeof header);
  std::string expected = image.substr(sizeof header);
  const auto oldest = static_cast<std::ptrdiff_t>(header[0] * sizeof(vexora_history_record));
  std::rotate(expected.begin(), expected.begin() + oldest, expected.end());
  expected.resize(header[4] * sizeof(vexora_history_record));
  std::string records(kHours * sizeof(vexora_history_record), '\0');
  std::uint32_t count = 0;
  std::uint32_t queried = 0;
  const int bytes = historyDataInit() != 0 || getHistoryDataNum(&count) != 0
                        ? -1
                        : getHistoryData(records.data(), 4, 0, UINT32_MAX, &queried);
  records.resize(static_cast<std::size_t>(std::max(bytes, 0)));
  return count == header[4] && (count == 0 || (queried == count && records == expected));
}

/// The first call makes an empty file, the second a full one; from then on the hours are recorded.
bool storeHistory(const Versions &versions, unsigned version) {
  if (versions.empty()) {
    return historyDataInit() == 0;
  }
  if (versions.size() == 1) {
    const fs::path year = "/extlog/syslog/year";
    if (!writeFile(year, historyImage({versions[0], version}))) {
      return false;
    }
    fs::rename(year, kHistoryFile);
    return historyDataInit() == 0;
  }
  const timespec hour{static_cast<std::time_t>(hourOf(version)), 0};
  return writeFile("/var/ipmipdk_readings", "0x3009 " + std::to_string(reading3009(version)) + "\n0x7000 " +
                                                std::to_string(reading7000(version)) + "\n") &&
         clock_settime(CLOCK_REALTIME, &hour) == 0 && historyDataRecord() == 0;
}

// --- guarded file ---

constexpr const char *kGuardedFile = "/conf/guarded.txt";

std::string guardedText(unsigned version) { return letters(version, 3000 + version * 977 % 4000); }

bool isGuarded(const Versions &versions) {
  char *const text = vexora_string_read_file_with_crc32_check(kGuardedFile);
  const bool isIt = versions.empty() ? text == nullptr && !fs::exists(kGuardedFile)
                                     : text != nullptr && guardedText(versions.back()) == text;
  std::free(text);
  return isIt;
}

const char *guardedDamage(const Versions &) {
  char *const text = vexora_string_read_file_with_crc32_check(kGuardedFile);
  std::free(text);
  return text == nullptr ? "refused" : nullptr;
}

bool storeGuarded(const Versions &, unsigned version) {
  return vexora_string_write_2_file_with_crc32_check(kGuardedFile, guardedText(version).c_str()) == 0;
}

// --- settings ---

template <std::size_t Size>
void fill(char (&field)[Size], unsigned version) {
  std::memcpy(field, letters(version + Size, Size - 1).data(), Size - 1);
}

struct Smtp {
  SmtpCfgRecord record{};
  SmtpDestCfgRecord destinations[VEXORA_ALERT_DESTINATIONS]{};

  static constexpr const char *kPath = "/conf/SmtpCfg.json";
  static constexpr bool kInPlace = true;

  void make(unsigned version) {
    record.SmtpPort = static_cast<std::uint16_t>(version);
    fill(record.ServerAddr, version);
    fill(record.UserName, version);
    fill(record.PassWord, version);
    fill(record.SenderAddr, version);
    fill(record.Subject, version);
    for (SmtpDestCfgRecord &destination : destinations) {
      fill(destination.EmailAddress, version);
      fill(destination.Description, version);
    }
  }
  int load() { return VexoraGetSmtpTotalConfFromJson(&record, sizeof record, destinations, sizeof destinations); }
  int save() { return VexoraSetSmtpTotalConfToJson(&record, sizeof record, destinations, sizeof destinations); }
};

struct Trap {
  SnmpTrapCfgRecord record{};
  SnmpTrapDestCfgRecord destinations[VEXORA_ALERT_DESTINATIONS]{};

  static constexpr const char *kPath = "/conf/SnmpTrapCfg.json";
  static constexpr bool kInPlace = false;

  void make(unsigned version) {
    fill(record.Community, version);
    fill(record.HostID, version);
    fill(record.UserName, version);
    fill(record.AUTHPwd, version);
    fill(record.PRIVPwd, version);
    fill(record.EngineID, version);
    for (SnmpTrapDestCfgRecord &destination : destinations) {
      fill(destination.Destination, version);
      destination.port = static_cast<std::int32_t>(version);
    }
  }
  int load() { return VexoraGetSnmpTotalConfFromJson(&record, sizeof record, destinations, sizeof destinations); }
  int save() { return VexoraSetSnmpTotalConfToJson(&record, sizeof record, destinations, sizeof destinations); }
};

struct Agent {
  SnmpAgentCfgRecord record{};

  static constexpr const char *kPath = "/conf/SnmpAgentCfg.json";
  static constexpr bool kInPlace = false;

  void make(unsigned version) {
    fill(record.ReadOnlyCommunity, version);
    fill(record.ReadWriteCommunity, version);
    fill(record.AUTHUserName, version);
    fill(record.AUTHPwd, version);
    fill(record.PRIVPwd, version);
  }
  int load() { return VexoraGetSnmpAgentTotalConfFromJson(&record, sizeof record); }
  int save() { return VexoraSetSnmpAgentTotalConfToJson(&record, sizeof record); }
};

template <typename Settings>
bool isSettings(const Versions &versions) {
  if (versions.empty() || !fs::exists(Settings::kPath)) {
    return versions.empty() && !fs::exists(Settings::kPath);  // a load would copy the default
  }
  Settings expected;
  Settings found;
  expected.make(versions.back());
  return found.load() == 0 && std::memcmp(&found, &expected, sizeof found) == 0;
}

/// The default is always copied in place, so a cut may leave part of it.
template <typename Settings>
const char *settingsDamage(const Versions &versions) {
  Settings found;
  if (versions.back() != kFirst && !Settings::kInPlace) {
    return nullptr;
  }
  return fs::exists(Settings::kPath) && found.load() == 0 ? nullptr : "unreadable";
}

/// The first version is the default. A load restores it after an unreadable file was removed.
template <typename Settings>
bool storeSettings(const Versions &, unsigned version) {
  Settings settings;
  if (version == kFirst) {
    fs::remove(Settings::kPath);
    return settings.load() == 0;
  }
  settings.make(version);
  return settings.save() == 0;
}

template <typename Settings>
bool makeDefault() {
  Settings settings;
  settings.make(kFirst);
  if (settings.save() != 0) {
    return report("a default was not saved");
  }
  const fs::path saved = Settings::kPath;
  fs::copy_file(saved, "/etc/defconfig" / saved.filename(), fs::copy_options::overwrite_existing);
  return fs::remove(saved);
}

// --- event subscriptions ---

constexpr const char *kSubscriptionsFile = "/conf/eventsubscriptions.conf";

using Strings = std::vector<char **>;

Strings stringsOf(EventSubScriptionRecord &slot) {
  Strings strings{&slot.destaddr, &slot.hcontent, &slot.hdataver, &slot.hxauth, &slot.context, &slot.protocal};
  for (int i = 0; i < VEXORA_EVENT_FILTERS; ++i) {
    strings.push_back(&slot.messageid[i]);
    strings.push_back(&slot.resource[i]);
  }
  return strings;
}

std::string subscriptionText(unsigned version) { return letters(version, 10 + version % 50); }

/// Whether the store has a version. Unless `isWhole`, a beginning of each text is enough.
bool isStore(unsigned version, bool isWhole) {
  const std::string expected = subscriptionText(version);
  for (EventSubScriptionRecord &slot : stEventSubScriptionStore) {
    for (char **const string : stringsOf(slot)) {
      const std::string found = *string == nullptr ? "" : *string;
      if (isWhole ? found != expected : !expected.starts_with(found)) {
        return false;
      }
    }
  }
  return true;
}

bool loadSubscriptions() {
  blEventSubScriptionsFlag = 0;
  return GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0;
}

bool isSubscriptions(const Versions &versions) {
  return versions.empty() ? !fs::exists(kSubscriptionsFile) : loadSubscriptions() && isStore(versions.back(), true);
}

const char *subscriptionsDamage(const Versions &versions) {
  if (!fs::exists(kSubscriptionsFile)) {
    return "missing";
  }
  return loadSubscriptions() && isStore(versions.back(), false) ? "incomplete" : nullptr;
}

bool storeSubscriptions(const Versions &, unsigned version) {
  dwEventSubScriptionStoreMemFree(0, VEXORA_EVENT_SUBSCRIPTIONS, 9, stEventSubScriptionStore);
  for (EventSubScriptionRecord &slot : stEventSubScriptionStore) {
    slot.present = 1;
    for (char **const string : stringsOf(slot)) {
      *string = strdup(subscriptionText(version).c_str());
    }
  }
  return SetEventSubScription2ConfFile(0, stEventSubScriptionStore) == 0;
}

// --- the card ---

const fs::path kCard = "/mnt/sdmmc0p2";
const fs::path kImages = kCard / "images";
const fs::path kLog = kCard / "card.log";

bool mountCard() {
  std::array<char, VEXORA_CARD_MOUNT_POINT_SIZE> where{};
  std::int64_t available = 0;
  return (common_mount_tf_card() == 0 && CheckTFCardMountStatus(where.data(), &available) == 0 &&
          kCard == where.data()) ||
         report("the card was not mounted");
}

std::string imageContent(unsigned version) { return letters(version, 200000); }
std::string logContent(unsigned version) { return letters(version, 30000); }
fs::path imageFile(unsigned version, const char *generation) {
  return kImages / ("fw" + std::to_string(version) + generation);
}

/// Storing removes the image before the last one, renames the last one and copies the new one. So the last one always
/// exists, under one name or the other.
bool isImage(const Versions &versions) {
  if (!mountCard()) {
    return false;
  }
  const auto isStored = [&](const char *generation) {
    return readFile(imageFile(versions.back(), generation)) == imageContent(versions.back());
  };
  return versions.empty() || isStored(".new") || isStored(".old");
}

/// A cut may leave a partial image, and the next store would then remove the whole one. So the partial one is removed,
/// and the whole one is renamed to be the last.
bool storeImage(const Versions &versions, unsigned version) {
  const fs::path source = "/tmp/image";
  if (!mountCard() || !writeFile(source, imageContent(version))) {
    return false;
  }
  if (!versions.empty() && !fs::exists(imageFile(versions.back(), ".new"))) {
    for (const fs::directory_entry &entry : fs::directory_iterator(kImages)) {
      if (entry.path() != imageFile(versions.back(), ".old")) {
        fs::remove(entry.path());
      }
    }
    fs::rename(imageFile(versions.back(), ".old"), imageFile(versions.back(), ".new"));
    sync();
  }
  return common_copy_ima_file_to_tf_card(source.c_str(), ("fw" + std::to_string(version)).c_str(), "images") == 0;
}

bool isLog(const Versions &versions) {
  return mountCard() && (versions.empty() ? !fs::exists(kLog) : readFile(kLog) == logContent(versions.back()));
}

const char *logDamage(const Versions &) { return "part"; }

bool storeLog(const Versions &, unsigned version) {
  const fs::path source = fs::path("/tmp") / kLog.filename();
  return writeFile(source, logContent(version)) && common_copy_log_to_tf_card(source.c_str()) == 0;
}

// --- outcomes of a cut ---

/// A file: how to check for a version, which damage a cut may leave apart from old and new version (NULL: none is
/// allowed, or the library doesn't refuse it), and how to store the next version.
struct File {
  const char *name;
  bool (*holds)(const Versions &versions);
  const char *(*damage)(const Versions &versions);
  bool (*store)(const Versions &versions, unsigned version);
};

const char *noDamage(const Versions &) { return nullptr; }

/// The first file is made in place. The next start replaces a short one.
const char *historyDamage(const Versions &versions) { return versions.size() == 1 ? "short" : nullptr; }

constexpr File kFiles[] = {
    {"history", isHistory, historyDamage, storeHistory},
    {"guarded", isGuarded, guardedDamage, storeGuarded},
    {"smtp", isSettings<Smtp>, settingsDamage<Smtp>, storeSettings<Smtp>},
    {"trap", isSettings<Trap>, settingsDamage<Trap>, storeSettings<Trap>},
    {"agent", isSettings<Agent>, settingsDamage<Agent>, storeSettings<Agent>},
    {"subscriptions", isSubscriptions, subscriptionsDamage, storeSubscriptions},
    {"image", isImage, noDamage, storeImage},
    {"log", isLog, logDamage, storeLog},
};
constexpr std::size_t kOnFlash = 6;

struct State {
  Versions stored;
  Versions begun;  // since then, and perhaps incomplete
  unsigned last = 0;
};

/// The marks of one image: four bytes each, on a partition without a file system; each image has its own area.
class Marks {
 public:
  explicit Marks(unsigned image) : at_(image * kAreaSize), end_(at_ + kAreaSize) {
    std::ifstream table("/proc/mtd");
    std::string device;
    for (std::string line; std::getline(table, line);) {
      if (line.find("\"image31\"") != std::string::npos) {
        device = "/dev/" + line.substr(0, line.find(':'));
      }
    }
    fd_ = open(device.c_str(), O_RDWR | O_CLOEXEC);
    for (Mark mark{}; pread(fd_, &mark, sizeof mark, at_) == sizeof mark && mark.file < std::size(kFiles);
         at_ += kMarkSize) {
      take(mark);
    }
  }
  Marks(const Marks &) = delete;
  Marks &operator=(const Marks &) = delete;
  ~Marks() { close(fd_); }

  State &of(std::size_t file) { return states_[file]; }
  void begin(std::size_t file, unsigned version) { add(file, 'b', version); }
  void stored(std::size_t file, unsigned version) { add(file, 's', version); }
  void keptOld(std::size_t file) { add(file, 'o', 0); }

 private:
  struct Mark {
    std::uint8_t file;
    std::uint8_t event;
    std::uint16_t version;
  };

  void take(const Mark &mark) {
    State &state = states_[mark.file];
    state.last = std::max<unsigned>(state.last, mark.version);
    if (mark.event == 'b') {
      state.begun.push_back(mark.version);
      return;
    }
    state.begun.clear();
    if (mark.event == 's') {
      state.stored.push_back(mark.version);
    }
  }

  void add(std::size_t file, char event, unsigned version) {
    const Mark mark{static_cast<std::uint8_t>(file), static_cast<std::uint8_t>(event),
                    static_cast<std::uint16_t>(version)};
    if (at_ == end_ || pwrite(fd_, &mark, sizeof mark, at_) != sizeof mark) {
      std::puts("WRONG: no mark can be written");
      std::exit(EXIT_FAILURE);
    }
    at_ += kMarkSize;
    take(mark);
  }

  static constexpr off_t kAreaSize = 1 << 16;
  static constexpr off_t kMarkSize = sizeof(Mark);

  off_t at_;
  off_t end_;
  int fd_ = -1;
  std::array<State, std::size(kFiles)> states_;
};

enum class Verdict { kWhole, kDamaged, kWrong };

/// Checks a file, and marks that it has the old or the new version.
Verdict look(Marks &marks, std::size_t number) {
  const File &file = kFiles[number];
  State &state = marks.of(number);
  const bool isCut = !state.begun.empty();
  const char *const first = state.stored.empty() ? " (first)" : "";
  Versions versions = state.stored;
  if (file.holds(versions)) {
    if (isCut) {
      std::printf("%s%s: old\n", file.name, first);
      marks.keptOld(number);
    }
    return Verdict::kWhole;
  }
  const Versions begun = state.begun;
  for (const unsigned version : begun) {
    versions.push_back(version);
    if (file.holds(versions)) {
      std::printf("%s%s: new\n", file.name, first);
      marks.stored(number, version);
      return Verdict::kWhole;
    }
    if (const char *const damage = file.damage(versions); damage != nullptr) {
      std::printf("%s%s: %s\n", file.name, first, damage);
      return Verdict::kDamaged;
    }
    versions.pop_back();
  }
  std::printf("WRONG: %s after version %u%s\n", file.name, versions.empty() ? 0 : versions.back(),
              isCut ? ", cut" : "");
  return Verdict::kWrong;
}

/// Rewrites a file. A damaged one starts again with the first version.
bool rewrite(Marks &marks, std::size_t number, bool isDamaged) {
  const State &state = marks.of(number);
  const unsigned version = isDamaged || state.last == 0 ? kFirst : state.last + 1;
  marks.begin(number, version);
  if (!kFiles[number].store(state.stored, version)) {
    std::printf("WRONG: %s was not stored\n", kFiles[number].name);
    return false;
  }
  marks.stored(number, version);
  return true;
}

bool work(Marks &marks, std::size_t files, int rounds) {
  std::array<Verdict, std::size(kFiles)> verdicts{};
  bool isRight = true;
  for (std::size_t i = 0; i < files; ++i) {
    verdicts[i] = look(marks, i);
    isRight = isRight && verdicts[i] != Verdict::kWrong;
  }
  const State &history = marks.of(0);
  if (isRight && !history.stored.empty() && !historyLoads(history.stored)) {
    isRight = false;
    std::puts("WRONG: the history doesn't load");
  }
  std::puts("writing");
  for (int round = 0; isRight && round < rounds; ++round) {
    for (std::size_t i = 0; isRight && i < files; ++i) {
      isRight = rewrite(marks, i, std::exchange(verdicts[i], Verdict::kWhole) == Verdict::kDamaged);
    }
  }
  for (std::size_t i = 0; isRight && i < files; ++i) {
    isRight = look(marks, i) == Verdict::kWhole;
  }
  return isRight;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 2 && std::strcmp(argv[1], "defaults") == 0) {
    return makeDefault<Smtp>() && makeDefault<Trap>() && makeDefault<Agent>() ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (argc != 3) {
    return EXIT_FAILURE;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Marks marks(static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)));
  const std::size_t files = fs::exists("/dev/mmcblk0") ? std::size(kFiles) : kOnFlash;
  const bool isRight = work(marks, files, static_cast<int>(std::strtol(argv[2], nullptr, 10)));
  std::puts(isRight ? "right" : "stopped");
  return isRight ? EXIT_SUCCESS : EXIT_FAILURE;
}
