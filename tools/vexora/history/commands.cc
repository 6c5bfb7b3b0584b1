// SPDX-License-Identifier: Apache-2.0
//
// vexora history: reads the recorder's data file without the recorder.

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "history/chart.h"
#include "history/commands.h"
#include "history/file.h"
#include "history/plot.h"
#include "history/report.h"
#include "history/selection.h"
#include "history/time.h"

namespace vexora::tool {
namespace {

using namespace vexora::tool::history;

constexpr std::int64_t kMaxColumns = 1000;
constexpr int kMaxFiles = 1000;

void print(const std::string &text) { std::cout << text; }

std::shared_ptr<Range> addFiles(Command command, int most) {
  auto range = std::make_shared<Range>();
  command.option("FILE", range->files, "Read this data file instead of the board's " + std::string(kDataFile))
      .typeName("")
      .takes(0, most);
  const Option other = command.flag("--utc", range->utc, "Read and show times in UTC instead of the board's hour");
  command.flag("--local", range->local, "In this machine's time zone").excludes(other);
  return range;
}

std::shared_ptr<Range> addRange(Command command, int mostFiles) {
  auto range = addFiles(command, mostFiles);
  command.option("--from", range->from, "First moment: " + std::string(kMomentForms)).typeName("MOMENT");
  command.option("--to", range->to, "First moment that is left out, in the same forms").typeName("MOMENT");
  command.flag("--signed", range->reading.hasSign,
               "Figures from 32768 on are negative ones: a sensor that goes below 0");
  command.flag("--salvage", range->reading.salvage, "Read the whole records of a cut or damaged file");
  return range;
}

/// Reports damaged records. Throws if `isForeign`: standard output is then for another program.
void report(Session &session, const Selection &selection, bool isForeign = false) {
  if (isForeign && !session.json && !selection.leftOut.empty()) {
    throw Failure(kFinding, printable(selection.path) + ": damaged records are left out (see: vexora history verify)");
  }
  session.report(findingsOf(selection.leftOut, selection.clock), "");
}

/// Makes a command print a range of one history: `json` and `text` make its answer.
void addReader(Command command, Session &session, Json (*json)(const Selection &),
               std::string (*text)(const Selection &), const std::shared_ptr<bool> &csv) {
  command.run([&session, json, text, csv, range = addRange(command, 1)] {
    const Selection selection = select(session, *range, range->files.front());
    session.json ? session.answer(json(selection)) : print(*csv ? csvOf(selection) : text(selection));
    report(session, selection, *csv);
  });
}

void addShow(Command history, Session &session) {
  Command command = history.add("show",
                                "Lists the hourly records of a time range, and where some are missing; with --csv for "
                                "other programs, as comma-separated values.",
                                "vexora history show --from 24h --utc");
  const auto csv = std::make_shared<bool>();
  command.flag("--csv", *csv, "Comma-separated values, with a line of names first");
  addReader(command, session, jsonOf, tableOf, csv);
}

void addStats(Command history, Session &session) {
  addReader(history.add("stats",
                        "Sums a time range up: each sensor's minimum and maximum with their hours, the average of its "
                        "hourly averages, the gaps and the steps of the board's clock.",
                        "vexora history stats --from 7d"),
            session, statisticsJsonOf, statisticsOf, std::make_shared<bool>());
}

struct Plot {
  std::vector<std::string> labels;
  std::string sensor;
  unsigned width = 1200;
  unsigned height = 790;
  std::string svg;
  std::string png;
};

unsigned columnsOfText() {
  const char *columns = std::getenv("COLUMNS");
  const std::optional<std::int64_t> width = parseNumber(columns == nullptr ? "" : columns, kMaxColumns);
  return width ? static_cast<unsigned>(*width) : terminalWidth();
}

void plot(Session &session, const Range &range, const Plot &options) {
  const std::vector<Heading> headings = headingsOf(options.labels, options.sensor);
  std::vector<Selection> selections;
  for (const std::string &file : range.files) {
    selections.push_back(select(session, range, file));
    if (selections.back().records.empty()) {
      throw Failure(kFinding, printable(selections.back().path) + ": no records in this time range: nothing to draw");
    }
  }
  Json drawn = array();
#if VEXORA_TOOLS_PLOT
  for (const auto &[path, kind] : {std::pair(options.svg, Picture::kSvg), std::pair(options.png, Picture::kPng)}) {
    if (!path.empty()) {
      writeFile(path, drawPicture(kind, selections, headings, {options.width, options.height}));
      drawn.append(path);
    }
  }
#endif
  session.answer(object({{"histories", list(selections, statisticsJsonOf)}, {"pictures", drawn}}));
  if (!session.json && options.svg.empty() && options.png.empty()) {
    print(drawText(selections, headings, columnsOfText()));
  }
  for (const Selection &selection : selections) {
    report(session, selection, options.svg == "-" || options.png == "-");
  }
}

void addPlot(Command history, Session &session) {
  Command command =
      history.add("plot",
                  "Draws the sensors over a time range: their hourly averages as a line, minimum to "
                  "maximum as a band, the gaps, and where the board's clock was set. Two histories come "
                  "into one chart, where a gap breaks the line. Without a picture's name the chart appears as text.",
#if VEXORA_TOOLS_PLOT
                  "vexora history plot --from 7d --svg history.svg --png history.png");
#else
                  "vexora history plot --from 7d");
#endif
  auto options = std::make_shared<Plot>();
  command.option("--sensor", options->sensor, "Only this one").typeName("SENSOR").isOneOf({"0x7000", "0x3009"});
  command.option("--label", options->labels, "A sensor's name and unit: 0x7000=\"Input power:W\"")
      .typeName("SENSOR=NAME:UNIT")
      .repeats();
#if VEXORA_TOOLS_PLOT
  command.option("--svg", options->svg, "Write a scalable picture").typeName("FILE");
  command.option("--png", options->png, "Write a picture of two dots for each point of its size").typeName("FILE");
  command.option("--width", options->width, "The picture's width in points; 1200 without it").isBetween(600, 4000);
  command.option("--height", options->height, "Its height; 790 without it").isBetween(300, 4000);
#endif
  command.run([&session, options, range = addRange(command, 2)] { plot(session, *range, *options); });
}

void addVerify(Command history, Session &session) {
  Command command = history.add(
      "verify",
      "Looks for damage in data files and changes nothing: the header (header, size, ring), records out of order "
      "(order), missing hours (gap), jumps of the board's clock (clock) and damaged records (record), each with its "
      "place in the file. Exit status 1 says that there was something.",
      "vexora history verify --utc");
  command.run([&session, range = addFiles(command, kMaxFiles)] {
    Json files = array();
    for (const std::string &name : range->files) {
      const std::string path = pathOf(session, name);
      const DataFile file = parseDataFile(readFile(path));
      const std::vector<Finding> findings = findingsOf(
          verify(file, std::time(nullptr)), clockOf(soundRecords(file), *range), range->files.size() > 1 ? path : "");
      files.append(summaryJsonOf(file, path));
      session.report(findings, "");
      if (!session.json) {
        print(printable(path) + ": " +
              (file.refusals.empty() ? counted(file.records.size(), "record")
                                     : "a recorder would put an empty history in its place") +
              ", " + (findings.empty() ? "nothing wrong" : counted(findings.size(), "finding")) + "\n");
      }
    }
    session.answer(object({{"files", files}}));
  });
}

void addRepair(Command history, Session &session) {
  struct Repair {
    std::string file;
    std::string output;
  };
  Command command = history.add("repair",
                                "Writes a sound data file of the whole records of a cut or damaged one, in the order "
                                "of their times. What is damaged is left out: see 'verify'.",
                                "vexora history repair /extlog/syslog/history_data.dat -o repaired.dat");
  auto options = std::make_shared<Repair>();
  command.option("FILE", options->file, "The damaged data file").required().typeName("");
  command.option("-o,--output", options->output, "The file to write").required().typeName("NEW");
  command.run([&session, options] {
    const std::vector<std::uint8_t> bytes = readFile(options->file);
    const DataFile file = parseDataFile(bytes, {.salvage = true});
    std::vector<Record> records = soundRecords(file);
    if (records.empty()) {
      throw Failure(kFinding, printable(options->file) + ": no whole record is left");
    }
    std::stable_sort(records.begin(), records.end(), [](const Record &a, const Record &b) { return a.time < b.time; });
    writeFile(options->output, dataFileOf(records, bytes));
    const std::size_t leftOut = file.records.size() - records.size();
    session.answer(object({{"file", options->output}, {"records", records.size()}, {"leftOut", leftOut}}));
    if (!session.json && options->output != "-") {
      print(printable(options->output) + ": " + counted(records.size(), "record") + ", " + std::to_string(leftOut) +
            " left out\n");
    }
  });
}

}  // namespace

void addHistory(Command app, Session &session) {
  Command history = app.add("history",
                            "The hourly records of the sensors 0x7000 and 0x3009: lists, statistics, charts, "
                            "damage and its repair.",
                            "vexora history stats --from 7d");
  history.needsCommand();
  for (const auto add : {addShow, addStats, addPlot, addVerify, addRepair}) {
    add(history, session);
  }
}

}  // namespace vexora::tool
