// SPDX-License-Identifier: Apache-2.0
// The event subscriptions: the file after a save, and the store after a load of files that people edit. The Redfish
// document of an event, byte for byte.

#include "config/subscriptions_model.h"
#include "support/test.h"
#include "vexora/config.h"

namespace vexora::test {
namespace {

const std::string kFile = "/conf/eventsubscriptions.conf";

class EventSubscriptions : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    ASSERT_EQ(dwEventSubScriptionStoreMemFree(0, 4, 9, store), 0);
    blEventSubScriptionsFlag = 0;
  }
  void TearDown() override { SetUp(); }

  static int load(const std::string &file) {
    write(kFile, file);
    blEventSubScriptionsFlag = 0;
    return GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, store);
  }

  static std::string destination(int slot = 0) {
    return store[slot].destaddr == nullptr ? "null" : '<' + std::string(store[slot].destaddr) + '>';
  }

  static inline EventSubScriptionRecord *const store = stEventSubScriptionStore;
};

std::string section(int number, std::pair<int, int> numbers, const std::string &destination, const std::string &value) {
  return test::section(number, numbers, destination, [=](const std::string &) { return value; });
}

TEST_F(EventSubscriptions, AreWrittenAsTheyAreRead) {
  const std::string file = section(0, {1, 31}, "http://192.0.2.1/a%s?b=c", "v") + section(1, {0, 0}, "", "") +
                           section(2, {9, 5}, "N/A", "N/A") + section(3, {2, 0}, std::string(118, 'd'), " x ");
  ASSERT_EQ(load(file), 0);
  EXPECT_EQ(blEventSubScriptionsFlag, 1);
  EXPECT_STREQ(store[0].messageid[31], "v");
  EXPECT_EQ(store[2].resource[0], nullptr);
  store[0].type = 0xFF;
  remove(kFile);
  EXPECT_EQ(SetEventSubScription2ConfFile(7, store), 0);
  EXPECT_EQ(read(kFile), file);
  write(kFile, "");
  EXPECT_EQ(GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, store), 0) << "and nothing is read";
  EXPECT_STREQ(store[3].protocal, " x ");
}

TEST_F(EventSubscriptions, EditedFilesMeanWhatTheirModelSays) {
  std::string written;
  for (const char *value : {"v", "N/A", "\"N/A\" rest", "'a;b#c\" d", "fifth"}) {
    written += section(4, {2, 37}, value, value);
  }
  const std::string characters("\n\r==\"\"'';#[] -08N\0", 18);
  std::mt19937 random(9);
  for (int round = 0; round < 1000; ++round) {
    std::string file = written;
    for (auto edits = random() % 200; edits > 0; --edits) {
      const auto removed = random() % 4 == 0 ? random() % 40 : 0U;
      const auto added = random() % 16 == 0 ? 130U : 1U;
      file.replace(random() % file.size(), removed, added, characters[random() % characters.size()]);
    }
    ASSERT_EQ(load(file), 0);
    ASSERT_EQ(SetEventSubScription2ConfFile(0, store), 0);
    ASSERT_EQ(read(kFile), rewritten(file)) << file;
  }
}

TEST_F(EventSubscriptions, RefusedCallsLeaveTheStoreAlone) {
  ASSERT_EQ(load("[s]\ndestaddr=kept\n"), 0);
  int32_t latch = 7;
  EXPECT_EQ(GetEventSubScriptionFromConfFile(nullptr, store), -1);
  EXPECT_EQ(GetEventSubScriptionFromConfFile(&latch, nullptr), -1);
  EXPECT_EQ(SetEventSubScription2ConfFile(0, nullptr), -1);
  EXPECT_EQ(dwEventSubScriptionStoreMemFree(0, 4, 9, nullptr), -1);
  const std::array<int, 4> rows[] = {{3, 2, 9, -1}, {0, 4, 10, -1}, {2, 2, 9, 0},  {0, 4, 0, 0},
                                     {0, 4, 8, 0},  {0, 4, -1, 0},  {-5, 0, 9, 0}, {4, 9, 9, 0}};
  for (const auto &[first, last, what, result] : rows) {
    EXPECT_EQ(dwEventSubScriptionStoreMemFree(first, last, what, store), result)
        << first << " to " << last << ", " << what;
  }
  remove(kFile);
  ASSERT_EQ(symlink("/proc/self/mem", kFile.c_str()), 0);  // can be opened but not read
  EXPECT_EQ(GetEventSubScriptionFromConfFile(&latch, store), -1);
  EXPECT_EQ(latch, 7);
  remove(kFile);
  makeDirectory(kFile);  // can be opened only for reading
  const std::string output = capturedOutput([&] { GetEventSubScriptionFromConfFile(&latch, store); });
  EXPECT_EQ(withoutLine(output), "vexora_eventservicecfg(LINE)open file /conf/eventsubscriptions.conf err!\n");
  EXPECT_EQ(latch, 7);
  EXPECT_EQ(destination(), "<kept>");
}

