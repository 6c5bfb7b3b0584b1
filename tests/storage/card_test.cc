// SPDX-License-Identifier: Apache-2.0
//
// The TF card on a board whose `mount`, `umount` and `df` are shell scripts, first in the path: they record their
// arguments and run a test's script.

#include <sched.h>
#include <sys/mount.h>

#include "firmware/unix.h"
#include "ipc/channels.h"
#include "vexora/storage.h"

namespace vexora::test {
namespace {

const std::string kDirectory = "/mnt/sdmmc0p2/fw/";
const std::string kMount2 = "umount /mnt/sdmmc0p2\nmount /dev/mmcblk0p1 /mnt/sdmmc0p2\n";
const std::string kRemount3 = "df -k\numount /mnt/sdmmc0p3\nmount /dev/mmcblk0p1 /mnt/sdmmc0p3\n";
// Names that break careless programs; the longest one has 255 bytes.
const std::string kForeign[] = {"%n%s", "-rf", "a b\nc", "$(reboot);`x`&", std::string(251, '%')};

void answer(const std::string &program, const std::string &script) { write("/var/bin/" + program + ".answer", script); }

// A look at the mount: the outcome, the commands, and both outputs.
using Look = std::tuple<Outcome, std::string, std::string, std::int64_t>;

bool popenFails = false;
std::vector<long> pauses;  // in nanoseconds
std::string synced;        // open files on the card when a fault struck

class Card : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    popenFails = entriesWithoutType = false;
    pauses = {};
    for (const std::string program : {"mount", "umount", "df"}) {
      write("/var/bin/" + program, "#!/bin/sh\necho \"${0##*/} $*\" >>/var/commands\n. $0.answer\n");
      std::filesystem::permissions("/var/bin/" + program, std::filesystem::perms(0755));
      answer(program, ":");
    }
    setenv("PATH", "/var/bin:/usr/bin:/bin", 1);
    for (const char *file : {"/conf/vexora_debug/ENABLE_ZELMONITOR", "/dev/mmcblk0", "/dev/mmcblk0p1", "/var/source"}) {
      touch(file);
    }
    makeDirectory(kDirectory);
  }
  // The commands since the last call.
  static std::string commands() {
    std::string lines = exists("/var/commands") ? read("/var/commands") : "";
    remove("/var/commands");
    return lines;
  }
  Look look() {
    char place[33] = "~";
    std::int64_t room = -7;
    const Outcome seen = outcome(CheckTFCardMountStatus, place, &room);
    return {seen, commands(), place, room};
  }
};

TEST_F(Card, IsMountedForLogs) {
  answer("mount", "exit 32");
  answer("umount", "exit 1");
  EXPECT_EQ(outcome(common_copy_log_to_tf_card, "/var/source"), Outcome{});
  answer("umount", ":");
  EXPECT_EQ(commands(), kMount2 + "umount /mnt/sdmmc0p2\n");
  EXPECT_TRUE(exists("/mnt/sdmmc0p2/source"));
  EXPECT_EQ(outcome(common_copy_log_to_tf_card, "/var/%s"),
            (Outcome{-1, "Copy /var/%s to /mnt/sdmmc0p2 fail in TF card \n"}));
  EXPECT_EQ(commands(), kMount2) << "stays mounted";
  remove("/dev/mmcblk0p1");
  EXPECT_EQ(outcome(common_mount_tf_card), Outcome{});
  EXPECT_EQ(commands(), "umount /mnt/sdmmc0p2\nmount /dev/mmcblk0 /mnt/sdmmc0p2\n");
  answer("umount", "exit 1");
  EXPECT_EQ(outcome(common_umount_tf_card), Outcome{});
  EXPECT_EQ(commands(), "umount /mnt/sdmmc0p2\n");
  EXPECT_EQ(outcome(common_copy_log_to_tf_card, nullptr), Outcome{-1});
  EXPECT_EQ(commands(), "");
}

TEST_F(Card, HasWhatWasStoredBeforeACallReturns0) {
  // The call, the synced paths in order, the file first, and the message when a sync fails.
  const std::tuple<std::function<int()>, std::vector<std::string>, std::string> rows[] = {
      {[] { return common_copy_ima_file_to_tf_card("/var/source", "fw", "fw"); },
       {kDirectory + "fw.new", "/mnt/sdmmc0p2/fw", "/mnt/sdmmc0p2"},
       "Copy /var/source to " + kDirectory + "fw.new fail in TF card.\n"},
      {[] { return common_copy_log_to_tf_card("/var/source"); },
       {"/mnt/sdmmc0p2/source", "/mnt/sdmmc0p2"},
       "Copy /var/source to /mnt/sdmmc0p2 fail in TF card \n"}};
  for (const auto &[store, paths, message] : rows) {
    for (const int error : {EIO, ENOSPC, EINVAL, ENOSYS, EINTR}) {
      const bool isLost = error == EIO || error == ENOSPC;
      for (unsigned n = 1; n <= paths.size(); ++n) {
        const FailCall fault("fsync", n, error, Strike::kKill);
        EXPECT_EQ(outcome(store), isLost ? (Outcome{-1, message}) : Outcome{}) << message << n << ": error " << error;
        EXPECT_EQ(std::exchange(synced, ""), paths[n - 1]);
      }
    }
    const FailCall unopened("open", 1, EACCES);
    EXPECT_EQ(outcome(store), Outcome{}) << message;
  }
}

