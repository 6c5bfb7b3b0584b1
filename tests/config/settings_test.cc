// SPDX-License-Identifier: Apache-2.0
// The settings files: the file after a save, and the records after a load of valid and damaged files.

#include <malloc.h>

#include <span>

#include "config/settings_stores.h"
#include "firmware/aes.h"
#include "support/test.h"

namespace vexora::test {
namespace {

// A board's cipher: it expects zeroed buffers, doesn't set the lengths and calls the stand-in's.
struct {
  unsigned refused = 0;      // the number of the encryption that fails; 1 is the next
  bool wholeBlocks = false;  // deciphers any text, to whole blocks of 'w', at least 20 bytes
} board;

constexpr char kUntouched = 0x5A;

const std::tuple<Smtp, Trap, Agent> kSamples = {
    Smtp{{1, "mail.example", 25, 65535, 1, 0, 1, "ops", "p\"w/\x01\xE9", "bmc@example", "alert", 1, 0, 255, 3},
         {{1, "a@example", "first"}, {}, {}, {0, "d@example", "last"}}},
    Trap{{2, 0, "sixteen letters!", "HostName", "trapper", "SHA", "twenty letters, just", "AES", "letters 11",
          "0123456789abcdef", 200},
         {{}, {1, "192.0.2.7", 162}, {}, {1, "trap.example", -70000}}},
    Agent{{1, 0, "letters", "more letters", 1, 1, 2, 3, "engineer", "letters of reading", "letters 11"}}};

// The samples' files, without the secrets' cipher texts.
template <typename Store>
const std::string kDocument;

template <>
const std::string kDocument<Smtp> =
    R"({"SmtpCfg":{"SmtpEnable":1,"ServerAddr":"mail.example","SmtpPort":25,"SmtpSecurePort":65535,)"
    R"("EnableSTARTTLS":1,"EnableSSLTLS":0,"SMTPAUTH":1,"UserName":"ops","PassWord":"p\"w\/\u0001)"
    "\xE9"
    R"(","SenderAddr":"bmc@example","Subject":"alert","HostName":1,"SerialNumber":0,"AssetTag":255,"EventLevel":3},)"
    R"("SmtpDestCfg":[{"Enabled":1,"EmailAddress":"a@example","Description":"first"},)"
    R"({"Enabled":0,"EmailAddress":"","Description":""},{"Enabled":0,"EmailAddress":"","Description":""},)"
    R"({"Enabled":0,"EmailAddress":"d@example","Description":"last"}]})";

template <>
const std::string kDocument<Trap> =
    R"({"Version":"1.00","SnmpTrapCfg":{"TrapVersion":2,"EventLevelLimit":0,"HostID":"HostName",)"
    R"("UserName":"trapper","AUTHProtocol":"SHA","PrivProtocol":"AES","EngineID":"0123456789abcdef",)"
    R"("DeviceType":200,"Community":"","AUTHPwd":"","PRIVPwd":""},)"
    R"("SnmpTrapDestCfg":[{"Enabled":0,"Destination":"","port":0},{"Enabled":1,)"
    R"("Destination":"192.0.2.7","port":162},{"Enabled":0,"Destination":"","port":0},{"Enabled":1,)"
    R"("Destination":"trap.example","port":-70000}]})";

template <>
const std::string kDocument<Agent> =
    R"({"SnmpCfg":{"SnmpV1Enable":1,"SnmpV2Enable":0,"SnmpV1V2SetEnable":1,"SnmpV3Enable":1,)"
    R"("AUTHProtocol":2,"PrivProtocol":3,"AUTHUserName":"engineer","ReadOnlyCommunity":"",)"
    R"("ReadWriteCommunity":"","AUTHPwd":"","PRIVPwd":""}})";

// The agent's secrets by key.
std::vector<std::pair<std::string, std::span<char>>> secretsOf(Agent &agent) {
  return {{"ReadOnlyCommunity", agent.cfg.ReadOnlyCommunity},
          {"ReadWriteCommunity", agent.cfg.ReadWriteCommunity},
          {"AUTHPwd", agent.cfg.AUTHPwd},
          {"PRIVPwd", agent.cfg.PRIVPwd}};
}

using SettingsFiles = RootTest;