TEST_F(EventSubscriptions, AStringThatIsTooLongStopsTheWriteBeforeItBegins) {
  ASSERT_EQ(load("[s]\n"), 0);
  write(kFile, "before");
  for (const auto &[length, result, output] :
       {std::tuple(512U, -1, "vexora_eventservicecfg(LINE)Buffer Over Flow!\n"), {511U, 0, ""}}) {
    std::free(std::exchange(store[3].resource[31], strdup(std::string(length, 'x').c_str())));
    const std::string told =
        capturedOutput([&, result = result] { EXPECT_EQ(SetEventSubScription2ConfFile(0, store), result); });
    EXPECT_EQ(withoutLine(told), output) << length;
    EXPECT_EQ(read(kFile) == "before", result == -1) << length;
  }
}

TEST_F(EventSubscriptions, SelectorsFreeTheirFieldsOnly) {
  const auto full = section(0, {1, 31}, "d", "v") + section(1, {1, 31}, "d", "v");
  for (int what = 1; what <= 9; ++what) {
    ASSERT_EQ(load(full), 0);
    store[0].type = 0xFF;
    EXPECT_EQ(dwEventSubScriptionStoreMemFree(0, 1, what, store), 0);
    const EventSubScriptionRecord &slot = store[0];
    const std::pair<const char *, int> fields[] = {
        {slot.destaddr, 1},    {slot.hcontent, 3},    {slot.hdataver, 3},     {slot.hxauth, 3},
        {slot.context, 4},     {slot.protocal, 5},    {slot.messageid[0], 6}, {slot.messageid[31], 6},
        {slot.resource[0], 7}, {slot.resource[31], 7}};
    for (const auto &[field, selector] : fields) {
      EXPECT_EQ(field == nullptr, what == selector || what == 9) << what << " of " << selector;
    }
    EXPECT_EQ(slot.type, what == 2 || what == 9 ? 0xE0 : 0xFF) << what;
    EXPECT_EQ(slot.present, what == 9 ? 0 : 1) << what;
    EXPECT_EQ(destination(1) + store[1].resource[31], "<d>v") << what;
  }
  EXPECT_EQ(dwEventSubScriptionStoreMemFree(-1, 9, 9, store), 0);
  EXPECT_EQ(destination(0) + destination(1) + destination(3), "nullnullnull");
}

TEST_F(EventSubscriptions, OnlyAFileThatCannotBeOpenedFailsACall) {
  const std::string file = section(0, {1, 31}, "d", "v") + section(1, {0, 0}, "", "") +
                           section(2, {0, 0}, "N/A", "N/A") + section(3, {0, 0}, "", "");
  const std::string messages =
      "vexora_eventservicecfg(LINE)open file /conf/eventsubscriptions.conf err!\n"
      "vexora_eventservicecfg(LINE)file open error!\n";
  // The failing call, the result of a load, its latch, the result of a save, the content under the old file's second
  // name, and the messages.
  const std::tuple<const char *, int, int, int, std::string, std::string> rows[] = {
      {"access", -1, 0, 0, file, ""},
      {"fopen", -1, 7, -1, "before", messages},
      {"fclose", 0, 1, 0, "before", ""},
      {"remove", 0, 1, 0, file, ""}};
  for (const auto &[call, loaded, latched, saved, linked, told] : rows) {
    SCOPED_TRACE(call);
    std::string output;
    const auto expectFailing = [&, name = call](int result, auto use) {
      output += withoutLine(capturedOutput([&] {
        const FailCall fault(name, 1, EIO);
        EXPECT_EQ(use(), result);
      }));
    };
    ASSERT_EQ(load(file), 0);
    int32_t latch = 7;
    expectFailing(loaded, [&] { return GetEventSubScriptionFromConfFile(&latch, store); });
    EXPECT_EQ(latch, latched);
    write(kFile, "before");
    remove("/conf/link");
    ASSERT_EQ(link(kFile.c_str(), "/conf/link"), 0);
    expectFailing(saved, [&] { return SetEventSubScription2ConfFile(0, store); });
    EXPECT_EQ(exists(kFile) ? read(kFile) : "gone", saved == 0 ? file : "gone");
    EXPECT_EQ(read("/conf/link"), linked);
    EXPECT_EQ(output, told);
  }
}

#ifndef VEXORA_SANITIZED
TEST_F(EventSubscriptions, AShortMemoryKeepsTheOldStore) {
  const std::string files[] = {"[s]\ndestaddr=old\n", section(0, {1, 31}, "new", "v")};
  ASSERT_EQ(load(files[0]), 0);
  write(kFile, files[1]);
  const HeapWatch heap;
  int result = 0;
  unsigned refused = 0;
  const auto reload = [&] {
    blEventSubScriptionsFlag = 0;
    result = GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, store);
  };
  failEach(kAnyAllocation, ENOMEM, reload, [&](unsigned n) {
    EXPECT_EQ(destination(), result == 0 ? "<new>" : "<old>") << n;
    EXPECT_EQ(blEventSubScriptionsFlag, result + 1) << n;
    refused += result == 0 ? 0 : 1;
    load(files[0]);
    EXPECT_EQ(heap.growth(), 0) << n;
    write(kFile, files[1]);
  });
  EXPECT_GT(refused, 250U);
  EXPECT_EQ(destination(), "<new>");
}
#endif

