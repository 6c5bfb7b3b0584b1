// SPDX-License-Identifier: Apache-2.0
//
// The document of an event, and the file of the event subscriptions: one section a slot, one "key=value" line a field,
// in the order of the keys.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "vexora/config.h"

namespace vexora::config {

constexpr char kEventPath[] = "/redfish/v1/EventService/Events/";  // before the event's own id
inline constexpr std::size_t kMaxEventValue = 127;                 // longer ones are cut

inline constexpr const char *kSubscriptionsFile = "/conf/eventsubscriptions.conf";
inline constexpr std::string_view kAbsent = "N/A";
inline constexpr std::size_t kMaxLine = 127;  // a longer line is read as several
inline constexpr unsigned kTypeBits = 0x1F;
inline constexpr std::int32_t kEverything = 9;  // selects all strings of a slot, to free them

// The keys by number, in the file's order.
enum Key : std::size_t {
  kPresent,
  kDestination,
  kType,
  kContent,
  kDataVersion,
  kAuthentication,
  kContext,
  kProtocol,
  kFirstMessageId,
  kFirstResource = kFirstMessageId + VEXORA_EVENT_FILTERS,
  kKeys = kFirstResource + VEXORA_EVENT_FILTERS
};

using KeyName = std::array<char, 12>;

consteval KeyName makeName(std::string_view name, std::size_t number = SIZE_MAX) {
  KeyName made{};
  std::size_t length = name.copy(made.data(), name.size());
  if (number != SIZE_MAX) {
    if (number >= 10) {
      made[length++] = static_cast<char>('0' + number / 10);
    }
    made[length] = static_cast<char>('0' + number % 10);
  }
  return made;
}

template <std::size_t... Numbers>
consteval std::array<KeyName, kKeys> makeNames(std::index_sequence<Numbers...>) {
  return {makeName("present"),
          makeName("destaddr"),
          makeName("type"),
          makeName("hcontent"),
          makeName("hdataver"),
          makeName("hxauth"),
          makeName("context"),
          makeName("protocal"),
          makeName("messageid", Numbers)...,
          makeName("resource", Numbers)...};
}

constexpr std::array<KeyName, kKeys> kNames = makeNames(std::make_index_sequence<VEXORA_EVENT_FILTERS>());

}  // namespace vexora::config
