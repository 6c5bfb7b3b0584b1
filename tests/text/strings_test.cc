// SPDX-License-Identifier: Apache-2.0

#include <regex.h>

#include "support/test.h"
#include "text/string_models.h"
#include "vexora/text.h"

namespace vexora::test {
namespace {

int matcherFailure = 0;  // what the platform's matcher answers instead of a verdict

TEST(Strings, AreSearchedAndChanged) {
  const char *const text = "config.json";
  const std::tuple<const char *, const char *, const char *> rows[] = {{".json", text + 6, nullptr},
                                                                       {"", text + 11, text},
                                                                       {"config", nullptr, text},
                                                                       {"a.config.json", nullptr, nullptr}};
  for (const auto &[part, end, start] : rows) {
    EXPECT_EQ(vexora_str_end_str(text, part), end) << part;
    EXPECT_EQ(vexora_str_start_str(text, part), start) << part;
  }
  for (const auto &[whole, part] : {std::pair(text, static_cast<const char *>(nullptr)), {nullptr, ""}}) {
    EXPECT_EQ(vexora_str_end_str(whole, part), nullptr) << whole;
    EXPECT_EQ(vexora_str_start_str(whole, part), nullptr) << whole;
  }
  std::string refused;
  for (char sample[] = "a\x01z"; sample[1] != '\0'; ++sample[1]) {
    refused.append(FilterSensitiveWordsForSec(sample) == 1 ? 1 : 0, sample[1]);
  }
  EXPECT_EQ(refused, "&()*=|");
  EXPECT_EQ(FilterSensitiveWordsForSec(nullptr), -1);
  std::string changed = "aZ0\xE4{";
  covertToUpperCase(changed.data());
  EXPECT_EQ(changed, "AZ0\xE4{");
  covertToLowerCase(changed.data());
  EXPECT_EQ(ReverseString(changed.data()), 0);
  EXPECT_EQ(changed, "{\xE4\x30za");
  covertToUpperCase(nullptr);
  covertToLowerCase(nullptr);
  EXPECT_EQ(ReverseString(nullptr), -1);
}

TEST(Strings, AreSplitQuotedAndReplacedAsTheirModelsSay) {
  std::mt19937 random(7);
  const auto text = [&](std::size_t most) {
    std::string made;
    for (std::size_t left = random() % most; left > 0; --left) {
      made += "/a.-:_ \\'\n"[random() % 10];
    }
    return made;
  };
  const PlatformLog log;
  for (int round = 0; round < 5000; ++round) {
    const std::string part = text(3);
    std::string source = text(24);
    ASSERT_EQ(pathOrQuotingDiffers('/' + source), "");
    ASSERT_EQ(splitDiffers(source, part, random() % 4 + 1), "");
    while (round % 8 == 0 && !source.empty() && source.size() < 5110) {
      source += source;
    }
    ASSERT_EQ(replacingDiffers(source.substr(0, 5115 + random() % 8), part, text(5)), "");
  }
}

TEST(Strings, AreCopiedWithinTheirBounds) {
  EXPECT_EQ(std::pair(strnlen_safe("abc", 2), strnlen_safe(nullptr, 9)), std::pair(std::size_t{2}, std::size_t{0}));
  std::string text(19, '~');
  EXPECT_EQ(strncpy_safe(text.data(), "abc", 5), text.data());
  EXPECT_EQ(strncpy_safe(text.data(), "xyz", 2), text.data());
  EXPECT_STREQ(strncpy_safe(text.data(), nullptr, 4), "");
  EXPECT_EQ(text.substr(0, 6), std::string("xyc\0\0~", 6));
  char *const copy = strncpy_safe(nullptr, "it's", 3);
  EXPECT_STREQ(copy, "it'");
  EXPECT_EQ(escaper(copy, nullptr), nullptr);
  char word[] = "a,b";
  char *token = nullptr;
  int count = 9;
  for (const auto &[list, delimiters] : {std::pair(&word[3], ","), {nullptr, ","}, {word, ""}, {word, nullptr}}) {
    split_c(list, delimiters, &token, &count, 1);
    EXPECT_EQ(count, 9) << list << " by " << delimiters;
  }
  split_c(word, ",", &token, &count, 0);
  EXPECT_EQ(std::pair(count, token), std::pair(1, &word[0]));
  const std::uint8_t mac[] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0xFE};
  EXPECT_EQ(ConvertMACnumToStr(mac, 6, nullptr), 0);
  EXPECT_EQ(ConvertMACnumToStr(mac, -1, text.data()), 0);
  EXPECT_EQ(ConvertMACnumToStr(nullptr, 6, text.data()), 0);
  EXPECT_EQ(text, std::string("00:1A:2B:3C:4D:FE\0~", 19));
}

TEST(Strings, FailuresAreToldAndRefusedArgumentsAreNot) {
  PlatformLog log;
  const std::string room(5119, 'x');
  std::string target(5120, 'x');
  for (const auto &[source, from, to] :
       {std::tuple("x-", "", "+"), {"x-", nullptr, "+"}, {"x-", "-", nullptr}, {nullptr, "-", "+"}}) {
    EXPECT_EQ(str_replace(source, target.data(), from, to), -1) << source << ", " << from << ", " << to;
  }
  EXPECT_EQ(str_replace("x-", nullptr, "-", "+"), -1);
  EXPECT_EQ(is_valid_path("/tmp/x.tar.gz"), 0);
  EXPECT_EQ(is_valid_path(nullptr), -1);
  EXPECT_EQ(is_valid_path(""), -1);
  EXPECT_EQ(log.take().size(), 0U);

  EXPECT_EQ(is_valid_path("x\n/a"), -1);
  EXPECT_EQ(str_replace((room + "-").c_str(), target.data(), "-", "+"), -1);
  EXPECT_EQ(strncpy_safe(nullptr, "abc", SIZE_MAX), nullptr);
  const std::string module = "[libvexora_basefunction:LINE]";
  EXPECT_EQ(log.take(), (std::vector<PlatformMessage>{{130, module + "Error: no match status is:1\n"},
                                                      {130, module + "Buffer Overflow\n"},
                                                      {130, module + "malloc function failing\n"}}));
}

TEST(Strings, ZoneIsTheOneOfNow) {
  FixedClock clock(0);
  // The hour is that of a record of 23:59:59 on the first of July; clocks that are in winter time now add one.
  const char *const clocksChange = "EST5EDT,M3.2.0,M11.1.0";
  for (const auto &[now, zone, offset, expected, hour] : {std::tuple(1704067200, "UTC0", 0, "+00:00", 23),
                                                          {1704067200, "XST-5:45:59", 20759, "+05:45", 23},
                                                          {1704067200, "XST3:30", -12600, "-03:30", 23},
                                                          {1719878399, clocksChange, -14400, "-04:00", 23},
                                                          {1704067200, clocksChange, -18000, "-05:00", 24}}) {
    SCOPED_TRACE(expected);
    char text[] = "~~~~~~~";
    clock.set(now);
    setenv("TZ", zone, 1);
    EXPECT_EQ(VexoraGetUTC_SecondsOffset(), offset);
    EXPECT_EQ(get_time_zone(nullptr, 9), -1);
    EXPECT_EQ(get_time_zone(text, sizeof text), 0);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(get_time_zone(text, 4), 0);
    EXPECT_EQ(text, std::string(expected).substr(0, 3));
    std::tm parts{};
    VexoraLogTime2TmMode(1719878399, &parts);
    EXPECT_EQ(std::tuple(parts.tm_mon, (parts.tm_mday - 1) * 24 + parts.tm_hour, parts.tm_sec),
              std::tuple(6, hour, 59));
  }
  std::tm parts{};
  VexoraLogTime2TmMode(4117996800, &parts);
  EXPECT_EQ(parts.tm_year, sizeof(std::time_t) > 4 ? 200 : 64) << "in the year 2100";
  VexoraLogTime2TmMode(0, nullptr);
  // What 32 bits can't hold, 64 can't convert.
  clock.set(std::numeric_limits<std::time_t>::max());
  char text[] = "~";
  EXPECT_EQ(get_time_zone(text, 2), sizeof(std::time_t) > 4 ? -1 : 0);
  VexoraLogTime2TmMode(86399, &parts);
  EXPECT_EQ(parts.tm_sec, 59);
}

#ifndef VEXORA_SANITIZED
TEST(Strings, AShortMemoryIsToldAndLeavesNothingToRelease) {
  PlatformLog log;
  const HeapWatch heap;
  char *text = nullptr;
  const auto quote = [&] { text = escaper(text, "it's"); };
  EXPECT_EQ(failEach(kAnyAllocation, ENOMEM, quote, [&](unsigned) { EXPECT_EQ(text, nullptr); }), 2U);
  EXPECT_EQ(escaper(text, nullptr), nullptr);
  const auto copy = [&] { text = strncpy_safe(nullptr, "text", 4); };
  EXPECT_EQ(failEach(kAnyAllocation, ENOMEM, copy, [&](unsigned) { EXPECT_EQ(text, nullptr); }), 1U);
  std::free(text);
  EXPECT_EQ(log.take().size(), 3U);
  {
    const FailCall noPattern(kAnyAllocation, 1, ENOMEM);
    EXPECT_EQ(is_valid_path("/tmp"), -1);
    const FailCall noClass(kAnyAllocation, 1, ENOMEM);
    EXPECT_EQ(vexora_isvalid_passwd("abcDEF12"), -1);
  }
  matcherFailure = REG_ESPACE;
  EXPECT_EQ(is_valid_path("/tmp"), REG_ESPACE);
  matcherFailure = 0;
  EXPECT_EQ(is_valid_path("/tmp"), 0);
  EXPECT_EQ(log.take().size(), 0U);
  EXPECT_EQ(heap.growth(), 0);
}
#endif

}  // namespace
}  // namespace vexora::test

extern "C" int regexec(const regex_t *pattern, const char *text, std::size_t slots, regmatch_t *found, int flags) {
  static auto *const real = reinterpret_cast<decltype(&regexec)>(dlsym(RTLD_NEXT, "regexec"));
  const int failure = vexora::test::matcherFailure;
  return failure != 0 ? failure : real(pattern, text, slots, found, flags);
}
