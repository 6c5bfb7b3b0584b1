// SPDX-License-Identifier: Apache-2.0
// The debug log. The settings live as long as the process, so each story runs in one of its own. The program stands
// between the library and the platform's existence tests and time conversion: it counts the tests, and can have a
// signal arrive in each call, whose handler logs as a crash report does.

#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>

#include "support/files.h"
#include "support/platform.h"
#include "support/process.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

const std::string kFolder = "/conf/vexora_debug/";
const std::string kReload = "/var/vexora_debug_reload";
const std::string kTime = "<2024-05-01T13:45:07>";
const std::string kWithErrno = "%s: %m";  // not in the calls: compilers warn of the extension

int existenceTests = 0;
bool seesReload = false;
bool converting = false;
bool interrupts = false;
std::atomic<int> signals = 0;

// Repeats a call while so many signals arrive, one after the other, at any of its instructions.
void whileSignalled(int count, void (*call)()) {
  const itimerval soon = {{}, {0, 50}};
  while (count-- > 0) {
    const int before = signals;
    setitimer(ITIMER_REAL, &soon, nullptr);
    while (signals == before) {
      call();
    }
  }
}

// As with the platform's own lock, a handler that interrupted a conversion must not begin another.
void conversion() {
  if (converting) {
    ADD_FAILURE() << "would have waited for itself";
    return;
  }
  converting = true;
  if (interrupts) {
    raise(SIGUSR1);
  }
  converting = false;
}

void useSettings(const std::vector<std::string> &markers) {
  remove(kFolder);
  for (const std::string &marker : markers) {
    touch(kFolder + marker);
  }
}

std::string printed(const std::string &module, unsigned level = 3, const std::string &text = "text") {
  return capturedOutput([&] { VexoraDebug(level, module.c_str(), "%s", text.c_str()); });
}

bool prints(const std::string &module) { return !printed(module).empty(); }

class DebugLog : public RootTest {
 protected:
  FixedClock clock_{1714571107};
};

TEST_F(DebugLog, KnowsPrioritiesAndTheFirmwaresModules) {
  for (const auto &[level, priority] : {std::pair{0U, 6}, {1U, 4}, {2U, 3}, {3U, 2}, {4U, -1}, {UINT_MAX, -1}}) {
    EXPECT_EQ(TranslateToSyslogLevel(level), priority) << level;
  }
  for (const char *known : {"DEV", "IPMI", "REDFISH", "SNMP", "ZELMONITOR", "CPLD"}) {
    EXPECT_EQ(GetSourceIsVaild(known), 1) << known;
  }
  for (const char *unknown : {"zelmonitor", "DE", ""}) {
    EXPECT_EQ(GetSourceIsVaild(unknown), 0) << unknown;
  }
  EXPECT_EQ(GetSourceIsVaild(nullptr), -1);
}

TEST_F(DebugLog, MostVerboseLevelAndFirstDestinationCount) {
  const struct {
    std::vector<std::string> markers;
    int level, destination;
    std::string printed;
  } rows[] = {
      {{}, -1, -1, ""},
      {{"PATH_SERIAL"}, -1, 0, ""},
      {{"LEVEL_INFO", "PATH_LOG", "PATH_BOTH"}, 0, 1, ""},
      {{"LEVEL_INFO", "LEVEL_CRITICAL", "PATH_BOTH"}, 0, 2, "0123"},
      {{"LEVEL_WARNING", "PATH_SERIAL", "PATH_LOG"}, 1, 0, "123"},
      {{"LEVEL_ERROR", "LEVEL_CRITICAL", "PATH_SERIAL"}, 2, 0, "23"},
      {{"LEVEL_CRITICAL", "PATH_SERIAL"}, 3, 0, "3"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.markers));
    useSettings(row.markers);
    touch(kFolder + "ENABLE_IPMI");
    EXPECT_EQ(GetDebugEanleLevel(), row.level);
    EXPECT_EQ(GetDebugEanlePath(), row.destination);
    inFreshProcess([&] {
      std::string levels;
      for (const unsigned level : {0U, 1U, 2U, 3U, 4U, UINT_MAX}) {
        levels += printed("IPMI", level).empty() ? "" : std::to_string(level);
      }
      EXPECT_EQ(levels, row.printed);
    });
  }
}

TEST_F(DebugLog, RecordShowsLevelLocalTimeAndMessageAndKeepsErrno) {
  const std::string most(1022, 'x');
  useSettings({"LEVEL_INFO", "PATH_BOTH", "ENABLE_IPMI"});
  inFreshProcess([&] {
    for (const auto &[text, shown] :
         {std::pair{"abc", "abc\n\n"}, {"abc\n", "abc\n\n"}, {"abc\t", "abc\t\n"}, {"", "\n\n"}}) {
      EXPECT_EQ(printed("IPMI", 1, text), "[Warning]:" + kTime + shown) << text;
    }
    EXPECT_EQ(printed("IPMI", 1, most + "yz"), "[Warning]:" + kTime + most + "\n\n");
    clock_.set(981173106);
    EXPECT_EQ(printed("IPMI", 0), "[Info]:<2001-02-03T04:05:06>text\n\n");
    clock_.set(1714571107);
    setenv("TZ", "XST-05:45", 1);
    touch(kReload);  // reading the settings meets missing files
    EXPECT_EQ(capturedOutput([] {
                errno = ENOTTY;
                VexoraDebug(2, "IPMI", kWithErrno.c_str(), "open");
                EXPECT_EQ(errno, ENOTTY);
                VexoraDebug(2, "IPMI", "before %ls after", L"\xD800");
                EXPECT_EQ(errno, ENOTTY);
              }),
              "[Error]:<2024-05-01T19:30:07>open: Inappropriate ioctl for device\n\n");
  });
}