TEST_F(Card, ThatIsMissingIsReported) {
  std::uint32_t count = 7;
  char names[] = "~";
  const auto expect = [&](const Outcome &store, const Outcome &images, const Outcome &documents) {
    EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "", "", ""), store);
    EXPECT_EQ(outcome(common_get_file_list_from_tf_card, "%s", names), images);
    EXPECT_EQ(outcome(get_production_doc_from_tf_card, names, 0, &count), documents);
    EXPECT_EQ(std::to_string(count) + names, "7~");
  };
  const auto warned = [](int result, const std::string &text) {
    return Outcome{result, "", {{132, "[vexora_tf_card:LINE]" + text}}};
  };
  EXPECT_EQ(outcome(get_production_doc_from_tf_card, names, 0, &count),
            warned(2, "Check TF card fail, no such file or directory."));
  remove("/mnt/sdmmc0p2");
  const std::string place = "Check TF card fail, no such file or directory.";
  expect({1, "TFCARD_MOUNT_DIR:check TF card fail, no such file or directory."}, {2, place}, warned(2, place));
  remove("/dev/mmcblk0");
  const std::string card = "/dev/mmcblk0:check TF card fail, no such file or directory.";
  expect({1, "TFCARD_DEVICE:check TF card fail, no such device."}, {1, card}, warned(1, card));
  EXPECT_EQ(outcome(common_copy_log_to_tf_card, ""),
            (Outcome{1, "TFCARD_DEVICE:check  TF card fail, no such file or directory. \n"}));
  remove("/dev/mmcblk0p1");
  EXPECT_EQ(outcome(common_mount_tf_card), (Outcome{-1, "TF Card not Exist!\n"}));
  EXPECT_EQ(look(), (Look{{-1, "", {{178, "[vexora_tf_card][LINE]TF Card not Exist!\n", true}}}, "", "~", -7}));
}

TEST_F(Card, VersionBeginsWithItsImage) {
  const std::tuple<std::string, const char *, int> rows[] = {
      {"fw.new", "fw-2.1", 4},     {"fw.old", "fw-2.1", 5}, {"fw.new", "gx", 3}, {"fw.new.new", "fw.ne", 4},
      {"fw.old.new", "fw.old", 4}, {"a.old.new", "a.x", 5}, {".new", "", 4},     {"fw.new/below", "fw", 3}};
  for (const auto &[file, version, result] : rows) {
    write(kDirectory + file, "");
    EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "fw", version), Outcome{result}) << file;
    remove(kDirectory);
  }
  makeDirectory(kDirectory);
  const FailCall fault("opendir", 1, ENOMEM);
  EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "fw", "fw"),
            (Outcome{-1, "Cannot open directory /mnt/sdmmc0p2/fw\n"}));
  EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, nullptr, "fw"), Outcome{-1});
  EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "fw", nullptr), Outcome{-1});
  remove(kDirectory);
  const std::string missing = "[Info]:<2024-05-01T13:45:07>/mnt/sdmmc0p2/%s is not exist in TF Card\n\n";
  EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "%s", "fw"), (Outcome{2, missing}));
}

