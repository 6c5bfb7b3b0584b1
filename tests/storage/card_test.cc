// SPDX-License-Identifier: Apache-2.0
//
// The TF card on a board whose `mount`, `umount` and `df` are shell scripts, first on the path: they keep a record of
// how they were called and do what a test tells them.

#include <sched.h>
#include <sys/mount.h>

#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "ipc/channels.h"
#include "support/faults.h"
#include "vexora/storage.h"

namespace vexora::test {
namespace {

const std::string kFolder = "/mnt/sdmmc0p2/fw/";
const std::string kMount2 = "umount /mnt/sdmmc0p2\nmount /dev/mmcblk0p1 /mnt/sdmmc0p2\n";
const std::string kRemount3 = "df -k\numount /mnt/sdmmc0p3\nmount /dev/mmcblk0p1 /mnt/sdmmc0p3\n";
// What programs that trust names choke on; the longest name is one of 255 bytes.
const std::string kForeign[] = {"%n%s", "-rf", "a b\nc", "$(reboot);`x`&", std::string(251, '%')};

void answer(const std::string &program, const std::string &script) { write("/var/bin/" + program + ".answer", script); }

class Card : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    for (const std::string program : {"mount", "umount", "df"}) {
      write("/var/bin/" + program, "#!/bin/sh\necho \"${0##*/} $*\" >>/var/commands\n. $0.answer\n");
      std::filesystem::permissions("/var/bin/" + program, std::filesystem::perms(0755));
      answer(program, ":");
    }
    setenv("PATH", "/var/bin:/usr/bin:/bin", 1);
    for (const char *file : {"/conf/vexora_debug/ENABLE_ZELMONITOR", "/dev/mmcblk0", "/dev/mmcblk0p1", "/var/source"}) {
      touch(file);
    }
    makeFolder(kFolder);
  }
  // A call's outcome, with the results of all its calls, commands included, behind what it printed.
  Outcome all(const std::function<std::vector<int>()> &calls) {
    std::vector<int> results;
    Outcome seen = outcome([&] { return (results = calls()).front(); });
    for (const int result : results) {
      seen.output += '|' + std::to_string(result);
    }
    seen.output += '|' + (exists("/var/commands") ? read("/var/commands") : "");
    remove("/var/commands");
    return seen;
  }
  // A look at the mount, with what it wrote.
  Outcome look() {
    char place[33] = "~";
    std::int64_t room = -7;
    Outcome seen = all([&] { return std::vector{CheckTFCardMountStatus(place, &room)}; });
    seen.output += std::string(place) + ' ' + std::to_string(room);
    return seen;
  }
};

TEST_F(Card, IsMountedForLogs) {
  answer("mount", "exit 32");
  const Outcome seen = all([] {
    return std::vector{common_copy_log_to_tf_card("/var/source"), common_copy_log_to_tf_card("/var/%s")};
  });
  const std::string failed = "Copy /var/%s to /mnt/sdmmc0p2 fail in TF card \n|0|-1|";
  EXPECT_EQ(seen, (Outcome{0, failed + kMount2 + "umount /mnt/sdmmc0p2\n" + kMount2}));
  EXPECT_TRUE(exists("/mnt/sdmmc0p2/source"));
  remove("/dev/mmcblk0p1");
  EXPECT_EQ(all([] { return std::vector{common_mount_tf_card()}; }).output,
            "|0|umount /mnt/sdmmc0p2\nmount /dev/mmcblk0 /mnt/sdmmc0p2\n");
}