std::string document(const EventArray &event, const char *identity) {
  std::string out(56 * 1024, '~');
  getJsonData(out.data(), event, identity);
  out.resize(std::strlen(out.c_str()));
  return out;
}

EventArray fullOf(const char *text) {
  EventArray event;
  const char *texts[sizeof event / sizeof(char *)];
  std::fill(std::begin(texts), std::end(texts), text);
  std::memcpy(&event, texts, sizeof event);
  return event;
}

TEST(EventDocument, AbsentFieldsAreTheWordNull) {
  EventArray event = fullOf("old");
  EventArrayMemInit(&event);
  EXPECT_EQ(document(event, nullptr),
            R"({ "@odata.context": "\/redfish\/v1\/$metadata#Event.Event", "@odata.id": "null", )"
            R"("@odata.type": "#Event.v1_1_0.Event", "Id": "null", "Name": "Event Array", "Context": "null", )"
            R"("Events": [ { "EventType": "null", "EventId": "null", "Severity": "null", "EventTimestamp": "null", )"
            R"("Message": "null", "MessageId": "null", "MessageArgs": [ ], "OriginOfCondition": [ ], )"
            R"("Oem": [ { "serverIdentity": "null" } ] } ] })");
  EventArrayMemInit(nullptr);
  getJsonData(nullptr, event, nullptr);
}

TEST(EventDocument, PresentFieldsAreInTheirPlaces) {
  const EventArray event = {"7",
                            "Alert",
                            "e%d\"",
                            "OK",
                            "2024-05-01T13:45:07Z",
                            "a\nb",
                            "M.1",
                            {nullptr, "second"},
                            {nullptr, nullptr, "/redfish/v1/Chassis/1"},
                            {"A", nullptr, "C"},
                            {nullptr, "of no key", "c"},
                            {"not shown"},
                            "ctx"};
  EXPECT_EQ(document(event, "node-1"),
            R"({ "@odata.context": "\/redfish\/v1\/$metadata#Event.Event", )"
            R"("@odata.id": "\/redfish\/v1\/EventService\/Events\/7", "@odata.type": "#Event.v1_1_0.Event", )"
            R"("Id": "7", "Name": "Event Array", "Context": "ctx", "Events": [ { "EventType": "Alert", )"
            R"("EventId": "e%d\"", "Severity": "OK", "EventTimestamp": "2024-05-01T13:45:07Z", )"
            R"("Message": "a\nb", "MessageId": "M.1", "MessageArgs": [ "second" ], )"
            R"("OriginOfCondition": [ null, null, { "@odata.id": "\/redfish\/v1\/Chassis\/1" } ], )"
            R"("Oem": [ { "A": "N\/A" }, null, { "C": "c" }, { "serverIdentity": "node-1" } ] } ] })");
}

TEST(EventDocument, LongValuesAreCutAndTheLargestEventFits) {
  const std::string text(300, '\x01');
  const EventArray event = fullOf(text.c_str());
  std::string escaped;
  for (int i = 0; i < 127; ++i) {
    escaped += "\\u0001";
  }
  const std::string out = document(event, text.c_str());
  EXPECT_LT(out.size(), 56U * 1024);
  EXPECT_NE(out.find("\"Id\": \"" + escaped + "\","), std::string::npos);
  EXPECT_NE(out.find("Events\\/" + escaped.substr(0, 6 * (127 - 32)) + "\","), std::string::npos);
  EXPECT_NE(out.find("{ \"" + escaped + "\": \"" + escaped + "\" }"), std::string::npos);
}

#ifndef VEXORA_SANITIZED
TEST(EventDocument, AShortMemoryGivesTheWholeTextOrNone) {
  const std::string text(100, 'v');
  const EventArray event = fullOf(text.c_str());
  const std::string whole = document(event, "node-1");
  std::string out(56 * 1024, '~');
  const HeapWatch heap;
  unsigned empty = 0;
  const auto write = [&] {
    errno = EXDEV;
    getJsonData(out.data(), event, "node-1");
  };
  const auto check = [&](unsigned n) {
    EXPECT_TRUE(out[0] == '\0' || std::strcmp(out.data(), whole.c_str()) == 0) << n;
    empty += out[0] == '\0';
    EXPECT_EQ(heap.growth(), 0) << n;
  };
  for (const Strike strike : {Strike::kOnce, Strike::kFromThen}) {
    EXPECT_GT(failEach(kAnyAllocation, ENOMEM, write, check, strike), 200U);
  }
  EXPECT_GT(empty, 400U);
  empty = 0;
  failEach(kAnyAllocation, ENOMEM, write, check, Strike::kSay);
  EXPECT_EQ(empty, 0U) << "a call that works may also leave an error in errno";
  EXPECT_EQ(errno, EXDEV) << "of the caller";
}
#endif

}  // namespace
}  // namespace vexora::test
