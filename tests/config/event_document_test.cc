// SPDX-License-Identifier: Apache-2.0
// The Redfish document of an event, to the byte.

#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/faults.h"
#include "vexora/config.h"

namespace vexora::test {
namespace {

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

TEST(EventDocument, PresentFieldsStandInTheirPlaces) {
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
