// SPDX-License-Identifier: Apache-2.0
//
// What to do about an event, from the table that the daemons answer from.

#include <vexora/platform.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>

#include "events/commands.h"

namespace vexora::tool {
namespace {

using Record = vexora_idl_advice;

// A record for all sensors of its type.
constexpr unsigned kAnySensor = 0xFF;

struct AdviceArguments {
  std::string type;
  std::string code;
  std::string number;
  std::vector<std::string> words;
};

std::vector<Record> table() {
  std::vector<Record> records(static_cast<std::size_t>(GetIdlAdviserArrayNum()));
  if (GetIdlAdviserArray(reinterpret_cast<std::uint8_t *>(records.data())) != 0) {
    throw Failure(kInaccessible, "the library gives no advice");
  }
  return records;
}

unsigned readByte(const std::string &name, const std::string &text) {
  const auto value = parseNumber(text, 0xFF);
  if (!value) {
    throw Failure(kUsage, name + ": a number from 0 to 255 or 0x00 to 0xFF, not \"" + printable(text) + "\"");
  }
  return static_cast<unsigned>(*value);
}

std::string hexOf(unsigned value) { return format("0x%02X", value); }

std::string sensorOf(const Record &record) {
  return record.sensor_number == kAnySensor ? "any" : hexOf(record.sensor_number);
}

std::string textOf(const Record &record) { return {record.advice, strnlen(record.advice, sizeof record.advice)}; }

std::vector<std::string> linesOf(const Record &record) {
  std::vector<std::string> lines;
  std::string text = textOf(record);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.erase(0, end + 1);
  }
  return lines;
}

Json inJson(const Record &record) {
  return object({{"type", record.sensor_type},
                 {"number", record.sensor_number == kAnySensor ? Json() : Json(record.sensor_number)},
                 {"code", record.event_code},
                 {"level", record.level},
                 {"advice", list(linesOf(record))}});
}

/// An answer without records is a finding.
void answer(Session &session, const std::vector<Record> &records) {
  session.found(records.empty() ? kFinding : kFine);
  if (session.json) {
    session.answer(object({{"advice", list(records, inJson)}}));
    return;
  }
  for (const Record &record : records) {
    std::cout << coloured("type " + hexOf(record.sensor_type) + ", code " + hexOf(record.event_code) + ", sensor " +
                              sensorOf(record) + ", level " + std::to_string(record.level),
                          1)
              << "\n";
    for (const std::string &line : linesOf(record)) {
      std::cout << "  " << printable(line) << "\n";
    }
  }
  if (records.empty()) {
    std::cout << "no advice\n";
  }
}

/// With a sensor's number its own advice; the advice for any sensor where it has none.
void look(Session &session, const AdviceArguments &arguments) {
  const unsigned type = readByte("TYPE", arguments.type);
  const unsigned code = readByte("CODE", arguments.code);
  std::vector<Record> records = table();
  std::erase_if(records, [&](const Record &record) { return record.sensor_type != type || record.event_code != code; });
  if (!arguments.number.empty()) {
    const unsigned number = readByte("--number", arguments.number);
    const auto isOf = [&records](unsigned sensor) {
      return std::any_of(records.begin(), records.end(),
                         [sensor](const Record &record) { return record.sensor_number == sensor; });
    };
    const unsigned wanted = isOf(number) ? number : kAnySensor;
    std::erase_if(records, [wanted](const Record &record) { return record.sensor_number != wanted; });
  }
  answer(session, records);
}

std::string lower(std::string text) {
  for (char &character : text) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return text;
}

void search(Session &session, const std::vector<std::string> &words) {
  std::vector<Record> records = table();
  std::erase_if(records, [&](const Record &record) {
    const std::string text = lower(textOf(record));
    return !std::all_of(words.begin(), words.end(),
                        [&](const std::string &word) { return text.find(lower(word)) != std::string::npos; });
  });
  answer(session, records);
}

void addSearches(Command advice, Session &session, const std::shared_ptr<AdviceArguments> &arguments) {
  Command command = advice.add(
      "search",
      "Shows the advice that has all the words, in any order and in capitals or not; without words all that there is.",
      "vexora advice search fan exchange");
  command.option("WORDS", arguments->words, "Words, or parts of them").typeName("");
  command.run([&session, arguments] { search(session, arguments->words); });
}

}  // namespace

void addAdvice(Command app, Session &session) {
  Command command = app.add("advice",
                            "Shows what to do about an event.\nTYPE is the sensor's type and CODE the event's, in "
                            "decimal, or with 0x in hexadecimal digits. Without a sensor's number the advice for "
                            "all of them is shown.",
                            "vexora advice 0x04 0xA0 --number 0x10");
  command.mayTakeCommand();
  auto arguments = std::make_shared<AdviceArguments>();
  command.option("TYPE", arguments->type, "Sensor type").typeName("");
  command.option("CODE", arguments->code, "Event code").typeName("");
  command.option("-n,--number", arguments->number, "Sensor number").typeName("N");
  addSearches(command, session, arguments);
  command.run([command, &session, arguments] {
    if (command.hasCommand()) {
      return;
    }
    if (arguments->code.empty()) {
      throw Failure(kUsage, "advice takes TYPE and CODE, or search WORDS");
    }
    look(session, *arguments);
  });
}

}  // namespace vexora::tool
