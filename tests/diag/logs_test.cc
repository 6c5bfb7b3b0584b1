// SPDX-License-Identifier: Apache-2.0
// The debug log and the watchdog log. The debug log's settings last as long as the process, so each of its stories runs
// in its own process. The program interposes the C library's time conversion and can raise a signal in each call; the
// signal's handler logs as a crash report does.

#include <sys/time.h>

#include "support/test.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

const std::string kDirectory = "/conf/vexora_debug/";
const std::string kReload = "/var/vexora_debug_reload";
const std::string kTime = "<2024-05-01T13:45:07>";
const std::string kLog = "/extlog/syslog/WDT.log";
const std::string kStamp = "[2024-05-01 13:45:07] ";
const std::string kWithErrno = "%s: %m";  // not in the calls, as compilers warn about the extension

// Texts, and their form in both logs.
const std::string kMost(1022, 'x');
const std::pair<std::string, std::string> kTexts[] = {{"abc", "abc\n"},
                                                      {"abc\n", "abc\n"},
                                                      {"abc\t", "abc\t"},
                                                      {"", "\n"},
                                                      {kMost + "y", kMost + "\n"},
                                                      {kMost + "yz", kMost + "\n"},
                                                      {kMost + "\tz", kMost + "\t"}};

bool converting = false;
bool interrupts = false;
std::atomic<int> signals = 0;

// The C library's lock would deadlock if a handler that interrupted a conversion began another.
void conversion() {
  EXPECT_FALSE(converting) << "would have waited for itself";
  if (interrupts && !converting) {
    converting = true;
    raise(SIGUSR1);
    converting = false;
  }
}

void useSettings(const std::vector<std::string> &markers) {
  remove(kDirectory);
  for (const std::string &marker : markers) {
    touch(kDirectory + marker);
  }
}

std::string printed(const std::string &module, unsigned level = 3, const std::string &text = "text") {
  return capturedOutput([&] { VexoraDebug(level, module.c_str(), "%s", text.c_str()); });
}

bool prints(const std::string &module) { return !printed(module).empty(); }

class Logs : public RootTest {
 protected:
  Logs() { setenv("TZ", "UTC", 1); }

  FixedClock clock_{1714571107};
};
using DebugLog = Logs;
using WatchdogLog = Logs;

TEST_F(DebugLog, KnowsPrioritiesAndTheFirmwaresModules) {
  for (const auto &[level, priority] : {std::pair{0U, 6}, {1U, 4}, {2U, 3}, {3U, 2}, {4U, -1}, {UINT_MAX, -1}}) {
    EXPECT_EQ(TranslateToSyslogLevel(level), priority) << level;
  }
  std::string files;
  for (const char *const file : DebugSourceFile) {
    files.append(file).append(" ");
    EXPECT_EQ(GetSourceIsVaild(file + std::strlen("ENABLE_")), 1) << file;
  }
  EXPECT_EQ(files, "ENABLE_DEV ENABLE_IPMI ENABLE_REDFISH ENABLE_SNMP ENABLE_ZELMONITOR ENABLE_CPLD ");
  for (const auto &[name, result] : {std::pair("zelmonitor", 0), {"DE", 0}, {"", 0}, {nullptr, -1}}) {
    EXPECT_EQ(GetSourceIsVaild(name), result) << testing::PrintToString(name);
  }
}

