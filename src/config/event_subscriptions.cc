// SPDX-License-Identifier: Apache-2.0
//
// The event subscriptions. People edit their file by hand, so unknown lines are skipped and any order is accepted. A load
// builds new slots and then replaces the old ones, so that a failure changes nothing.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/owners.h"
#include "config/event_layout.h"

EventSubScriptionRecord stEventSubScriptionStore[VEXORA_EVENT_SUBSCRIPTIONS];
std::int32_t blEventSubScriptionsFlag;

using vexora::Stream;
using namespace vexora::config;

namespace {

constexpr const char *kModule = "vexora_eventservicecfg";
constexpr std::size_t kMaxValue = 511;
constexpr std::int32_t kLoaded = 1;
constexpr std::int32_t kSlots = VEXORA_EVENT_SUBSCRIPTIONS;

/// The range of keys whose strings a selector frees. The type bits and the present byte are no strings.
struct Selection {
  std::size_t first;
  std::size_t last;
};

constexpr std::int32_t kTypeOnly = 2;
// Empty where a selector frees no string.
constexpr Selection kSelections[kEverything + 1] = {
    {kKeys, 0},
    {kDestination, kDestination},
    {kKeys, 0},
    {kContent, kAuthentication},
    {kContext, kContext},
    {kProtocol, kProtocol},
    {kFirstMessageId, kFirstResource - 1},
    {kFirstResource, kKeys - 1},
    {kKeys, 0},
    {kPresent, kKeys - 1},
};

/// The string of a key, or null for the two keys that are numbers.
char **stringOf(EventSubScriptionRecord &slot, std::size_t key) {
  switch (key) {
    case kPresent:
    case kType:
      return nullptr;
    case kDestination:
      return &slot.destaddr;
    case kContent:
      return &slot.hcontent;
    case kDataVersion:
      return &slot.hdataver;
    case kAuthentication:
      return &slot.hxauth;
    case kContext:
      return &slot.context;
    case kProtocol:
      return &slot.protocal;
    default:
      return key < kFirstResource ? &slot.messageid[key - kFirstMessageId] : &slot.resource[key - kFirstResource];
  }
}

const char *stringOf(const EventSubScriptionRecord &slot, std::size_t key) {
  char **const string = stringOf(const_cast<EventSubScriptionRecord &>(slot), key);
  return *string == nullptr ? kAbsent.data() : *string;
}

bool isNumber(std::size_t key) { return key == kPresent || key == kType; }

void freeStrings(EventSubScriptionRecord &slot, std::int32_t what) {
  for (std::size_t key = kSelections[what].first; key <= kSelections[what].last; ++key) {
    if (char **const string = stringOf(slot, key); string != nullptr) {
      std::free(std::exchange(*string, nullptr));
    }
  }
  if (what == kTypeOnly || what == kEverything) {
    slot.type = static_cast<std::uint8_t>(slot.type & ~kTypeBits);
  }
  if (what == kEverything) {
    slot.present = 0;
  }
}

/// A line's key and value.
struct Setting {
  const char *key = nullptr;
  std::string_view value;
};

/// Cuts a value at the line's end or at one of two characters. strcspn builds a table at every call.
std::string_view cut(char *value, char one, char other) {
  const auto isEnd = [&](char c) { return c == '\0' || c == '\r' || c == '\n' || c == one || c == other; };
  char *end = value;
  while (*end > ';' || !isEnd(*end)) {  // fast path: nearly all characters are above ';', no end is
    ++end;
  }
  *end = '\0';
  return {value, end};
}

/// Returns the value without its quotes, or a bare value up to a comment; null data when nothing is left. Empty quotes
/// are a part of a bare value.
std::string_view takeValue(char *at) {
  if ((at[0] == '"' || at[0] == '\'') && at[1] != '\0' && at[1] != at[0]) {
    return cut(at + 1, at[0], at[0]);
  }
  return at[0] == '\0' || at[0] == ';' || at[0] == '#' ? std::string_view() : cut(at, ';', '#');
}

/// Splits a line.
Setting parseSetting(char *line) {
  char *const equals = std::strchr(line, '=');
  if (equals == nullptr) {
    return {};
  }
  *equals = '\0';
  return {line, takeValue(equals + 1)};
}

bool opensSection(const char *line) { return line[0] == '[' && line[1] != '\0' && line[1] != ']'; }

/// Slots that are filled from a file. Owns their strings until they are moved out.
class NewSlots {
 public:
  NewSlots() = default;
  NewSlots(const NewSlots &) = delete;
  NewSlots &operator=(const NewSlots &) = delete;
  ~NewSlots() {
    for (EventSubScriptionRecord &slot : slots_) {
      freeStrings(slot, kEverything);
    }
  }

  /// Reads the whole file; returns false when memory is short or the file can't be read to its end.
  bool read(std::FILE *file) {
    std::int32_t current = -1;  // the slot being filled: -1 before the first header, kSlots after the last slot
    char line[kMaxLine + 1];
    while (std::fgets(line, sizeof line, file) != nullptr) {
      if (opensSection(line)) {
        current = std::min(current + 1, kSlots);
      } else if (current >= 0 && current < kSlots && !takeSetting(parseSetting(line), current)) {
        return false;
      }
    }
    return std::ferror(file) == 0 && fillMissing();
  }

