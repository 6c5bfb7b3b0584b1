// SPDX-License-Identifier: Apache-2.0
//
// vexora fru: shows, checks, compares, builds and changes FRU images.
#include <algorithm>
#include <iostream>
#include <memory>

#include "fru/commands.h"
#include "fru/json.h"
#include "fru/set.h"
#include "fru/show.h"

namespace vexora::tool {
namespace {

using fru::Bytes;
using fru::Minute;
using fru::Parsed;

constexpr const char *kMake =
    R"(echo '{"size": 256, "areas": [{"area": "board", "date": "2026-01-31", "fields": {"serial-number": "B42"}}]}' |
    vexora fru build -o )";

constexpr const char *kShow =
    "Shows all that a FRU image holds: areas, their own and custom fields in every encoding, multi-records, unused "
    "space, and faults. The date of a board counts minutes since 1996 in 24 bits, which start again after 31.9 years "
    "(first on 2027-11-24): of the dates that a count means, the latest that is not in the future is shown. With "
    "--json it is a description that `vexora fru build` makes the same image from.";

constexpr const char *kVerify =
    "Checks FRU images: each checksum, each area's bounds, overlaps, the fields' ends, what bytes mean, and space "
    "that should be empty. A fault is reported with its kind, place and offset:\n"
    "  size              too short for a header, or larger than 1 MiB\n"
    "  header-version    the header's format is not known; no area is read\n"
    "  header-checksum   \n"
    "  reserved          bits are set that have to be 0\n"
    "  area-bounds       an area begins or ends beyond the image, or has no length\n"
    "  area-overlap      an area begins inside another one\n"
    "  area-version      an area's format is not known; it is not read\n"
    "  area-checksum     \n"
    "  field-end         a field runs past its area, or the end marker is missing or too early\n"
    "  field-encoding    bytes have no meaning in a field's encoding\n"
    "  record-bounds     a multi-record runs past the image\n"
    "  record-checksum   of its header, after which nothing is read, or of its data\n"
    "  record-version    a multi-record's format is not known\n"
    "  record-end        no multi-record is marked as the last\n"
    "  unused-space      not 00h after an area's fields, or neither 00h nor FFh where no area is";

constexpr const char *kDiff =
    "Shows what differs between two FRU images, under the names that `vexora fru set` takes. A difference makes the "
    "exit status 1.";

constexpr const char *kBuild =
    "Makes a FRU image from a JSON description, such as `vexora fru show --json` gives. Areas are in the order of "
    "their places. What is left out is chosen: an offset after the area before, the shortest length, English, 8-bit "
    "text, empty fields. A field is a text, or an object with its type, encoding, text or bytes; see the example. "
    "Bcd-plus texts of an odd length, and six-bit texts of 3, 7, 11 ... characters, read back with a blank at the end.";

constexpr const char *kSet =
    "Sets fields of a FRU image and writes a new one, with new checksums. Fields are named by area and name, as "
    "`vexora "
    "fru show --json` has them: board.serial-number, chassis.type, product.language, board.date (2026-01-31T23:59Z, or "
    "empty), product.custom.1; the number after the last custom field adds one. An area grows when its fields need "
    "it, and those after it move as far as they have to; the image keeps its size unless --grow is given. A field "
    "keeps its encoding where that has a place for the text; another area language keeps the texts. Images with faults "
    "that a new one would not have are refused.";

constexpr const char *kImageHelp = "FRU image; \"-\" for standard input";

struct Arguments {
  std::string input = "-";
  std::string output;
  std::vector<std::string> assignments;
  std::string encoding;
  std::string asOf;
  bool grow = false;
  std::vector<std::string> images;
  std::string older;
  std::string newer;
};

Minute today(const Arguments &arguments) {
  if (arguments.asOf.empty()) {
    return std::chrono::floor<std::chrono::minutes>(std::chrono::system_clock::now());
  }
  const auto given = fru::toMinute(arguments.asOf);
  if (!given) {
    throw Failure(kUsage, "--as-of: '" + printable(arguments.asOf) + "' is no date such as 2026-01-31");
  }
  return *given;
}

void print(const std::string &text) { std::cout << text; }

void show(Session &session, const Arguments &arguments) {
  const Parsed parsed = fru::parse(readFile(arguments.input));
  const Minute now = today(arguments);
  session.json ? session.answer(fru::toJson(parsed, now)) : print(fru::readable(parsed, now));
  session.report(fru::findingsOf(parsed.faults, arguments.input), "");
}

Json verify(Session &session, const std::string &file, const std::string &before) {
  const Parsed parsed = fru::parse(readFile(file));
  const std::size_t areas = parsed.image.areas.size();
  session.report(fru::findingsOf(parsed.faults, file, before), before + coloured("no faults", 32) + " in " +
                                                                   std::to_string(areas) + " areas, " +
                                                                   std::to_string(parsed.image.size) + " bytes");
  return object({{"file", file}, {"size", parsed.image.size}, {"areas", areas}, {"faults", parsed.faults.size()}});
}

void diff(Session &session, const Arguments &arguments) {
  const auto valuesOf = [&](const std::string &file) {
    const Parsed parsed = fru::parse(readFile(file));
    session.report(fru::findingsOf(parsed.faults, file, printable(file) + ": "), "");
    return fru::valuesOf(parsed.image, today(arguments));
  };
  const auto before = valuesOf(arguments.older);
  reportDifferences(session, before, valuesOf(arguments.newer));
}

/// Writes the image, and reports that unless the image is on standard output.
void finish(Session &session, const Arguments &arguments, const Bytes &image, const std::vector<std::string> &done) {
  writeFile(arguments.output, image);
  if (arguments.output == "-") {
    return;
  }
  if (session.json) {
    session.answer(object({{"file", arguments.output}, {"size", image.size()}, {"layout", list(done)}}));
    return;
  }
  for (const std::string &line : done) {
    print(line + "\n");
  }
  print(std::to_string(image.size()) + " bytes written to " + printable(arguments.output) + "\n");
}

void build(Session &session, const Arguments &arguments) {
  const Json description = Json::parse(readText(arguments.input), arguments.input);
  finish(session, arguments, fru::serialise(fru::fromJson(description, today(arguments))), {});
}

void set(Session &session, const Arguments &arguments) {
  Parsed parsed = fru::parse(readFile(arguments.input));
  if (!parsed.exact) {
    session.report(fru::findingsOf(parsed.faults, arguments.input), "");
    throw Failure(kFinding,
                  "the image is damaged, and stays as it is. To repair it, describe it by `vexora fru show "
                  "--json`, correct that and build anew.");
  }
  const auto encoding = fru::encodingNamed(arguments.encoding);
  for (const std::string &assignment : arguments.assignments) {
    fru::assign(parsed.image, assignment, encoding, today(arguments));
  }
  const auto done = fru::layOut(parsed.image, arguments.grow);
  finish(session, arguments, fru::serialise(parsed.image), done);
}

void addOutput(Command command, Arguments &arguments) {
  command.option("-o,--output", arguments.output, "File to make; \"-\" for standard output")
      .typeName("FILE")
      .required();
}

void addAsOf(Command command, Arguments &arguments) {
  command.option("--as-of", arguments.asOf, "Takes this for today, where the clock is not set").typeName("DATE");
}

}  // namespace