TEST_F(DebugLog, MostVerboseLevelAndFirstDestinationCount) {
  const std::tuple<std::vector<std::string>, int, int, std::string> rows[] = {
      {{}, -1, -1, ""},
      {{"PATH_SERIAL"}, -1, 0, ""},
      {{"LEVEL_INFO", "PATH_LOG", "PATH_BOTH"}, 0, 1, ""},
      {{"LEVEL_INFO", "LEVEL_CRITICAL", "PATH_BOTH"}, 0, 2, "0123"},
      {{"LEVEL_WARNING", "PATH_SERIAL", "PATH_LOG"}, 1, 0, "123"},
      {{"LEVEL_ERROR", "LEVEL_CRITICAL", "PATH_SERIAL"}, 2, 0, "23"},
      {{"LEVEL_CRITICAL", "PATH_SERIAL"}, 3, 0, "3"},
  };
  for (const auto &[markers, mostVerbose, destination, printedLevels] : rows) {
    SCOPED_TRACE(testing::PrintToString(markers));
    useSettings(markers);
    touch(kDirectory + "ENABLE_IPMI");
    inFreshProcess([&, most = mostVerbose, path = destination, &expected = printedLevels] {
      EXPECT_EQ(GetDebugEanleLevel(), most);
      EXPECT_EQ(GetDebugEanlePath(), path);
      std::string levels;
      for (const unsigned level : {0U, 1U, 2U, 3U, 4U, UINT_MAX}) {
        levels += printed("IPMI", level).empty() ? "" : std::to_string(level);
      }
      EXPECT_EQ(levels, expected);
    });
  }
}

TEST_F(DebugLog, RecordShowsLevelLocalTimeAndMessageAndKeepsErrno) {
  useSettings({"LEVEL_INFO", "PATH_BOTH", "ENABLE_IPMI"});
  inFreshProcess([&] {
    for (const auto &[text, kept] : kTexts) {
      EXPECT_EQ(printed("IPMI", 1, text), "[Warning]:" + kTime + kept + "\n");
    }
    clock_.set(981173106);
    EXPECT_EQ(printed("IPMI", 0), "[Info]:<2001-02-03T04:05:06>text\n\n");
    setenv("TZ", "XST-05:45", 1);
    touch(kReload);  // so that the call reads the settings, where missing files set errno
    EXPECT_EQ(capturedOutput([] {
                errno = ENOTTY;
                VexoraDebug(2, "IPMI", kWithErrno.c_str(), "open");
                EXPECT_EQ(errno, ENOTTY);
                VexoraDebug(2, "IPMI", "before %ls after", L"\xD800");
                EXPECT_EQ(errno, ENOTTY);
              }),
              "[Error]:<2001-02-03T09:50:06>open: Inappropriate ioctl for device\n\n");
  });
}