template <typename Store>
class SettingsStore : public RootTest {
 protected:
  const std::string kNew = Store::kFile + ".bak";
  Store saved = std::get<Store>(kSamples);
};

template <typename Store>
using SecretStore = SettingsStore<Store>;

using AllStores = testing::Types<Smtp, Trap, Agent>;
using SecretStores = testing::Types<Trap, Agent>;
TYPED_TEST_SUITE(SettingsStore, AllStores);
TYPED_TEST_SUITE(SecretStore, SecretStores);

TYPED_TEST(SettingsStore, IsWrittenInOrderAndReadBack) {
  write(TypeParam::kFile, "what was there before, and longer");
  EXPECT_EQ(this->saved.save(), 0);
  const std::string file = read(TypeParam::kFile);
  EXPECT_EQ(file.find("letters"), std::string::npos) << "a secret in plain";
  EXPECT_TRUE(TypeParam::kSecrets == 0 || file.find("\\u0000") != std::string::npos)
      << "the text to hold a cipher text with a zero";
  const std::regex secrets(R"re((Community|AUTHPwd|PRIVPwd)":"(\\.|[^"\\])+)re");
  EXPECT_EQ(std::regex_replace(file, secrets, "$1\":\""), kDocument<TypeParam>);
  auto loaded = filled<TypeParam>(kUntouched);
  EXPECT_EQ(loaded.load(), 0);
  EXPECT_EQ(bytes(loaded), bytes(this->saved));
  EXPECT_EQ(list("/conf").size(), 1U);
}

TYPED_TEST(SettingsStore, CutsTextsWithoutAnEndToWhatALoadGives) {
  auto endless = filled<TypeParam>('x');
  EXPECT_EQ(endless.save(), 0);
  const std::string file = read(TypeParam::kFile);
  TypeParam loaded;
  EXPECT_EQ(loaded.load(), 0);
  EXPECT_EQ(loaded.save(), 0);
  EXPECT_EQ(read(TypeParam::kFile), file);
}

TEST_F(SettingsFiles, NumbersKeepTheirLowBitsAndTextsAreCut) {
  write(Smtp::kFile,
        R"({"SmtpCfg":{"SmtpPort":70000,"SmtpEnable":258,"Subject":"12345678901234567890","UserName":null,)"
        R"("EventLevel":"7","SenderAddr":[1],"ServerAddr":"a\u0000b"},"SmtpDestCfg":[null,{"Enabled":true},3]})");
  Smtp expected;
  expected.cfg = {2, "a", 4464, 0, 0, 0, 0, "", "", "[ 1 ]", "1234567890123456", 0, 0, 0, 7};
  expected.dests[1].Enabled = 1;
  auto loaded = filled<Smtp>(kUntouched);
  EXPECT_EQ(loaded.load(), 0);
  EXPECT_EQ(bytes(loaded), bytes(expected));
}

