// SPDX-License-Identifier: Apache-2.0
//
// vexora advice: the library's table of advice about events, from which daemons answer too.

#include <vexora/platform.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

#include "events/commands.h"

namespace vexora::tool {
namespace {

using Record = vexora_idl_advice;

// A record with this number is for all sensors of its type.
constexpr unsigned kAnySensor = 0xFF;

struct SensorType {
  unsigned code;
  const char *name;
};

// The IPMI sensor types that the table has.
constexpr SensorType kTypes[] = {{0x04, "fan"},          {0x05, "physical-security"},
                                 {0x07, "processor"},    {0x08, "power-supply"},
                                 {0x0B, "other-units"},  {0x0C, "memory"},
                                 {0x0D, "drive-slot"},   {0x0F, "firmware"},
                                 {0x10, "event-log"},    {0x11, "watchdog-1"},
                                 {0x12, "system-event"}, {0x14, "button"},
                                 {0x15, "module"},       {0x17, "add-in-card"},
                                 {0x18, "chassis"},      {0x19, "chip-set"},
                                 {0x1B, "cable"},        {0x1D, "boot"},
                                 {0x1E, "boot-error"},   {0x1F, "os-boot"},
                                 {0x20, "os-stop"},      {0x22, "acpi"},
                                 {0x23, "watchdog-2"},   {0x27, "lan"},
                                 {0x28, "management"}};

struct AdviceArguments {
  std::string sel;
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

const char *nameOf(unsigned code) {
  const auto *const type =
      std::find_if(std::begin(kTypes), std::end(kTypes), [&](const SensorType &one) { return one.code == code; });
  return type == std::end(kTypes) ? "" : type->name;
}

unsigned readByte(const std::string &name, const std::string &text) {
  const auto value = parseNumber(text, 0xFF);
  if (!value) {
    throw Failure(kUsage, name + " a number from 0 to 255 or 0x00 to 0xFF, not \"" + printable(text) + "\"");
  }
  return static_cast<unsigned>(*value);
}

unsigned readType(const std::string &text) {
  std::string names;
  for (const auto &[code, name] : kTypes) {
    if (text == name) {
      return code;
    }
    names += (names.empty() ? "" : ", ") + std::string(name);
  }
  return readByte("TYPE: " + names + ", or", text);
}

std::string hexOf(unsigned value) { return format("0x%02X", value); }

std::string textOf(const Record &record) { return {record.advice, strnlen(record.advice, sizeof record.advice)}; }

std::vector<std::string> linesOf(const Record &record) {
  std::vector<std::string> lines;
  std::istringstream text(textOf(record));
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string eventText(unsigned type, unsigned code, const std::string &sensor) {
  const std::string name = nameOf(type);
  return "type " + hexOf(type) + (name.empty() ? "" : " (" + name + ")") + ", code " + hexOf(code) + ", sensor " +
         sensor;
}

Json inJson(const Record &record) {
  return object({{"type", record.sensor_type},
                 {"typeName", nameOf(record.sensor_type)},
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
    const std::string sensor = record.sensor_number == kAnySensor ? "any" : hexOf(record.sensor_number);
    std::cout << coloured(eventText(record.sensor_type, record.event_code, sensor) + ", level " +
                              std::to_string(record.level),
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

/// Returns all records of a type and code. With `number` only those of that sensor or, if it has none, of any sensor.
std::vector<Record> adviceFor(unsigned type, unsigned code, std::optional<unsigned> number) {
  std::vector<Record> records = table();
  std::erase_if(records, [&](const Record &record) { return record.sensor_type != type || record.event_code != code; });
  if (number) {
    const auto isOf = [&records](unsigned sensor) {
      return std::any_of(records.begin(), records.end(),
                         [sensor](const Record &record) { return record.sensor_number == sensor; });
    };
    const unsigned wanted = isOf(*number) ? *number : kAnySensor;
    std::erase_if(records, [wanted](const Record &record) { return record.sensor_number != wanted; });
  }
  return records;
}

void look(Session &session, const AdviceArguments &arguments) {
  const unsigned type = readType(arguments.type);
  const unsigned code = readByte("CODE:", arguments.code);
  answer(session,
         adviceFor(type, code,
                   arguments.number.empty() ? std::nullopt : std::optional(readByte("--number:", arguments.number))));
}

/// Answers for a record of the System Event Log. The firmware's own codes are whole bytes; if the table has none, the
/// low half is looked up, which is the standard's event offset.
void lookUpRecord(Session &session, const std::string &digits) {
  constexpr std::size_t kRecordSize = 16;
  constexpr std::uint8_t kSystemEvent = 2;
  const std::vector<std::uint8_t> record = fromHex(digits).value_or(std::vector<std::uint8_t>());
  if (record.size() != kRecordSize) {
    throw Failure(kUsage, "--sel: a record of 16 bytes in hexadecimal digits, not \"" + printable(digits) + "\"");
  }
  if (record[2] != kSystemEvent) {
    throw Failure(kFinding, "record type " + hexOf(record[2]) + " has no sensor: only 0x02 is a system event");
  }
  const std::uint8_t type = record[10];
  const std::uint8_t number = record[11];
  const std::uint8_t code = record[13];
  const bool isAsserted = (record[12] & 0x80U) == 0;
  session.answer(object({{"type", type}, {"number", number}, {"code", code}, {"asserted", isAsserted}}));
  std::cout << (session.json ? ""
                             : eventText(type, code, hexOf(number)) + (isAsserted ? ", asserted\n" : ", deasserted\n"));
  const std::vector<Record> own = adviceFor(type, code, number);
  answer(session, own.empty() ? adviceFor(type, code & 0x0FU, number) : own);
}

void search(Session &session, const std::vector<std::string> &words) {
  std::vector<Record> records = table();
  std::erase_if(records, [&](const Record &record) {
    const std::string text = lowered(textOf(record));
    return !std::all_of(words.begin(), words.end(),
                        [&](const std::string &word) { return text.find(lowered(word)) != std::string::npos; });
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
                            "Shows what to do about an event.\nTYPE is the sensor's type, such as fan, and CODE the "
                            "event's, in decimal, or with 0x in hexadecimal digits; TYPE may be given so, too. "
                            "Without a sensor's number the advice for all of them is shown. All three are also read "
                            "out of a record of the System Event Log.",
                            "vexora advice fan 0xA0 --number 0x10\n"
                            "  vexora advice --sel '1f 00 02 a3 48 32 66 20 00 04 04 10 6f 01 ff ff'");
  command.mayTakeCommand();
  auto arguments = std::make_shared<AdviceArguments>();
  command.option("TYPE", arguments->type, "Sensor type").typeName("");
  command.option("CODE", arguments->code, "Event code").typeName("");
  command.option("-n,--number", arguments->number, "Sensor number").typeName("N");
  command.option("--sel", arguments->sel, "A SEL record instead").typeName("\"16 BYTES\"");
  addSearches(command, session, arguments);
  command.run([command, &session, arguments] {
    if (command.hasCommand()) {
      return;
    }
    if (arguments->sel.empty() == arguments->code.empty()) {
      throw Failure(kUsage, "advice takes TYPE and CODE, or --sel, or search WORDS");
    }
    arguments->sel.empty() ? look(session, *arguments) : lookUpRecord(session, arguments->sel);
  });
}

}  // namespace vexora::tool