TEST_F(DebugLog, ModulesAreComparedOnTheirFirst15Characters) {
  const std::string longest(37, 'm');  // with the directory, 63 characters
  useSettings({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI", "ENABLE_abcdefghijklmnopqrst", "ENABLE_" + longest});
  inFreshProcess([&] {
    for (const char *on : {"IPMI", "abcdefghijklmnopqrst", "abcdefghijklmno---", ""}) {  // the last is an unused slot
      EXPECT_TRUE(prints(on)) << on;
    }
    for (const char *off : {"IPM", "IPMI_OVER_LAN_SERVICE", "DEV", "abcdefghijklmn"}) {
      EXPECT_FALSE(prints(off)) << off;
    }
  });
  EXPECT_EQ(GetDebugSourceIsEnable("IPMI"), 1);
  EXPECT_EQ(GetDebugSourceIsEnable("abcdefghijklmno"), 0);
  EXPECT_EQ(GetDebugSourceIsEnable((longest + "cut off").c_str()), 1);
  EXPECT_EQ(GetDebugSourceIsEnable(nullptr), -1);
}

TEST_F(DebugLog, OnlyTheFirst16SwitchesListedCount) {
  useSettings({"LEVEL_INFO", "PATH_SERIAL"});
  for (int i = 0; i < 200; ++i) {  // more than one read of the directory returns
    touch(kDirectory + (i < 17 ? "ENABLE_" : "NOTES_ON_SWITCH_") + std::to_string(i) + "_ABCDEFGHIJKLM");
  }
  std::vector<std::string> listed;
  std::string expected;
  for (const auto &entry : std::filesystem::directory_iterator(kDirectory)) {
    if (const std::string name = entry.path().filename(); name.starts_with("ENABLE_")) {
      listed.push_back(name.substr(7, 15));
      expected.append(listed.back()).append(16 - listed.back().size(), '\0');
    }
  }
  expected.resize(256);
  std::string table(257, '~');
  EXPECT_EQ(LoadDebugSource(table.data()), 0);
  EXPECT_EQ(table, expected + "~");
  inFreshProcess([&] {
    for (const std::string &module : listed) {
      EXPECT_EQ(prints(module), module != listed[16]) << module;
    }
  });
  remove(kDirectory);
  EXPECT_EQ(LoadDebugSource(table.data()), 0);
  EXPECT_EQ(table, expected + "~");
}

TEST_F(DebugLog, SettingsAreReadAtTheFirstAcceptedCallAndWhileTheReloadMarkerExists) {
  inFreshProcess([] {
    VexoraDebug(4, "IPMI", "ignored");
    VexoraDebug(3, nullptr, "ignored");
    VexoraDebug(3, "IPMI", nullptr);
    useSettings({"LEVEL_WARNING", "PATH_SERIAL", "ENABLE_IPMI"});
    EXPECT_TRUE(prints("IPMI"));  // so no ignored call has read the settings before

    useSettings({"LEVEL_CRITICAL", "PATH_LOG", "ENABLE_DEV"});
    EXPECT_NE(printed("IPMI", 1), "");
    touch(kReload);
    EXPECT_FALSE(prints("DEV"));
    useSettings({"LEVEL_CRITICAL", "PATH_BOTH", "ENABLE_DEV"});
    EXPECT_TRUE(prints("DEV"));
    EXPECT_EQ(printed("DEV", 2), "");
    EXPECT_FALSE(prints("IPMI"));
    remove(kReload);
    useSettings({});

    EXPECT_TRUE(prints("DEV"));
    const FailCall existenceTests("access", kNever, 0);
    EXPECT_FALSE(prints("IPMI"));
    EXPECT_EQ(printed("DEV", 2), "");
    EXPECT_EQ(existenceTests.seen(), 2U) << "one for each silent call";
    touch(kReload);
    EXPECT_FALSE(prints("DEV"));
    EXPECT_TRUE(exists(kReload));
  });
}

TEST_F(DebugLog, DirectoryThatCannotBeOpenedAtAReloadKeepsTheModules) {
  useSettings({"LEVEL_CRITICAL", "PATH_SERIAL", "ENABLE_IPMI"});
  inFreshProcess([] {
    EXPECT_TRUE(prints("IPMI"));
    useSettings({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_DEV"});
    touch(kReload);
    const FailCall unopened("open", 1, EMFILE, Strike::kFromThen);
    EXPECT_EQ(printed("IPMI", 0), "[Info]:" + kTime + "text\n\n");
    EXPECT_FALSE(prints("DEV"));
  });
}

TEST_F(DebugLog, LookupInterruptedByReloadsGoesByTheOldSettingsOrTheNew) {
  static const std::string states[][2] = {{kDirectory + "LEVEL_CRITICAL", kDirectory + "LEVEL_INFO"},
                                          {kDirectory + "ENABLE_X", kDirectory + "X_IS_OFF"}};
  useSettings({"ENABLE_X"});  // listed last, as tmpfs lists the newest first: the longest lookup
  for (int i = 0; i < 15; ++i) {
    touch(kDirectory + "ENABLE_OTHER" + std::to_string(i));
  }
  touch(kDirectory + "LEVEL_CRITICAL");
  touch(kDirectory + "PATH_SERIAL");
  inFreshProcess([] {
    std::signal(SIGALRM, [](int) {
      for (const auto &[from, to] : states) {
        std::rename((signals % 2 == 0 ? from : to).c_str(), (signals % 2 == 0 ? to : from).c_str());
      }
      symlink("/", kReload.c_str());
      VexoraDebug(0, "OFF", "reloads");
      VexoraDebug(0, "OFF", "reloads once more, so that no copy of the old settings is left");
      unlink(kReload.c_str());
      ++signals;
    });
    const auto lookUp = [] { VexoraDebug(0, "X", "on at no time for this level"); };
    EXPECT_EQ(capturedOutput([&] {
                lookUp();  // resolves the interposed calls once; a handler must not interrupt that
                for (int n = 0; n < 1000; ++n) {
                  const itimerval soon = {{}, {0, 50}};
                  setitimer(ITIMER_REAL, &soon, nullptr);
                  while (signals == n) {
                    lookUp();
                  }
                }
              }),
              "");
  });
}

TEST_F(DebugLog, HandlerLogsImmediatelyWhereverItInterruptedAConversion) {
  useSettings({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
  inFreshProcess([] {
    setenv("TZ", "XST-05:45", 1);
    ASSERT_TRUE(prints("IPMI"));
    std::signal(SIGUSR1, [](int) { VexoraDebug(3, "IPMI", "crash %d", ++signals); });
    interrupts = true;
    EXPECT_EQ(printed("IPMI", 1),
              "[Critical]:<2024-05-01T19:30:07>crash 1\n\n[Critical]:<2024-05-01T19:30:07>crash 2\n\n"
              "[Warning]:<2024-05-01T19:30:07>text\n\n");
  });
}

// Records of several writers stay whole, because each is appended by one call.
TEST_F(WatchdogLog, AppendsRecordsStampedInUtcInOneSystemCallEach) {
  setenv("TZ", "XST-05:45", 1);
  const auto writes = [] {
    const std::string counts = read("/proc/thread-self/io");
    return std::stoi(counts.substr(counts.find("syscw: ") + 7));
  };
  std::string expected = "what was there\n";
  write(kLog, expected);
  EXPECT_GT(writes(), 0);  // a sanitizer's first write would count
  const int descriptors = openDescriptors();
  for (const auto &[text, kept] : kTexts) {
    SCOPED_TRACE(testing::PrintToString(text));
    const int before = writes();
    EXPECT_EQ(TWatchDog1Log("%s", text.c_str()), 0);
    EXPECT_EQ(writes() - before, 1);
    expected.append(kStamp).append(kept);
    EXPECT_EQ(read(kLog), expected);
  }
  clock_.set(981173106);
  errno = ENOTTY;
  EXPECT_EQ(TWatchDog1Log(kWithErrno.c_str(), "open"), 0);
  EXPECT_EQ(read(kLog), expected + "[2001-02-03 04:05:06] open: Inappropriate ioctl for device\n");
  EXPECT_EQ(openDescriptors(), descriptors);
  remove(kLog);
  std::filesystem::create_symlink("/proc/self/comm", kLog);  // a file with blocks of 1,024 bytes
  const int before = writes();
  EXPECT_EQ(TWatchDog1Log("%s", kMost.c_str()), 0);
  EXPECT_EQ(writes() - before, 1);
}

TEST_F(WatchdogLog, IsDeletedAsSoonAsItReaches1MiB) {
  const std::string record = kStamp + "kick\n";
  const std::string almost(1048575 - record.size(), 'x');
  write(kLog, almost);
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_EQ(read(kLog), almost + record);
  write(kLog, almost + "x");
  {
    const FailCall undeletable("remove", 1, EBUSY);
    EXPECT_EQ(TWatchDog1Log("kick"), -1);
  }
  EXPECT_EQ(read(kLog), almost + "x" + record);
  const FailCall year2038("stat", 1, EOVERFLOW);  // as for a log from 2038 on where time_t has 32 bits
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_FALSE(exists(kLog));
}

TEST_F(WatchdogLog, RefusesFormatsItCannotRenderAndJudgesALogBySizeAlone) {
  const char *nothing = nullptr;
  EXPECT_EQ(TWatchDog1Log(nothing, 0), -1);
  EXPECT_EQ(TWatchDog1Log("before %ls after", L"\xD800"), -1);
  EXPECT_FALSE(exists(kLog));
  makeDirectory(kLog);
  EXPECT_EQ(TWatchDog1Log("not opened"), 0);
  for (const auto &[target, result] : {std::pair{"/dev/full", 0}, {"/extlog/syslog/missing/WDT.log", -1}}) {
    remove(kLog);
    std::filesystem::create_symlink(target, kLog);
    EXPECT_EQ(TWatchDog1Log("lost"), result) << target;
  }
}

}  // namespace

extern "C" {

void tzset() noexcept {
  conversion();
  original(&tzset, "tzset")();
}

std::tm *localtime_r(const std::time_t *moment, std::tm *parts) noexcept {
  conversion();
  return original(&localtime_r, "localtime_r")(moment, parts);
}
}
}  // namespace vexora::test