TYPED_TEST(SettingsStore, TakesItsDefaultForAMissingFileOnly) {
  const std::string &path = TypeParam::kFile;
  const std::string fallback = "/etc/defconfig" + path.substr(5);
  const bool isSmtp = path == Smtp::kFile;
  EXPECT_EQ(this->saved.save(), 0);
  const std::string file = read(path);
  write(fallback, file);
  remove(path);
  TypeParam loaded;
  EXPECT_EQ(capturedOutput([&] { EXPECT_EQ(loaded.load(), 0); }),
            isSmtp ? "=====11111\n=====Smtpjsonfilepath:/conf/SmtpCfg.json\n" : "");
  EXPECT_EQ(bytes(loaded), bytes(this->saved));
  EXPECT_EQ(read(path), file);

  switchLogOn("IPMI");
  const std::string name = TypeParam::kName;
  const std::string total = "Get the total " + name + " configure struct from Json failed.";
  const std::string section = "Get the " + name + "Cfg struct from Json failed.";
  const std::string list = "Get the " + name + "DestCfg struct from Json failed.";
  const std::tuple<std::string, std::string, bool> rows[] = {
      {"{\"SmtpCfg\":", total, false},
      {std::string(33, '[') + std::string(33, ']'), total, false},
      {"[1]", section, false},
      {"{\"" + name + "Cfg\":null}", section, false},
      {"{\"" + name + "Cfg\":{}}", list, true},
      {"{\"" + name + "Cfg\":3,\"" + name + "DestCfg\":{}}", list, true},
      {"{\"" + name + "Cfg\":{},\"" + name + "DestCfg\":[0,0,0,0,0]}",
       "Get the " + name + "DestCfg length from Json error.", true},
  };
  const auto expectRefusal = [&](const std::string &log, bool fillsCfg) {
    auto expected = filled<TypeParam>(kUntouched);
    if (fillsCfg) {
      expected.cfg = {};
    }
    loaded = filled<TypeParam>(kUntouched);
    const std::string output = capturedOutput([&] { EXPECT_EQ(loaded.load(), -1) << log; });
    EXPECT_EQ(std::regex_replace(output, std::regex("=====.*\n|<.*>"), ""), "[Error]:" + log + "\n\n");
    EXPECT_EQ(bytes(loaded), bytes(expected)) << log;
  };
  for (const auto &[content, log, fillsCfg] : rows) {
    if (!fillsCfg || path != Agent::kFile) {  // the agent has no list
      write(path, content);
      expectRefusal(log, fillsCfg);
      EXPECT_EQ(read(path), content) << log;
    }
  }
  remove(path);
  remove(fallback);
  expectRefusal("The " + name + " configure file " + path + (isSmtp ? "" : " and " + fallback) + " not exist.", false);
}

TEST_F(SettingsFiles, ADocumentIsTriedThreeTimes) {
  Smtp loaded;
  int result = 0;
  const auto load = [&] { result = loaded.load(); };
  // The document, the result of a load when one attempt fails, and the attempts.
  for (const auto &[document, expected, attempts] : {std::tuple(kDocument<Smtp>, 0, 1U), {"no JSON", -1, 3U}}) {
    write(Smtp::kFile, document);
    load();  // the first failure also opens the log's switches
    const auto check = [&, expected = expected](unsigned n) { EXPECT_EQ(result, expected) << n; };
    EXPECT_EQ(failEach("open", EIO, load, check), attempts) << document;
  }
}

TYPED_TEST(SettingsStore, RefusesWrongRecords) {
  auto store = filled<TypeParam>(kUntouched);
  const auto print = [](const void *cfg, int cfgSize, const void *dests = nullptr, int destsSize = 0) {
    std::printf(TypeParam::kRefusal.c_str(), cfg, cfgSize, dests, destsSize);
  };
  for (int wrong = 1; wrong <= (TypeParam::kFile == Agent::kFile ? 3 : 6); ++wrong) {
    const std::string refusal = capturedOutput([&] { std::apply(print, store.arguments(wrong)); });
    for (const bool saves : {false, true}) {
      const std::string output = capturedOutput([&] { EXPECT_EQ(saves ? store.save(wrong) : store.load(wrong), -1); });
      EXPECT_EQ(std::regex_replace(output, std::regex("\\([0-9]+\\)"), "(LINE)"), refusal);
    }
  }
  EXPECT_EQ(bytes(store), bytes(filled<TypeParam>(kUntouched)));
  EXPECT_EQ(list("/conf"), std::vector<std::string>{});
}

TEST_F(SettingsFiles, ADamagedSecretLosesTheOnesAfterIt) {
  for (std::size_t damaged = 0; damaged < 4; ++damaged) {
    for (const std::string value : {"5,", "null,", "\"\",", "\"public\",", "\"sixteen letters!\",", "[],"}) {
      auto expected = std::get<Agent>(kSamples);
      EXPECT_EQ(expected.save(), 0);
      const auto secrets = secretsOf(expected);
      const std::string key = '"' + secrets[damaged].first + "\":";
      std::string file = read(Agent::kFile);
      file.replace(file.find(key), key.size(), key + value + "\"_\":");
      write(Agent::kFile, file);
      for (std::size_t n = damaged; n < 4; ++n) {
        std::ranges::fill(secrets[n].second, '\0');
      }
      auto loaded = filled<Agent>(kUntouched);
      EXPECT_EQ(loaded.load(), 0);
      EXPECT_EQ(bytes(loaded), bytes(expected)) << file;
    }
  }
  for (const auto &[community, expected] : {std::pair{"public", "public"},
                                            {"public and more letters", "public and more "},
                                            {"publi", ""},
                                            {"Public", ""}}) {
    SCOPED_TRACE(community);
    write(Trap::kFile, std::string(R"({"SnmpTrapCfg":{"DeviceType":9,"AUTHPwd":"public","Community":")") + community +
                           R"("},"SnmpTrapDestCfg":[{"port":5}]})");
    Trap trap;
    EXPECT_EQ(trap.load(), 0);
    EXPECT_STREQ(trap.cfg.Community, expected);
    EXPECT_STREQ(trap.cfg.AUTHPwd, "");
    EXPECT_EQ(trap.cfg.DeviceType, 9);
    EXPECT_EQ(trap.dests[0].port, 5);
  }
}