  void moveTo(EventSubScriptionRecord *store) {
    std::copy(std::begin(slots_), std::end(slots_), store);
    std::fill(std::begin(slots_), std::end(slots_), EventSubScriptionRecord{});
  }

 private:
  /// Fills strings without a setting with empty ones.
  bool fillMissing() {
    for (std::int32_t number = 0; number < kSlots; ++number) {
      for (std::size_t key = 0; key < kKeys; ++key) {
        if (!isNumber(key) && !isSet_[number][key] && !setString(*stringOf(slots_[number], key), "")) {
          return false;
        }
      }
    }
    return true;
  }

  bool takeSetting(const Setting &setting, std::int32_t number) {
    const std::size_t key = setting.value.data() == nullptr ? kKeys : find(setting.key);
    if (key == kKeys) {
      return true;
    }
    EventSubScriptionRecord &slot = slots_[number];
    if (!isNumber(key)) {
      isSet_[number][key] = true;
      return setString(*stringOf(slot, key), setting.value);
    }
    const long value = std::strtol(setting.value.data(), nullptr, 10);
    if (key == kPresent) {
      slot.present = static_cast<std::uint8_t>(value);
    } else {
      slot.type = static_cast<std::uint8_t>(static_cast<unsigned long>(value) & kTypeBits);
    }
    return true;
  }

  /// Returns the number of a key, or kKeys. Starts after the last match, since files are usually in order.
  std::size_t find(const char *name) {
    for (std::size_t tried = 0; tried < kKeys; ++tried) {
      const std::size_t key = (next_ + tried) % kKeys;
      if (std::strcmp(kNames[key].data(), name) == 0) {
        next_ = (key + 1) % kKeys;
        return key;
      }
    }
    return kKeys;
  }

  static bool setString(char *&string, std::string_view value) {
    char *copy = nullptr;
    if (value != kAbsent) {
      copy = static_cast<char *>(std::malloc(value.size() + 1));
      if (copy == nullptr) {
        return false;
      }
      copy[value.copy(copy, value.size())] = '\0';
    }
    std::free(std::exchange(string, copy));
    return true;
  }

  EventSubScriptionRecord slots_[kSlots]{};
  bool isSet_[kSlots][kKeys]{};
  std::size_t next_ = 0;
};

bool hasLongString(const EventSubScriptionRecord &slot) {
  for (std::size_t key = 0; key < kKeys; ++key) {
    if (!isNumber(key) && strnlen(stringOf(slot, key), kMaxValue + 1) > kMaxValue) {
      return true;
    }
  }
  return false;
}

void writeSlot(std::FILE *file, std::int32_t number, const EventSubScriptionRecord &slot) {
  std::fprintf(file, "[SubScription%d]\r\n", number);
  for (std::size_t key = 0; key < kKeys; ++key) {
    if (isNumber(key)) {
      std::fprintf(file, "%s=%u\r\n", kNames[key].data(), key == kPresent ? slot.present : slot.type & kTypeBits);
    } else {
      std::fprintf(file, "%s=%s\r\n", kNames[key].data(), stringOf(slot, key));
    }
  }
  std::fputs("\r\n", file);
}

}  // namespace

int GetEventSubScriptionFromConfFile(std::int32_t *loaded, EventSubScriptionRecord *store) {
  if (loaded == nullptr || store == nullptr) {
    return -1;
  }
  if (*loaded == kLoaded) {
    return 0;
  }
  if (access(kSubscriptionsFile, F_OK) != 0) {
    *loaded = 0;
    return -1;
  }
  // Opened for update although nothing is written: a file that can't be written back is not loaded.
  const Stream file(std::fopen(kSubscriptionsFile, "rb+e"));
  if (!file) {
    std::printf("%s(%d)open file %s err!\n", kModule, __LINE__, kSubscriptionsFile);
    return -1;
  }
  NewSlots slots;
  if (!slots.read(file.get())) {
    return -1;
  }
  static_cast<void>(dwEventSubScriptionStoreMemFree(0, kSlots, kEverything, store));
  slots.moveTo(store);
  *loaded = kLoaded;
  return 0;
}

int SetEventSubScription2ConfFile(std::uint32_t, const EventSubScriptionRecord *store) {
  if (store == nullptr) {
    return -1;
  }
  if (std::any_of(store, store + kSlots, hasLongString)) {
    std::printf("%s(%d)Buffer Over Flow!\n", kModule, __LINE__);
    return -1;
  }
  if (access(kSubscriptionsFile, F_OK) == 0) {
    static_cast<void>(std::remove(kSubscriptionsFile));
  }
  const Stream file(std::fopen(kSubscriptionsFile, "we"));
  if (!file) {
    std::printf("%s(%d)file open error!\n", kModule, __LINE__);
    return -1;
  }
  for (std::int32_t number = 0; number < kSlots; ++number) {
    writeSlot(file.get(), number, store[number]);
  }
  return 0;
}

int dwEventSubScriptionStoreMemFree(std::int32_t first, std::int32_t last, std::int32_t what,
                                    EventSubScriptionRecord *store) {
  if (first > last || what > kEverything || store == nullptr) {
    return -1;
  }
  if (what < 0) {
    return 0;
  }
  for (std::int32_t number = std::max(first, 0); number < std::min(last, kSlots); ++number) {
    freeStrings(store[number], what);
  }
  return 0;
}