TEST_F(Card, ThatIsMissingIsTold) {
  std::uint32_t count = 7;
  char names[] = "~";
  const auto callAll = [&] {
    return std::vector{common_copy_ima_file_to_tf_card("", "", ""), common_get_file_list_from_tf_card("%s", names),
                       get_production_doc_from_tf_card(names, 0, &count)};
  };
  const std::string report = "[vexora_tf_card:LINE]/dev/mmcblk0:check TF card fail, no such file or directory.";
  const std::string printed =
      "TFCARD_DEVICE:check TF card fail, no such device./dev/mmcblk0:check TF card fail, no such file or directory.";
  remove("/mnt/sdmmc0p2");
  const std::string place = "Check TF card fail, no such file or directory.";
  EXPECT_EQ(all(callAll),
            (Outcome{1,
                     "TFCARD_MOUNT_DIR:check TF card fail, no such file or directory." + place + "|1|2|2|",
                     {{132, "[vexora_tf_card:LINE]" + place}}}));
  remove("/dev/mmcblk0p1");
  remove("/dev/mmcblk0");
  EXPECT_EQ(all(callAll), (Outcome{1, printed + "|1|1|1|", {{132, report}}}));
  const std::string lines = "TFCARD_DEVICE:check  TF card fail, no such file or directory. \nTF Card not Exist!\n";
  EXPECT_EQ(outcome([] { return common_copy_log_to_tf_card("") - common_mount_tf_card(); }), (Outcome{2, lines}));
  EXPECT_EQ(look(), (Outcome{-1, "|-1|~ -7", {{178, "[vexora_tf_card][LINE]TF Card not Exist!\n", true}}}));
  EXPECT_EQ(std::to_string(count) + names, "7~");
}

TEST_F(Card, VersionBeginsWithItsImage) {
  const std::tuple<std::string, const char *, int> rows[] = {
      {"fw.new", "fw-2.1", 4},     {"fw.old", "fw-2.1", 5}, {"fw.new", "gx", 3}, {"fw.new.new", "fw.ne", 4},
      {"fw.old.new", "fw.old", 4}, {"a.old.new", "a.x", 5}, {".new", "", 4},     {"fw.new/below", "fw", 3}};
  for (const auto &[file, version, result] : rows) {
    write(kFolder + file, "");
    EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "fw", version), Outcome{result}) << file;
    remove(kFolder);
  }
  makeFolder(kFolder);
  const FailCall fault("opendir", 1, ENOMEM);
  EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "fw", "fw"),
            (Outcome{-1, "Cannot open directory /mnt/sdmmc0p2/fw\n"}));
  EXPECT_EQ(common_check_ima_file_version_tf_card(nullptr, "fw") + common_check_ima_file_version_tf_card("fw", nullptr),
            -2);
  remove(kFolder);
  const std::string missing = "[Info]:<2024-05-01T13:45:07>/mnt/sdmmc0p2/%s is not exist in TF Card\n\n";
  EXPECT_EQ(outcome(common_check_ima_file_version_tf_card, "%s", "fw"), (Outcome{2, missing}));
}

TEST_F(Card, KeepsTwoGenerationsOfOneImage) {
  for (const std::string &name : kForeign) {
    remove(kFolder);
    write(kFolder + name + ".new", "last");
    write(kFolder + name + ".old", "before");
    std::filesystem::create_symlink("/var/source", kFolder + "link.old");
    std::string names(130, '~');
    EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "%s", "fw"), Outcome{});
    EXPECT_EQ(outcome(common_get_file_list_from_tf_card, "fw", names.data()), Outcome{});
    EXPECT_EQ(std::string(&names[0]) + &names[64] + names.substr(128), "%s" + name.substr(0, 63) + "~~");
    EXPECT_EQ(read(kFolder + name + ".old") + std::to_string(list(kFolder).size()), "last3");
  }
  write(kFolder + "x.old.new", "");
  {
    const FailCall fault("remove", 1, EIO);
    EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "y", "fw").output,
              "Unlink " + kFolder + "x.old.new fail in TF card.\n");
  }
  write(kFolder + "x.old.new", "");
  const std::string texts = "Rename x.old.new to " + kFolder + "x.old.old fail in TF card.\nCopy %s to " + kFolder +
                            "fw.new fail in TF card.\n";
  EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "%s", "fw", "fw"), (Outcome{-1, texts}));
}