TEST_F(SettingsFiles, PlainTextsHaveTheirBufferAndAreCut) {
  board.wholeBlocks = true;
  for (const std::size_t length : {1U, 5U, 17U, 1'000'000U}) {
    Agent expected;
    std::string members;
    for (const auto &[key, text] : secretsOf(expected)) {
      std::fill(text.begin(), text.end() - 1, 'w');
      members += ",\"" + key + "\":\"" + std::string(length, 'c') + '"';
    }
    write(Agent::kFile, "{\"SnmpCfg\":{" + members.substr(1) + "}}");
    auto loaded = filled<Agent>(kUntouched);
    EXPECT_EQ(loaded.load(), 0) << length;
    EXPECT_EQ(bytes(loaded), bytes(expected)) << length;
  }
  board.wholeBlocks = false;
}

TYPED_TEST(SecretStore, IsNotSavedWithoutItsSecretsNorReadWithoutAKey) {
  EXPECT_EQ(this->saved.save(), 0);
  const std::string file = read(TypeParam::kFile);
  const auto expectNoSave = [&] {
    EXPECT_EQ(this->saved.save(), -1);
    EXPECT_EQ(read(TypeParam::kFile), file);
    EXPECT_FALSE(exists(this->kNew));
  };
  for (unsigned n = 1; n <= TypeParam::kSecrets; ++n) {
    SCOPED_TRACE(n);
    board.refused = n;
    expectNoSave();
  }
  TypeParam expected = this->saved;
  expected.cfg = {};
  for (const char *missing : {"/conf/platform_aes_key", "/conf/platform_aes_vector"}) {
    SCOPED_TRACE(missing);
    write(missing, "too short");
    expectNoSave();
    EXPECT_EQ(capturedOutput([] { EXPECT_EQ(VexoraSetSnmpTotalConfToJson(nullptr, 0, nullptr, 0), -1); }), "");
    auto loaded = filled<TypeParam>(kUntouched);
    EXPECT_EQ(loaded.load(), 0);
    EXPECT_EQ(bytes(loaded), bytes(expected));
    remove(missing);
  }
}

TYPED_TEST(SettingsStore, IsSavedThoughItsFileIsNot) {
  EXPECT_EQ(this->saved.save(), 0);
  const std::string file = read(TypeParam::kFile);
  const int descriptors = openDescriptors();
  for (const char *call : {"open", "write", "close", "rename"}) {
    int result = -1;
    const auto save = [&] { result = this->saved.save(); };
    failEach(call, ENOSPC, save, [&](unsigned n) {
      EXPECT_TRUE(result == 0 || read(TypeParam::kFile) == file) << call << n << ": a key that is not available";
      EXPECT_TRUE(result == 0 || TypeParam::kFile != Smtp::kFile) << call << n;
      EXPECT_EQ(openDescriptors(), descriptors) << call << n;
      write(TypeParam::kFile, file);
    });
    EXPECT_EQ(read(TypeParam::kFile), file) << call;
  }
}

