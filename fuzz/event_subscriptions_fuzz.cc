// SPDX-License-Identifier: Apache-2.0
//
// Event subscription files. A save after a load must write the file that the model writes, and no memory may leak.

#include <fstream>

#include "../tests/config/subscriptions_model.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  putFile("/conf/eventsubscriptions.conf", data, size);
  blEventSubScriptionsFlag = 0;
  require(GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0, "a load");
  require(SetEventSubScription2ConfFile(0, stEventSubScriptionStore) == 0, "a write");
  std::ifstream file("/conf/eventsubscriptions.conf", std::ios::binary);
  require(std::string(std::istreambuf_iterator(file), {}) == vexora::test::rewritten({data, data + size}), "the file");
  require(dwEventSubScriptionStoreMemFree(0, 4, 9, stEventSubScriptionStore) == 0, "a release");
  return 0;
}
