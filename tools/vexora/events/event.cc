// SPDX-License-Identifier: Apache-2.0
//
// vexora event: the JSON document of an event, as daemons push it to subscribers.
#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <iostream>
#include <memory>
#include <regex>

#include "config/event_layout.h"
#include "events/commands.h"

namespace vexora::tool {
namespace {

using config::kMaxEventValue;

// Enough for any event.
constexpr std::size_t kDocumentSize = 56 << 10;

/// A property, the pattern that the Redfish schema demands, and the finding for other values.
struct TextMember {
  const char *key;
  const char *EventArray::*text;
  bool required = false;
  const char *pattern = ".*";
  const char *reason = "";
};

constexpr TextMember kTexts[] = {
    {"id", &EventArray::id, true, ".+", "is empty, and ends the document's @odata.id"},
    {"eventType", &EventArray::eventType, true, "StatusChange|ResourceUpdated|ResourceAdded|ResourceRemoved|Alert",
     "is none of StatusChange, ResourceUpdated, ResourceAdded, ResourceRemoved and Alert"},
    {"eventId", &EventArray::eventId, false, ".+", "is empty"},
    {"severity", &EventArray::severity, false, "OK|Warning|Critical", "is none of OK, Warning and Critical"},
    {"eventTimestamp", &EventArray::eventTimestamp, false, R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?(Z|[+-]\d\d:\d\d))",
     "is no time such as 2024-05-01T13:45:07+02:00"},
    {"message", &EventArray::message},
    {"messageId", &EventArray::messageId, true, R"([A-Za-z0-9]+\.\d+\.\d+\.[A-Za-z0-9.]+)",
     "is no message of a registry, such as Alert.1.0.LanDisconnect"},
    {"context", &EventArray::context},
};

struct ListMember {
  const char *key;
  std::span<const char *> (*texts)(EventArray &event);
};

constexpr ListMember kTextArrays[] = {
    {"messageArgs", [](EventArray &event) { return std::span<const char *>(event.messageArgs); }},
    {"originOfCondition", [](EventArray &event) { return std::span<const char *>(event.originOfCondition); }},
    {"oemKey", [](EventArray &event) { return std::span<const char *>(event.oemKey); }},
    {"oemValue", [](EventArray &event) { return std::span<const char *>(event.oemValue); }},
};

constexpr const char *kServerIdentity = "serverIdentity";

/// An event from a JSON file. Owns the texts that it points to.
class Event {
 public:
  explicit Event(const std::string &path) : path_(path) {
    const Json document = Json::parse(readText(path), path);
    if (!json_object_is_type(document.get(), json_type_object)) {
      refuse("the event", "is no object");
    }
    EventArrayMemInit(&event_);
    json_object_object_foreach(document.get(), key, value) { take(key, value); }
  }

  [[nodiscard]] const EventArray &event() const { return event_; }

  [[nodiscard]] std::string document() const {
    std::vector<char> text(kDocumentSize);
    getJsonData(text.data(), event_, serverIdentity_);
    return text.data();
  }

 private:
  [[noreturn]] void refuse(const std::string &key, const std::string &reason) const {
    throw Failure(kFinding, printable(path_) + ": " + printable(key) + " " + reason);
  }

  void take(const std::string &key, json_object *value) {
    if (key == kServerIdentity) {
      serverIdentity_ = text(key, value);
      return;
    }
    for (const TextMember &member : kTexts) {
      if (key == member.key) {
        event_.*member.text = text(key, value);
        return;
      }
    }
    for (const ListMember &member : kTextArrays) {
      if (key == member.key) {
        takeList(key, value, member.texts(event_));
        return;
      }
    }
    refuse(key, "is no member of an event");
  }

  void takeList(const std::string &key, json_object *value, std::span<const char *> texts) {
    if (!json_object_is_type(value, json_type_array) || json_object_array_length(value) > texts.size()) {
      refuse(key, "is no array of at most " + std::to_string(texts.size()) + " strings");
    }
    for (std::size_t i = 0; i < json_object_array_length(value); ++i) {
      texts[i] = text(key, json_object_array_get_idx(value, i));
    }
  }

  const char *text(const std::string &key, json_object *value) {
    if (value == nullptr) {
      return nullptr;
    }
    if (!json_object_is_type(value, json_type_string)) {
      refuse(key, "is neither a string nor null");
    }
    return kept_.emplace_back(json_object_get_string(value)).c_str();
  }