TEST_F(Card, FolderThatCannotBeListedKeepsItsImages) {
  write(kFolder + "fw.new", "last");
  {
    const FailCall fault("opendir", 1, ENOMEM);
    EXPECT_EQ(capturedOutput([] { common_copy_ima_file_to_tf_card("/var/source", "fw", "fw"); }),
              "Cannot open directory /mnt/sdmmc0p2/fw\n");
  }
  const FailCall fault("readdir", 2, EIO);
  EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "fw", "fw").result, -1);
  EXPECT_EQ(read(kFolder + "fw.new"), "last");
  umask(0);
  EXPECT_EQ(common_copy_ima_file_to_tf_card("/var/source", "fw", "made"), 0);
  EXPECT_EQ(std::filesystem::status("/mnt/sdmmc0p2/made").permissions(), std::filesystem::perms(0777));
  const std::string deep = "no/" + std::string(200, 'd');  // cut to 127 characters with the mount point
  const std::string cut = "create /mnt/sdmmc0p2/" + deep.substr(0, 113) + " in TF card fail.\n\n";
  EXPECT_EQ(outcome(common_copy_ima_file_to_tf_card, "/var/source", "fw", deep.c_str()),
            (Outcome{-1, "[Error]:<2024-05-01T13:45:07>" + cut}));
}

TEST_F(Card, DocumentsFillTheRoomThereIs) {
  std::string names(4 * 257, '~');
  std::uint32_t count = 7;
  const auto documents = [&](int max) { return get_production_doc_from_tf_card(names.data(), max, &count); };
  makeFolder("/mnt/sdmmc0p2/product_doc/below");
  EXPECT_EQ(std::tuple(documents(2), count, documents(-1)), std::tuple(2, 0U, 2));
  for (const std::string &name : kForeign) {
    write("/mnt/sdmmc0p2/product_doc/" + name + ".doc", "");
  }
  EXPECT_EQ(std::tuple(documents(2), count), std::tuple(0, 3U));
  EXPECT_EQ(names.substr(771), std::string(257, '~'));
  EXPECT_TRUE(exists(std::string("/mnt/sdmmc0p2/product_doc/") + &names[514]));
}

TEST_F(Card, WithoutAMountIsMountedInThreeAttempts) {
  answer("df", R"(printf '/dev/mmcblk0p1\n 1 2 3 4%% /m\n/dev/mmcblk0p12 1 2 3 4%% /m\n/dev/mmcblk0p1 1 2 3\n\n')");
  EXPECT_EQ(look(), (Outcome{0, "|0|" + kRemount3 + "~ -7"}));
  // The rest of a line that is too long is no line, and a long field is cut.
  answer("df",
         "printf '%0255d/dev/mmcblk0p1 1 2 3 4%% /no\\n' 0; echo /dev/mmcblk0p1 1 2 5 4% /" + std::string(40, 'm'));
  EXPECT_EQ(look(), (Outcome{0, "|0|df -k\n/" + std::string(30, 'm') + " 5"}));
  answer("df", ":");
  answer("mount", "exit 32");
  answer("umount", "exit 1");
  Outcome failed = {32 << 8, "|8192|" + kRemount3 + kRemount3 + kRemount3 + "~ -7"};
  for (const int level : {180, 180, 180}) {
    failed.reports.push_back({level, "[CheckTFCardMountStatus][LINE]umount /mnt/sdmmc0p3 failed!\n", true});
    failed.reports.push_back(
        {level, "[CheckTFCardMountStatus][LINE]mount /dev/mmcblk0p1 on /mnt/sdmmc0p3 failed!\n", true});
  }
  EXPECT_EQ(look(), failed);
}

TEST_F(Card, MountOfARealFileSystemIsFound) {
  inFreshProcess([&] {
    ASSERT_EQ(unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER), 0);
    ASSERT_EQ(mount("/dev/mmcblk0p1", "/mnt", "tmpfs", 0, "size=8m"), 0);
    answer("df", "exec /usr/bin/df \"$@\"");
    EXPECT_EQ(look(), (Outcome{0, "|0|df -k\n/mnt 8192"}));
    const SignalStorm storm;
    answer("df", "for n in $(seq 40); do /bin/echo tmpfs; done; echo /dev/mmcblk0 1 2 -5 4% /a b");
    EXPECT_EQ(look(), (Outcome{0, "|0|df -k\n/a b -5"}));
  });
}

}  // namespace
}  // namespace vexora::test
