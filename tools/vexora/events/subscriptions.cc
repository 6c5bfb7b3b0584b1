// SPDX-License-Identifier: Apache-2.0
//
// vexora subscriptions: shows and checks the destinations to which daemons push events.
#include <unistd.h>

#include <iostream>

#include "config/event_layout.h"
#include "events/commands.h"
#include "events/lines.h"

namespace vexora::tool {
namespace {

/// The subscriptions that the library has loaded.
class Store {
 public:
  explicit Store(const Session &session) {
    std::int32_t loaded = 0;
    int result = -1;
    const std::string said = captured([&] { result = GetEventSubScriptionFromConfFile(&loaded, slots_); });
    if (result != 0) {
      throw Failure(kInaccessible, "could not load " + printable(session.path(config::kSubscriptionsFile)) +
                                       (said.empty() ? ", which has to be there" : ": " + printable(said)));
    }
  }
  Store(const Store &) = delete;
  Store &operator=(const Store &) = delete;
  ~Store() {
    static_cast<void>(dwEventSubScriptionStoreMemFree(0, VEXORA_EVENT_SUBSCRIPTIONS, config::kEverything, slots_));
  }

  [[nodiscard]] std::span<const EventSubScriptionRecord> slots() const { return slots_; }

 private:
  EventSubScriptionRecord slots_[VEXORA_EVENT_SUBSCRIPTIONS]{};
};

struct Member {
  const char *key;
  char *EventSubScriptionRecord::*text;
};

constexpr Member kMembers[] = {
    {"destaddr", &EventSubScriptionRecord::destaddr}, {"hcontent", &EventSubScriptionRecord::hcontent},
    {"hdataver", &EventSubScriptionRecord::hdataver}, {"hxauth", &EventSubScriptionRecord::hxauth},
    {"context", &EventSubScriptionRecord::context},   {"protocal", &EventSubScriptionRecord::protocal},
};

struct List {
  const char *key;
  char *(EventSubScriptionRecord::*texts)[VEXORA_EVENT_FILTERS];
};

constexpr List kLists[] = {{"messageid", &EventSubScriptionRecord::messageid},
                           {"resource", &EventSubScriptionRecord::resource}};

bool isSet(const char *text) { return text != nullptr && *text != '\0'; }

Json slotJson(const EventSubScriptionRecord &slot) {
  Json made = object({{"present", slot.present}, {"type", slot.type}});
  for (const Member &member : kMembers) {
    made.add(member.key, slot.*member.text);
  }
  for (const List &member : kLists) {
    made.add(member.key, list(slot.*member.texts, [](const char *text) { return Json(text); }));
  }
  return made;
}

void printSlot(std::size_t number, const EventSubScriptionRecord &slot) {
  std::cout << "slot " << number << ": " << (slot.present != 0 ? coloured("in use", 32) : "unused") << "\n";
  const auto line = [](const std::string &key, const std::string &value) {
    std::cout << "  " << key << std::string(key.size() < 12 ? 12 - key.size() : 1, ' ') << value << "\n";
  };
  if (slot.present == 0) {
    return;
  }
  line("type", std::to_string(slot.type));
  for (const Member &member : kMembers) {
    const char *text = slot.*member.text;
    line(member.key, text == nullptr ? "absent" : printable(text));
  }
  for (const List &list : kLists) {
    for (int i = 0; i < VEXORA_EVENT_FILTERS; ++i) {
      if (const char *text = (slot.*list.texts)[i]; isSet(text)) {
        line(list.key + std::to_string(i), printable(text));
      }
    }
  }
}

void show(Session &session) {
  const Store store(session);
  if (session.json) {
    session.answer(object({{"slots", list(store.slots(), slotJson)}}));
    return;
  }
  std::size_t number = 0;
  for (const EventSubScriptionRecord &slot : store.slots()) {
    printSlot(number++, slot);
  }
}

void check(Session &session) {
  const std::string path = session.path(config::kSubscriptionsFile);
  session.report(checkSubscriptions(readText(path), path), printable(path) + ": fine");
}

}  // namespace

void addSubscriptions(Command app, Session &session) {
  Command command = app.add("subscriptions",
                            "Shows and checks the destinations that events are pushed to: up to four, in "
                            "/conf/eventsubscriptions.conf.",
                            "vexora subscriptions show");
  command.needsCommand();
  command.add("show", "Shows the slots as the library loads them.", "vexora subscriptions show").run([&session] {
    show(session);
  });
  command
      .add("check", "Names each line that the loader cuts, ignores or reads differently from what its author meant.",
           "vexora subscriptions check")
      .run([&session] { check(session); });
}

}  // namespace vexora::tool