  std::string path_;
  std::deque<std::string> kept_;  // a deque: event_ points into the strings, which must not move
  EventArray event_{};
  const char *serverIdentity_ = nullptr;
};

/// Returns what is wrong with a property, "" if nothing.
std::string reasonAgainst(const TextMember &member, const char *text) {
  if (text == nullptr) {
    return member.required ? "is required, and absent" : "";
  }
  const std::size_t most =
      member.text == &EventArray::id ? kMaxEventValue - std::strlen(config::kEventPath) : kMaxEventValue;
  if (std::string_view(text).size() > most) {
    return "is cut to " + std::to_string(most) + " bytes";  // not matched: std::regex recurses once per character
  }
  return std::regex_match(text, std::regex(member.pattern)) ? "" : member.reason;
}

/// Returns whether an unset text comes before a set one. The document then has a null in its place.
bool hasGaps(std::span<const char *> texts) {
  const auto last = std::find_if(texts.rbegin(), texts.rend(), [](const char *text) { return text != nullptr; });
  return std::find(texts.begin(), last.base(), nullptr) != last.base();
}

void checkLists(EventArray event, std::vector<Finding> &findings) {
  for (const ListMember &member : kTextArrays) {
    const std::span<const char *> texts = member.texts(event);
    const std::string_view key = member.key;
    if ((key == "originOfCondition" || key == "oemKey") && hasGaps(texts)) {
      findings.push_back({member.key, "has gaps, which become nulls"});
    }
    for (const char *text : texts) {
      if (text != nullptr && std::string_view(text).size() > kMaxEventValue) {
        findings.push_back({member.key, "has a value that is cut to 127 bytes"});
      }
      if (text != nullptr && key == "originOfCondition" && *text != '/') {
        findings.push_back({member.key, "has no path of a resource: " + printable(text)});
      }
    }
  }
  for (std::size_t i = 0; i < std::size(event.oemKey); ++i) {
    if (event.oemKey[i] == nullptr && event.oemValue[i] != nullptr) {
      findings.push_back({"oemValue", "has a value without a key: " + printable(event.oemValue[i])});
    }
  }
}

std::vector<Finding> findingsIn(const EventArray &event) {
  std::vector<Finding> findings;
  for (const TextMember &member : kTexts) {
    const std::string reason = reasonAgainst(member, event.*member.text);
    if (!reason.empty()) {
      findings.push_back({member.key, reason});
    }
  }
  checkLists(event, findings);
  return findings;
}

void check(Session &session, const std::string &path) {
  const Event event(path);
  session.report(findingsIn(event.event()), printable(path) + ": fine");
}

void render(Session &session, const std::string &path) {
  const std::string document = Event(path).document();
  session.answer(object({{"document", Json::parse(document, "document")}}));
  std::cout << (session.json ? "" : document + "\n");
}

}  // namespace

void addEvent(Command app, Session &session) {
  Command command =
      app.add("event",
              "Makes and checks the Redfish document of an event. The event is a JSON object of strings: id, "
              "eventType, eventId, severity, eventTimestamp, message, messageId, context and serverIdentity, and the "
              "arrays messageArgs (2), originOfCondition (32), oemKey and oemValue (11).",
              R"(echo '{"id":"7","eventType":"Alert","messageId":"Alert.1.0.Fan"}' | vexora event check -)");
  command.needsCommand();
  const auto path = std::make_shared<std::string>();
  Command rendered = command.add(
      "render", "Writes the document, byte for byte as it is pushed; with --json as a member of the answer.",
      R"(echo '{"id":"7","eventType":"Alert"}' | vexora event render -)");
  Command checked =
      command.add("check",
                  "Checks the properties that a receiver requires, the form of the others, and what the "
                  "document would cut.",
                  "echo '{\"id\":\"7\",\"eventType\":\"Alert\",\"messageId\":\"Alert.1.0.Fan\"}' | vexora "
                  "event check -");
  for (Command one : {rendered, checked}) {
    one.option("FILE", *path, "Event, - for standard input").required();
  }
  rendered.run([&session, path] { render(session, *path); });
  checked.run([&session, path] { check(session, *path); });
}

}  // namespace vexora::tool