TEST_F(DebugLog, ModulesAreComparedOnTheirFirst15Characters) {
  const std::string longest(37, 'm');  // with the folder, 63 characters
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
  for (int i = 0; i < 200; ++i) {  // more than one read of the folder yields
    touch(kFolder + (i < 17 ? "ENABLE_" : "NOTES_ON_SWITCH_") + std::to_string(i) + "_ABCDEFGHIJKLM");
  }
  std::vector<std::string> listed;
  std::string expected;
  for (const auto &entry : std::filesystem::directory_iterator(kFolder)) {
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
  remove(kFolder);
  EXPECT_EQ(LoadDebugSource(table.data()), 0);
  EXPECT_EQ(table, expected + "~");
}

TEST_F(DebugLog, SettingsAreReadAtTheFirstAcceptedCallAndWhileTheReloadMarkerStands) {
  inFreshProcess([] {
    VexoraDebug(4, "IPMI", "ignored");
    VexoraDebug(3, nullptr, "ignored");
    VexoraDebug(3, "IPMI", nullptr);
    useSettings({"LEVEL_WARNING", "PATH_SERIAL", "ENABLE_IPMI"});
    EXPECT_TRUE(prints("IPMI"));  // so no ignored call had found the folder missing

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
    existenceTests = 0;
    EXPECT_FALSE(prints("IPMI"));
    EXPECT_EQ(printed("DEV", 2), "");
    EXPECT_EQ(existenceTests, 2) << "one for each silent call";
    touch(kReload);
    EXPECT_FALSE(prints("DEV"));
    EXPECT_TRUE(exists(kReload));
  });
}

TEST_F(DebugLog, FolderThatCannotBeOpenedAtAReloadKeepsTheModules) {
  useSettings({"LEVEL_CRITICAL", "PATH_SERIAL", "ENABLE_IPMI"});
  inFreshProcess([] {
    EXPECT_TRUE(prints("IPMI"));
    useSettings({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_DEV"});
    touch(kReload);
    EXPECT_EQ(capturedOutput([] {
                rlimit files = {};
                getrlimit(RLIMIT_NOFILE, &files);
                const rlimit none = {0, files.rlim_max};
                setrlimit(RLIMIT_NOFILE, &none);
                VexoraDebug(0, "IPMI", "kept");
                VexoraDebug(0, "DEV", "not seen");
                setrlimit(RLIMIT_NOFILE, &files);
              }),
              "[Info]:" + kTime + "kept\n\n");
  });
}

TEST_F(DebugLog, LookupInterruptedByReloadsGoesByTheOldSettingsOrTheNew) {
  static const std::string states[][2] = {{kFolder + "LEVEL_CRITICAL", kFolder + "LEVEL_INFO"},
                                          {kFolder + "ENABLE_X", kFolder + "X_IS_OFF"}};
  useSettings({"ENABLE_X"});  // tmpfs lists the newest first, so that a lookup takes its longest to find it
  for (int i = 0; i < 15; ++i) {
    touch(kFolder + "ENABLE_OTHER" + std::to_string(i));
  }
  touch(kFolder + "LEVEL_CRITICAL");
  touch(kFolder + "PATH_SERIAL");
  inFreshProcess([] {
    std::signal(SIGALRM, [](int) {
      for (const auto &[from, to] : states) {
        std::rename((signals % 2 == 0 ? from : to).c_str(), (signals % 2 == 0 ? to : from).c_str());
      }
      seesReload = true;
      VexoraDebug(0, "OFF", "reloads");
      VexoraDebug(0, "OFF", "reloads once more, so that no copy of the old settings is left");
      seesReload = false;
      ++signals;
    });
    EXPECT_EQ(capturedOutput([] { whileSignalled(1000, [] { VexoraDebug(0, "X", "on at no time for this level"); }); }),
              "");
  });
}

TEST_F(DebugLog, HandlerLogsAtOnceWhereverItInterruptedAConversion) {
  useSettings({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
  inFreshProcess([] {
    setenv("TZ", "XST-05:45", 1);
    ASSERT_TRUE(prints("IPMI"));
    std::signal(SIGUSR1, [](int) { VexoraDebug(3, "IPMI", "crash %d", ++signals); });
    interrupts = true;
    EXPECT_EQ(printed("IPMI", 1),
              "[Critical]:<2024-05-01T19:30:07>crash 1\n\n[Critical]:<2024-05-01T19:30:07>crash 2\n\n"
              "[Warning]:<2024-05-01T19:30:07>text\n\n");
    interrupts = false;
  });
}

}  // namespace
}  // namespace vexora::test

using vexora::test::original;

extern "C" {

int access(const char *path, int mode) noexcept {
  static auto *const real = vexora::test::original(&access, "access");  // looking it up is no work for a handler
  ++vexora::test::existenceTests;
  return vexora::test::seesReload && path == vexora::test::kReload ? 0 : real(path, mode);
}

void tzset() noexcept {
  vexora::test::conversion();
  original(&tzset, "tzset")();
}

std::tm *localtime_r(const std::time_t *moment, std::tm *parts) noexcept {
  vexora::test::conversion();
  return original(&localtime_r, "localtime_r")(moment, parts);
}
}