// A failed rename leaves the old document, and the new one under its temporary name. A power cut inside a rename may
// leave one file under both names: writing to one name would then empty both.
TYPED_TEST(SecretStore, KeepsItsOldFileUntilTheNewOneIsWhole) {
  const std::filesystem::path path = TypeParam::kFile;
  write(path, "before");
  {
    const FailCall noMove("rename", 1, EIO);
    EXPECT_EQ(this->saved.save(), 0);
  }
  EXPECT_EQ(read(path), "before");
  const std::string file = read(this->kNew);
  remove(this->kNew);
  std::filesystem::create_hard_link(path, this->kNew);
  std::ifstream reader(path);
  EXPECT_EQ(this->saved.save(), 0);
  EXPECT_EQ(std::string(std::istreambuf_iterator(reader), {}), "before");
  EXPECT_EQ(read(path), file);
  EXPECT_FALSE(exists(this->kNew));
  std::filesystem::create_hard_link(path, "/conf/elsewhere");
  std::filesystem::create_symlink("elsewhere", this->kNew);
  EXPECT_EQ(this->saved.save(), 0);
  EXPECT_EQ(std::filesystem::read_symlink(path), "elsewhere") << "a link is another file";
  EXPECT_EQ(read(path), file);
}

#ifndef VEXORA_SANITIZED
TYPED_TEST(SettingsStore, IsWrittenWholeOrNotAtAllWhenMemoryIsShort) {
  EXPECT_EQ(this->saved.save(), 0);
  const std::string file = read(TypeParam::kFile);
  int result = 0;
  Strike strike = Strike::kOnce;
  const auto save = [&] { result = this->saved.save(); };
  const auto check = [&](unsigned n) {
    const bool moved = !exists(this->kNew);  // the firmware's move may fail for lack of memory, too
    EXPECT_EQ(read(TypeParam::kFile), result == 0 && moved ? file : "before") << n;
    EXPECT_TRUE(result == 0 || strike != Strike::kSay) << n << ": a call that works may also leave an error in errno";
    remove(this->kNew);
    write(TypeParam::kFile, "before");
  };
  // The stand-in's cipher queues its last errors: the heap stops growing when the queue is full.
  const HeapWatch heap;
  long grown = 0;
  for (int round = 0; round < 10; ++round) {
    strike = round == 0 ? Strike::kSay : round == 1 ? Strike::kFromThen : Strike::kOnce;
    grown = heap.growth();
    write(TypeParam::kFile, "before");
    EXPECT_GT(failEach(kAnyAllocation, ENOMEM, save, check, strike), 40U);
  }
  EXPECT_EQ(heap.growth(), grown);
}

TEST_F(SettingsFiles, AFailedAllocationLosesASecretAndTheOnesAfterIt) {
  Agent loaded = std::get<Agent>(kSamples);
  EXPECT_EQ(loaded.save(), 0);
  std::string read;  // for each refused buffer, the number of secrets read, as a digit
  const auto load = [&] { EXPECT_EQ(loaded.load(), 0); };
  failEach("calloc", ENOMEM, load, [&](unsigned) {
    const auto secrets = secretsOf(loaded);
    read += std::to_string(std::ranges::count_if(secrets, [](auto &secret) { return secret.second[0] != '\0'; }));
  });
  EXPECT_EQ(read.substr(read.find_last_not_of("0123") + 1), "0123");
}
#endif

}  // namespace

extern "C" {

int AES_EncryptData(const std::uint8_t *plain, int plainLength, std::uint8_t *out, int * /*length*/,
                    const std::uint8_t *key, const std::uint8_t *vector) {
  static auto *const real = original(&AES_EncryptData, "AES_EncryptData");
  EXPECT_EQ(std::count(out, out + 128, 0), 128);
  int length = 0;
  return --board.refused == 0 ? -1 : real(plain, plainLength, out, &length, key, vector);
}

int AES_DecryptData(const std::uint8_t *text, int textLength, std::uint8_t *out, int * /*length*/,
                    const std::uint8_t *key, const std::uint8_t *vector) {
  static auto *const real = original(&AES_DecryptData, "AES_DecryptData");
  const std::size_t plain = std::max((static_cast<std::size_t>(textLength) + 15) / 16 * 16, std::size_t{20});
  EXPECT_GT(malloc_usable_size(out), plain);
  EXPECT_EQ(std::count(out, out + plain + 1, 0), static_cast<long>(plain + 1));
  EXPECT_GT(textLength, 0);
  if (board.wholeBlocks) {
    std::memset(out, 'w', plain);
    return 0;
  }
  int length = 0;
  return real(text, textLength, out, &length, key, vector);
}
}
}  // namespace vexora::test