TEST_F(Card, KeepsTwoGenerationsOfOneImage) {
  EXPECT_EQ(common_copy_ima_file_to_tf_card(nullptr, "fw", "fw"), -1);
  EXPECT_EQ(common_copy_ima_file_to_tf_card("/var/source", nullptr, "fw"), -1);
  EXPECT_EQ(common_copy_ima_file_to_tf_card("/var/source", "fw", nullptr), -1);
  EXPECT_EQ(common_get_file_list_from_tf_card("fw", nullptr), -1);
  std::string none(130, '~');
  EXPECT_EQ(common_get_file_list_from_tf_card(nullptr, none.data()), -1);
  EXPECT_EQ(outcome(common_get_file_list_from_tf_card, "missing", none.data()), Outcome{2});
  EXPECT_EQ(none, std::string(130, '~'));
  EXPECT_EQ(outcome(common_get_file_list_from_tf_card, "fw", none.data()), Outcome{});
  EXPECT_STREQ(&none[0], "TF_CARD_NO_FILE");
  EXPECT_STREQ(&none[64], "TF_CARD_NO_FILE");
  for (const std::string &name : kForeign) {
    SCOPED_TRACE(name);
    entriesWithoutType = !entriesWithoutType;
    remove(kDirectory);
    write(kDirectory + name + ".new", "last");
    write(kDirectory + name + ".old", "before");
    std::filesystem::create_symlink("/var/source", kDirectory + "link.old");
    makeDirectory(kDirectory + "below.new");
    std::string names(130, '~');
    EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "%s", "fw"), Outcome{});
    EXPECT_EQ(outcome(common_get_file_list_from_tf_card, "fw", names.data()), Outcome{});
    EXPECT_STREQ(&names[0], "%s");
    EXPECT_EQ(&names[64], name.substr(0, 63));
    EXPECT_EQ(names.substr(128), "~~");
    EXPECT_EQ(read(kDirectory + name + ".old"), "last");
    EXPECT_EQ(list(kDirectory).size(), 4U);
  }
  write(kDirectory + "x.old.new", "");
  {
    const FailCall fault("remove", 1, EIO);
    EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "y", "fw").output,
              "Unlink " + kDirectory + "x.old.new fail in TF card.\n");
  }
  write(kDirectory + "x.old.new", "");
  const std::string texts = "Rename x.old.new to " + kDirectory + "x.old.old fail in TF card.\nCopy %s to " +
                            kDirectory + "fw.new fail in TF card.\n";
  EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "%s", "fw", "fw"), (Outcome{-1, texts}));
}

TEST_F(Card, DirectoryThatCannotBeListedKeepsItsImages) {
  int result = 0;
  const auto store = [&] { result = common_copy_ima_file_to_tf_card("/var/source", "fw", "fw"); };
  const std::pair<std::string_view, unsigned> rows[] = {
#ifndef VEXORA_SANITIZED
      {kAnyAllocation, 4},
#endif
      {"opendir", 1},
      {"readdir", 61}};
  for (const auto &[call, least] : rows) {
    SCOPED_TRACE(call);
    for (int n = 0; n < 60; ++n) {  // three times the first block's capacity
      touch(kDirectory + std::to_string(n) + std::string(240, 'n') + ".old");
    }
    write(kDirectory + "fw.new", "last");
    const auto before = list(kDirectory);
    const auto check = [&](unsigned n) { EXPECT_EQ(std::pair(result, list(kDirectory)), std::pair(-1, before)) << n; };
    unsigned failures = 0;
    const std::string output = capturedOutput([&, &name = call] { failures = failEach(name, ENOMEM, store, check); });
    EXPECT_TRUE(output.starts_with("Cannot open directory /mnt/sdmmc0p2/fw\n")) << output;
    EXPECT_GE(failures, least);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(list(kDirectory), (std::vector<std::string>{"fw.new", "fw.old"}));
    EXPECT_EQ(read(kDirectory + "fw.old"), "last");
  }
}

TEST_F(Card, DirectoryOfAnImageIsMade) {
  umask(0);
  EXPECT_EQ(common_copy_ima_file_to_tf_card("/var/source", "fw", "made"), 0);
  EXPECT_EQ(std::filesystem::status("/mnt/sdmmc0p2/made").permissions(), std::filesystem::perms(0777));
  const std::string deep = "no/" + std::string(200, 'd');  // with the mount point it is cut to 127 characters
  const std::string cut = "create /mnt/sdmmc0p2/" + deep.substr(0, 113) + " in TF card fail.\n\n";
  EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "fw", deep.c_str()),
            (Outcome{-1, "[Error]:<2024-05-01T13:45:07>" + cut}));
}

TEST_F(Card, DocumentsFillTheCapacity) {
  std::string names(6 * 257, '~');
  std::uint32_t count = 7;
  // The result and the count.
  const auto documents = [&](int max) {
    const int result = get_production_doc_from_tf_card(names.data(), max, &count);
    return std::pair(result, count);
  };
  makeDirectory("/mnt/sdmmc0p2/product_doc/below");
  entriesWithoutType = true;
  EXPECT_EQ(documents(2), std::pair(2, 0U));
  EXPECT_EQ(names, std::string(6 * 257, '~'));
  for (const std::string &name : kForeign) {
    write("/mnt/sdmmc0p2/product_doc/" + name + ".doc", "");
  }
  EXPECT_EQ(documents(-1), std::pair(2, 0U));
  EXPECT_EQ(documents(0), std::pair(0, 1U));
  EXPECT_EQ(documents(2), std::pair(0, 3U));
  EXPECT_EQ(names.substr(771), std::string(771, '~'));
  for (const std::size_t slot : {0U, 257U, 514U}) {
    EXPECT_TRUE(exists(std::string("/mnt/sdmmc0p2/product_doc/") + &names[slot])) << slot;
  }
  EXPECT_EQ(documents(INT_MAX), std::pair(0, 5U));
  const FailCall fault("opendir", 1, ENOMEM);
  EXPECT_EQ(documents(2), std::pair(2, 5U));
  EXPECT_EQ(get_production_doc_from_tf_card(nullptr, 0, &count), -1);
  EXPECT_EQ(get_production_doc_from_tf_card(names.data(), 0, nullptr), -1);
}

