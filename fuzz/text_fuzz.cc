// SPDX-License-Identifier: Apache-2.0
//
// Text utilities against plain models of them. An input is a number (one byte) and three lines: a text, one to look for
// and one to put in its place. To replace in, the text is repeated that many times, so that short inputs fill the
// target.

#include <sstream>

#include "../tests/text/string_models.h"
#include "target.h"

// Reports of refused paths and full targets, of which there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  std::string bytes(data, data + size);
  std::erase(bytes, '\0');
  std::istringstream lines(bytes);
  const int times = lines.get();
  std::string text;
  std::string from;
  std::string to;
  std::getline(std::getline(std::getline(lines, text), from), to);
  std::string repeated;
  for (int i = 0; i < times; ++i) {
    repeated += text;
  }
  using namespace vexora::test;
  for (const std::string &difference :
       {pathOrQuotingDiffers(text), splitDiffers(text, from, static_cast<std::size_t>(std::max(times, 1))),
        replacingDiffers(repeated, from, to)}) {
    require(difference.empty(), difference.c_str());
  }
  return 0;
}