void addFru(Command app, Session &session) {
  auto arguments = std::make_shared<Arguments>();
  const std::string make = kMake;
  Command group = app.add("fru", "Shows, checks and makes FRU inventory images.", make + "- | vexora fru show -");
  group.needsCommand();

  Command showing = group.add("show", kShow, make + "- | vexora fru show -");
  showing.option("IMAGE", arguments->input, kImageHelp).required();
  addAsOf(showing, *arguments);
  showing.run([&session, arguments] { show(session, *arguments); });

  Command verifying = group.add("verify", kVerify, make + "- | vexora fru verify -");
  verifying.option("IMAGE", arguments->images, "FRU images; \"-\" for standard input").required();
  verifying.run([&session, arguments] {
    forEachFile(session, arguments->images,
                [&](const std::string &file, const std::string &before) { return verify(session, file, before); });
  });

  Command comparing = group.add("diff", kDiff,
                                make +
                                    "/tmp/old.fru && vexora fru set /tmp/old.fru board.serial-number=B43 -o - |\n"
                                    "    vexora fru diff /tmp/old.fru -");
  comparing.option("OLD", arguments->older, kImageHelp).required();
  comparing.option("NEW", arguments->newer, kImageHelp).required();
  addAsOf(comparing, *arguments);
  comparing.run([&session, arguments] { diff(session, *arguments); });

  Command building = group.add("build", kBuild, make + "board.fru");
  building.option("DESCRIPTION", arguments->input, "JSON file; standard input when left out");
  addOutput(building, *arguments);
  addAsOf(building, *arguments);
  building.run([&session, arguments] { build(session, *arguments); });

  Command setting = group.add("set", kSet,
                              make +
                                  "- | vexora fru set - board.serial-number=B43 board.custom.1=blue -o - |\n"
                                  "    vexora fru show -");
  setting.option("IMAGE", arguments->input, kImageHelp).required();
  setting.option("FIELD=VALUE", arguments->assignments, "Fields and their new values").required();
  setting.option("--encoding", arguments->encoding, "Encoding of the new values; binary is given in hexadecimal")
      .isOneOf({"binary", "bcd-plus", "six-bit", "latin-1", "utf-16"});
  setting.flag("--grow", arguments->grow, "Lets the image become longer");
  addOutput(setting, *arguments);
  addAsOf(setting, *arguments);
  setting.run([&session, arguments] { set(session, *arguments); });
}

}  // namespace vexora::tool