TEST_F(Card, WithoutAMountIsMountedInThreeAttempts) {
  answer("df", R"(printf '/dev/mmcblk0p1\n /dev/mmcblk0p1 1 2 3 4%% /m\n/dev/mmcblk0p12 1 2 3 4%% /m
/dev/mmcblk0p1 1 2 3\n\n'; exec >&-; for n in 1 2 3; do /bin/true; done; echo df ended >>/var/commands)");
  EXPECT_EQ(look(), (Look{{}, "df -k\ndf ended\n" + kRemount3.substr(6), "~", -7}));
  // A line ends after 255 characters, and its rest is not a line of its own; a number ends after 31 digits.
  answer("df", "printf '%0255d/dev/mmcblk0p1 1 2 3 4%% /no\\n/dev/mmcblk0p1 %0197d 2 %029d578 4%% /abcd' 0 0 0");
  EXPECT_EQ(look(), (Look{{}, "df -k\n", "/abc", 57}));
  EXPECT_EQ(outcome(CheckTFCardMountStatus, nullptr, nullptr), Outcome{});
  EXPECT_EQ(commands(), "df -k\n");
  popenFails = true;
  EXPECT_EQ(look(), (Look{{-1}, "", "~", -7}));
  popenFails = false;
  answer("df", ":");
  answer("mount", "exit 32");
  answer("umount", "exit 1");
  Outcome failed = {32 << 8};
  for (const int level : {180, 180, 180}) {
    failed.reports.push_back({level, "[CheckTFCardMountStatus][LINE]umount /mnt/sdmmc0p3 failed!\n", true});
    failed.reports.push_back(
        {level, "[CheckTFCardMountStatus][LINE]mount /dev/mmcblk0p1 on /mnt/sdmmc0p3 failed!\n", true});
  }
  EXPECT_EQ(look(), (Look{failed, kRemount3 + kRemount3 + kRemount3, "~", -7}));
  EXPECT_EQ(pauses, (std::vector<long>{500'000, 500'000, 1'000'000, 500'000, 1'000'000, 500'000, 1'000'000}));
}

TEST_F(Card, MountOfARealFileSystemIsFound) {
  inFreshProcess([&] {
    ASSERT_EQ(unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER), 0);
    ASSERT_EQ(mount("/dev/mmcblk0p1", "/mnt", "tmpfs", 0, "size=8m"), 0);
    answer("df", "exec /bin/df \"$@\"");
    EXPECT_EQ(look(), (Look{{}, "df -k\n", "/mnt", 8192}));
    const SignalStorm storm;
    answer("df",
           "for n in $(seq 41); do /bin/echo a; done; printf '/dev/mmcblk0 1 2 -9999999999999999999 4%% /a b%040d' 0");
    EXPECT_EQ(look(), (Look{{}, "df -k\n", "/a b" + std::string(27, '0'), LONG_MIN}));
  });
}

}  // namespace
}  // namespace vexora::test

using vexora::test::original;

extern "C" {

std::FILE *popen(const char *command, const char *modes) {
  errno = ENOMEM;
  return vexora::test::popenFails ? nullptr : original(&popen, "popen")(command, modes);
}

int nanosleep(const timespec *time, timespec * /*left*/) {
  vexora::test::pauses.push_back(time->tv_sec * 1'000'000'000 + time->tv_nsec);
  return 0;
}

// Instead of the SIGKILL of an armed fault: notes the open files on the card.
int kill(pid_t /*process*/, int /*signal*/) noexcept {
  const vexora::test::InHarness own;
  for (const std::string &number : vexora::test::list("/proc/self/fd")) {
    std::error_code error;
    const std::string path = std::filesystem::read_symlink("/proc/self/fd/" + number, error);
    vexora::test::synced += path.starts_with("/mnt") ? path : "";
  }
  return 0;
}

// Memory faults are for the library's allocations, not for the firmware's.
int copyFile(const char *from, const char *to) {
  const vexora::test::InHarness own;
  return original(&copyFile, "copyFile")(from, to);
}
}
