// SPDX-License-Identifier: Apache-2.0
//
// Event subscription files, compared with their model. What was loaded is also written and freed.

#include "../tests/config/subscriptions_model.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  putFile("/conf/eventsubscriptions.conf", data, size);
  blEventSubScriptionsFlag = 0;
  require(GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0, "a load");
  const EventSubScriptionRecord *slot = stEventSubScriptionStore;
  for (auto &section : vexora::test::sectionsOf({data, data + size})) {
    const std::string key = vexora::test::difference(*slot++, section);
    require(key.empty(), key.c_str());
  }
  require(SetEventSubScription2ConfFile(0, stEventSubScriptionStore) == 0, "a write");
  require(dwEventSubScriptionStoreMemFree(0, 4, 9, stEventSubScriptionStore) == 0, "a release");
  return 0;
}
