// SPDX-License-Identifier: Apache-2.0
#include <json-c/json.h>

#include "firmware/unix.h"
#include "ipc/channels.h"
#include "vexora/storage.h"

namespace vexora::test {
namespace {

constexpr const char *kFile = "/var/file";
const std::string kGuarded = std::string("\x26\x39\xF4\xCB") + "123456789";  // the digits' checksum is 0xCBF43926
constexpr auto kReadGuarded = vexora_string_read_file_with_crc32_check;

// The directories that the firmware was asked to remove.
std::vector<std::string> removals;

class Files : public ChannelTest {};

// The text of a returned block. Frees the block.
std::string text(char *block) {
  std::string copy = block == nullptr ? "no block" : block;
  std::free(block);
  return copy;
}

TEST_F(Files, GuardedTextFollowsItsChecksum) {
  write(kFile, "longer than what replaces it");
  EXPECT_EQ(vexora_string_write_2_file_with_crc32_check(kFile, "123456789"), 0);
  EXPECT_EQ(read(kFile), kGuarded);
  EXPECT_EQ(text(kReadGuarded(kFile)), "123456789");
  for (std::size_t at = 0; at < kGuarded.size(); ++at) {
    std::string damaged = kGuarded;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
    for (const std::string &content : {damaged, kGuarded.substr(0, at), kGuarded + "0"}) {
      write(kFile, content);
      EXPECT_EQ(kReadGuarded(kFile), nullptr) << testing::PrintToString(content);
    }
  }
}

TEST_F(Files, WhatIsNoReadableFileGivesNothing) {
  ASSERT_EQ(mkfifo("/var/pipe", 0600), 0);
  write("/var/endless", "0123456789");
#ifndef VEXORA_SANITIZED  // sanitizers report a request for so much memory
  constexpr off_t kMoreThanMemory = off_t{1} << (sizeof(void *) == 8 ? 62 : 32);  // 32-bit kernels limit files, too
  ASSERT_EQ(truncate("/var/endless", kMoreThanMemory + 10), 0);
  EXPECT_EQ(vexora_string_read_file("/var/endless"), nullptr);
#endif
  for (const char *path : {static_cast<const char *>(nullptr), "/var/none", "/var", "/var/pipe", "/dev/zero"}) {
    EXPECT_EQ(vexora_string_read_file(path), nullptr) << path;
    EXPECT_EQ(kReadGuarded(path), nullptr) << path;
  }
}

TEST_F(Files, DocumentsComeBackAndOtherTextsDoNot) {
  struct Form {
    int (*writeDocument)(const char *, json_object *);
    json_object *(*readDocument)(const char *);
    int (*writeText)(const char *, const char *);
    char *(*readText)(const char *);
  };
  const Form forms[] = {
      {vexora_json_write_2_file, vexora_json_read_file, vexora_string_write_2_file, vexora_string_read_file},
      {vexora_json_write_2_file_with_crc32_check, vexora_json_read_file_with_crc32_check,
       vexora_string_write_2_file_with_crc32_check, kReadGuarded}};
  json_object *const object = json_tokener_parse(R"({"a":[1,null,"\u0000%s"]})");
  for (const auto &[writeDocument, readDocument, writeText, readText] : forms) {
    SCOPED_TRACE(writeText == vexora_string_write_2_file ? "plain" : "guarded");
    EXPECT_EQ(writeDocument(kFile, nullptr), -1);
    EXPECT_EQ(writeDocument(nullptr, object), -1);
    EXPECT_EQ(writeDocument("/var", object), -1);
    EXPECT_EQ(writeText(kFile, nullptr), -1);
    EXPECT_EQ(writeText(nullptr, "text"), -1);
    EXPECT_EQ(readDocument(kFile), nullptr);
    EXPECT_EQ(writeDocument(kFile, object), 0);
    EXPECT_EQ(text(readText(kFile)), R"({ "a": [ 1, null, "\u0000%s" ] })");
    json_object *const again = readDocument(kFile);
    EXPECT_TRUE(json_object_equal(again, object));
    EXPECT_EQ(json_object_put(again), 1);
    for (const std::string &other :
         {std::string(), std::string("{\"a\":"), std::string("null"), std::string(33, '[') + std::string(33, ']')}) {
      EXPECT_EQ(writeText(kFile, other.c_str()), 0);
      EXPECT_EQ(readDocument(kFile), nullptr) << other;
    }
    remove(kFile);
  }
  EXPECT_EQ(json_object_put(object), 1);
}

TEST_F(Files, TailOfAFileOfAnySize) {
  for (const std::size_t size : {0U, 532'476U, 532'477U, 600'000U}) {
    write(kFile, std::string(size, '%') + "tail");
    const std::string expected = size == 0 ? "tail" : std::string(532'476, '%') + "tail";
    EXPECT_TRUE(text(fileread(kFile)) == expected) << size;
  }
  ASSERT_EQ(truncate(kFile, off_t{5} << 30), 0);
  EXPECT_EQ(text(fileread(kFile)), "");
  EXPECT_EQ(fileread(nullptr), nullptr);
  const PipeOwner pipe("/var/pipe");
  EXPECT_EQ(fileread("/var/pipe"), nullptr) << "no position";
  for (const char *path : {"/var", "/proc", "/dev/zero"}) {
    EXPECT_EQ(text(fileread(path)), "") << path;
  }
}

TEST_F(Files, FaultsGiveNothingOrWhatTheReaderRefuses) {
  struct Row {
    char *(*read)(const char *);
    std::string_view call;
    int error;
    unsigned failures;
    const char *text;
  };
  const Row rows[] = {{kReadGuarded, "statx", EIO, 1, "no block"},
                      {kReadGuarded, "stat", EOVERFLOW, 0, "dated past 2038"},
                      {kReadGuarded, "fopen", EMFILE, 1, "no block"},
                      {kReadGuarded, "fread", EIO, 2, "no block"},
#ifndef VEXORA_SANITIZED
                      {kReadGuarded, kAnyAllocation, ENOMEM, 2, "no block"},
                      {fileread, kAnyAllocation, ENOMEM, 2, "no block"},
#endif
                      {fileread, "fread", EIO, 1, ""}};
  write(kFile, kGuarded);
  for (const Row &row : rows) {
    char *block = nullptr;
    const auto reading = [&] { block = row.read(kFile); };
    const auto check = [&](unsigned n) { EXPECT_EQ(text(block), row.text) << row.call << n; };
    EXPECT_EQ(failEach(row.call, row.error, reading, check), row.failures) << row.call;
    EXPECT_EQ(text(block), row.read == fileread ? kGuarded : "123456789") << row.call;
  }
#ifndef VEXORA_SANITIZED
  const Messages noBlock = {{130, "[libvexora_basefunction:LINE]Unable to allocate space for char buffer field\n"}};
  EXPECT_EQ(outcome([] { return 0; }).reports, noBlock);
#endif
  int result = 0;
  const auto writing = [&] { result = vexora_string_write_2_file_with_crc32_check(kFile, "other"); };
  const auto refused = [&](unsigned n) {
    EXPECT_EQ(result, 0) << n;
    EXPECT_EQ(kReadGuarded(kFile), nullptr) << n;
  };
  EXPECT_EQ(failEach("fwrite", ENOSPC, writing, refused), 2U);
}

TEST_F(Files, LogsAreEmptiedAndTheirOldOnesRemoved) {
  const Messages notOpened = {{130, "[libvexora_fileoperator:LINE]Error in open /var, errno=21\n"}};
  EXPECT_EQ(outcome(vexora_delete_logfile, "/var"), (Outcome{0, "", notOpened}));
  EXPECT_EQ(outcome(vexora_delete_logfile, nullptr), Outcome{-1});
  const std::string cut = "/var/" + std::string(200, 'n') + "/" + std::string(49, 'n');  // 255 characters
  const std::string longer = cut + "ame";
  for (const std::string &path : {cut, longer, std::string("/var/log"), std::string("/var/log.1")}) {
    write(path, "records");
  }
  std::filesystem::create_hard_link("/var/log", "/var/same");
  for (const char *path : {longer.c_str(), "/var/log", "/var/none"}) {
    EXPECT_EQ(vexora_delete_logfile(path), 0) << path;
  }
  EXPECT_EQ(read(longer) + read("/var/same"), "") << "emptied, not made anew";
  EXPECT_FALSE(exists(cut) || exists("/var/log.1") || exists("/var/none"));
}

TEST_F(Files, DirectoryOperations) {
  removals = {};
  umask(0);
  std::filesystem::create_symlink("/var/none", "/var/link");
  write("/var/from/below/file", "new");
  write("/var/to/below/file", "old");
  const std::tuple<unsigned, const char *, const char *, int> rows[] = {
      {0, "var", "", -1},      {0, "/var/none", "", -1},       {1, "/var/no/below", "", -1},
      {0, nullptr, "", -1},    {1, "/var/link", "", -1},       {2, "/var/no/below", "", -1},
      {0, "/var/from", "", 0}, {3, "/var/from", "to", -1},     {3, "/var/from", nullptr, -1},
      {1, "/var/new", "", 0},  {3, "/var/none", "/var", -1},   {3, "/var/from", "/var/to3", 0},
      {2, "/var/made", "", 0}, {4, "/var/from", "/var/to", 0}, {5, "/var/from", "/var/to", -1}};
  for (const auto &[op, path, destination, result] : rows) {
    EXPECT_EQ(vexora_folder_operation(op, path, destination), result) << op << ' ' << path << ' ' << destination;
  }
  EXPECT_EQ(read("/var/to/below/file") + read("/var/to3/below/file"), "oldnew");
  EXPECT_EQ(vexora_folder_operation(3, "/var/from", "/var/to"), 0);
  EXPECT_EQ(read("/var/to/below/file"), "new");
  EXPECT_EQ(vexora_folder_operation(2, "/var/from"), 0);
  EXPECT_EQ(removals, std::vector<std::string>{"/var/from"}) << "what wasn't there was only made";
  for (const char *path : {"/var/from", "/var/new", "/var/made"}) {
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0755)) << path;
    EXPECT_TRUE(list(path).empty()) << path;
  }
  EXPECT_EQ(vexora_folder_operation(2, "/var/made/."), -1) << "which can't be removed";
  const Messages notMade = {{132, "[libvexora_basefunction:LINE]Creation dir: /var/no/%s Failed"}};
  EXPECT_EQ(outcome(createIfNotExists, "/var/no/%s"), (Outcome{-1, "", notMade}));
  EXPECT_EQ(createIfNotExists(nullptr), -1);
  EXPECT_EQ(createIfNotExists("/var/%s"), 0);
  {
    const FailCall lookedTooEarly("statx", 1, ENOENT);  // as if another call made it after the check
    EXPECT_EQ(createIfNotExists("/var/%s"), 0);
  }
  const FailCall realUser("access", 1, EACCES);
  EXPECT_EQ(vexora_folder_operation(0, "/var/from"), -1);
}

}  // namespace
}  // namespace vexora::test

extern "C" int RmDir(const char *path) {
  vexora::test::removals.emplace_back(path);
  return vexora::test::original(&RmDir, "RmDir")(path);
}

extern "C" int copyDir(const char *from, const char *to, int flag) {
  EXPECT_TRUE(flag == 0 || flag == 1);
  return vexora::test::original(&copyDir, "copyDir")(from, to, flag);
}
