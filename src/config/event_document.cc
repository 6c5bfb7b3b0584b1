// SPDX-License-Identifier: Apache-2.0
//
// The JSON document of an event, as subscribers receive it. Members are in the order in which they are added.

#include <cstdio>
#include <cstring>
#include <utility>

#include "base/json.h"
#include "config/event_layout.h"

static_assert(sizeof(EventArray) == 67 * sizeof(char *));

namespace {

using vexora::addMember;
using vexora::appendElement;
using vexora::Json;

/// Returns a value as a JSON string, cut to the longest value.
class Value {
 public:
  explicit Value(const char *text, const char *absent = "null", const char *prefix = "") {
    std::snprintf(text_, sizeof text_, "%s%s", text == nullptr ? "" : prefix, text == nullptr ? absent : text);
  }

  [[nodiscard]] const char *text() const { return text_; }
  [[nodiscard]] Json json() const { return Json(json_object_new_string(text_)); }

 private:
  char text_[vexora::config::kMaxEventValue + 1];
};

struct Member {
  const char *key;
  const char *value;
};

template <std::size_t Count>
bool addStrings(const Json &object, const Member (&members)[Count]) {
  for (const Member &member : members) {
    if (!addMember(object.get(), member.key, Value(member.value).json())) {
      return false;
    }
  }
  return true;
}

/// Returns an object of one member, with a copy of the key: the caller may reuse its buffer.
Json newPair(const char *key, const Value &value) {
  Json pair(json_object_new_object());
  Json string = value.json();
  if (!pair || !string || json_object_object_add(pair.get(), key, string.get()) != 0) {
    return nullptr;
  }
  static_cast<void>(string.release());
  return pair;
}

/// Stores a value at an index; lower indices without a value become JSON nulls.
bool putElement(const Json &array, std::size_t index, Json element) {
  if (!array || !element || json_object_array_put_idx(array.get(), index, element.get()) != 0) {
    return false;
  }
  static_cast<void>(element.release());
  return true;
}

Json newMessageArgs(const EventArray &event) {
  Json args(json_object_new_array());
  for (const char *arg : event.messageArgs) {
    if (arg != nullptr && !appendElement(args.get(), Value(arg).json())) {
      return nullptr;
    }
  }
  return args;
}

Json newOrigins(const EventArray &event) {
  Json origins(json_object_new_array());
  std::size_t index = 0;
  for (const char *origin : event.originOfCondition) {
    if (origin != nullptr && !putElement(origins, index, newPair("@odata.id", Value(origin)))) {
      return nullptr;
    }
    ++index;
  }
  return origins;
}

Json newOem(const EventArray &event, const char *serverIdentity) {
  Json oem(json_object_new_array());
  std::size_t index = 0;
  for (const char *key : event.oemKey) {
    if (key != nullptr && !putElement(oem, index, newPair(Value(key).text(), Value(event.oemValue[index], "N/A")))) {
      return nullptr;
    }
    ++index;
  }
  return appendElement(oem.get(), newPair("serverIdentity", Value(serverIdentity))) ? std::move(oem) : nullptr;
}

Json newEvent(const EventArray &event, const char *serverIdentity) {
  Json object(json_object_new_object());
  const bool whole = addStrings(object, {{"EventType", event.eventType},
                                         {"EventId", event.eventId},
                                         {"Severity", event.severity},
                                         {"EventTimestamp", event.eventTimestamp},
                                         {"Message", event.message},
                                         {"MessageId", event.messageId}}) &&
                     addMember(object.get(), "MessageArgs", newMessageArgs(event)) &&
                     addMember(object.get(), "OriginOfCondition", newOrigins(event)) &&
                     addMember(object.get(), "Oem", newOem(event, serverIdentity));
  return whole ? std::move(object) : nullptr;
}

Json newDocument(const EventArray &event, const char *serverIdentity) {
  Json document(json_object_new_object());
  const Value path(event.id, "null", vexora::config::kEventPath);
  Json events(json_object_new_array());
  const bool whole = addStrings(document, {{"@odata.context", "/redfish/v1/$metadata#Event.Event"}}) &&
                     addMember(document.get(), "@odata.id", path.json()) &&
                     addStrings(document, {{"@odata.type", "#Event.v1_1_0.Event"},
                                           {"Id", event.id},
                                           {"Name", "Event Array"},
                                           {"Context", event.context}}) &&
                     appendElement(events.get(), newEvent(event, serverIdentity)) &&
                     addMember(document.get(), "Events", std::move(events));
  return whole ? std::move(document) : nullptr;
}

}  // namespace

void EventArrayMemInit(EventArray *record) {
  if (record != nullptr) {
    *record = {};
  }
}

void getJsonData(char *out, EventArray record, const char *serverIdentity) {
  if (out == nullptr) {
    return;
  }
  const Json document = newDocument(record, serverIdentity);
  const char *const text = document ? vexora::wholeText(document.get(), JSON_C_TO_STRING_SPACED) : nullptr;
  std::memcpy(out, text == nullptr ? "" : text, text == nullptr ? 1 : std::strlen(text) + 1);
}
