// SPDX-License-Identifier: Apache-2.0
//
// vexora history: the recorder's data file, read without the recorder.

#include <algorithm>
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
#include "history/record.h"
#include "history/report.h"
#include "history/time.h"

namespace vexora::tool {
namespace {

using namespace vexora::tool::history;

/// What the commands that read a range take.
struct Range {
  std::string file;
  std::string from;
  std::string to;
  bool utc = false;
  bool hasSign = false;
};

/// The records of a range, oldest first, with the range's ends where they were given.
struct Selection {
  std::vector<Record> records;
  std::optional<std::int64_t> from;
  std::optional<std::int64_t> to;
};

std::string pathOf(const Session &session, const std::string &file) {
  return file.empty() ? session.path(kDataFile) : file;
}

void print(const std::string &text) { std::cout << text; }

Selection select(const Session &session, const Range &range) {
  const std::string path = pathOf(session, range.file);
  DataFile file = parseDataFile(readFile(path), range.hasSign ? Sign::kTwosComplement : Sign::kNone);
  if (!file.refusals.empty()) {
    throw Failure(kFinding, printable(path) + ": " + file.refusals.front().text + " (see: vexora history verify)");
  }
  const std::int64_t newest = file.records.empty() ? std::time(nullptr) : file.records.back().time;
  Selection selection{std::move(file.records), {}, {}};
  if (!range.from.empty()) {
    selection.from = parseMoment(range.from, range.utc, newest);
  }
  if (!range.to.empty()) {
    selection.to = parseMoment(range.to, range.utc, newest);
  }
  if (selection.from && selection.to && *selection.from >= *selection.to) {
    throw Failure(kUsage, "--from has to be before --to");
  }
  std::erase_if(selection.records, [&](const Record &record) {
    return (selection.from && record.time < *selection.from) || (selection.to && record.time >= *selection.to);
  });
  return selection;
}

void addFileOption(Command command, std::string &file) {
  command.option("--file", file, "Read this data file instead of the board's " + std::string(kDataFile))
      .typeName("FILE");
}

std::shared_ptr<Range> addRange(Command command) {
  auto range = std::make_shared<Range>();
  command.option("--from", range->from, "First moment: " + std::string(kMomentForms)).typeName("MOMENT");
  command.option("--to", range->to, "First moment that is left out, in the same forms").typeName("MOMENT");
  command.flag("--utc", range->utc, "Read and show times in UTC instead of this machine's time zone");
  command.flag("--signed", range->hasSign, "Figures from 32768 on are negative ones: a sensor that goes below 0");
  addFileOption(command, range->file);
  return range;
}

void addShow(Command history, Session &session) {
  Command command = history.add("show", "Lists the hourly records of a time range, and where some are missing.",
                                "vexora history show --from 24h --utc");
  command.run([&session, range = addRange(command)] {
    const Selection selection = select(session, *range);
    session.json ? session.answer(jsonOf(selection.records)) : print(tableOf(selection.records, range->utc));
  });
}

void addStats(Command history, Session &session) {
  Command command = history.add("stats",
                                "Sums a time range up: each sensor's minimum and maximum with their hours, the "
                                "average of its hourly averages, and the gaps.",
                                "vexora history stats --from 7d");
  command.run([&session, range = addRange(command)] {
    const Selection selection = select(session, *range);
    session.json ? session.answer(statisticsJsonOf(selection.records))
                 : print(statisticsOf(selection.records, range->utc));
  });
}

void addExport(Command history, Session &session) {
  struct Export {
    bool csv = false;
    std::string output = "-";
  };
  Command command = history.add("export",
                                "Writes the records of a time range for other programs, as comma-separated values "
                                "(--csv); 'show' has them as JSON.",
                                "vexora history export --csv --utc history.csv");
  auto options = std::make_shared<Export>();
  command.flag("--csv", options->csv, "Comma-separated values, with a line of names first").required();
  command.option("OUTPUT", options->output, "The file to write; standard output without it").typeName("FILE");
  command.run([&session, options, range = addRange(command)] {
    writeFile(options->output, csvOf(select(session, *range).records, range->utc));
  });
}

struct Plot {
  std::string svg;
  std::string png;
};

void plot(Session &session, const Range &range, const Plot &files) {
  Selection selection = select(session, range);
  std::vector<Record> &records = selection.records;
  if (records.empty()) {
    throw Failure(kFinding, "no records in this time range: nothing to draw");
  }
  // Those of a damaged file need not be in order.
  std::stable_sort(records.begin(), records.end(), [](const Record &a, const Record &b) { return a.time < b.time; });
  const std::int64_t from = selection.from.value_or(records.front().time);
  const std::int64_t to = selection.to.value_or(records.back().time);
  Json drawn = array();
#if VEXORA_TOOLS_PLOT
  for (const auto &[path, kind] : {std::pair(files.svg, Picture::kSvg), std::pair(files.png, Picture::kPng)}) {
    if (!path.empty()) {
      writeFile(path, drawPicture(kind, records, from, to, range.utc));
      drawn.append(path);
    }
  }
#endif
  const bool isDrawn = !files.svg.empty() || !files.png.empty();
  if (session.json) {
    session.answer(object({{"records", records.size()}, {"from", from}, {"to", to}, {"files", drawn}}));
  } else if (!isDrawn && isTerminal()) {
    print(drawText(records, from, to, range.utc, terminalWidth()));
  } else if (!isDrawn) {
    throw Failure(kUsage, "a chart in text needs a terminal; --svg FILE and --png FILE draw pictures");
  }
}

void addPlot(Command history, Session &session) {
  Command command = history.add("plot",
                                "Draws both sensors over a time range: their hourly averages as a line, minimum to "
                                "maximum as a band, and the gaps. Without a file the chart appears in the terminal.",
#if VEXORA_TOOLS_PLOT
                                "vexora history plot --from 7d --svg history.svg --png history.png");
#else
                                "vexora history plot --from 7d");
#endif
  auto files = std::make_shared<Plot>();
#if VEXORA_TOOLS_PLOT
  command.option("--svg", files->svg, "Write a scalable picture").typeName("FILE");
  command.option("--png", files->png, "Write a picture of 2400 by 1580 points").typeName("FILE");
#endif
  command.run([&session, files, range = addRange(command)] { plot(session, *range, *files); });
}

void addVerify(Command history, Session &session) {
  struct Verify {
    std::string file;
    bool utc = false;
  };
  Command command = history.add(
      "verify",
      "Looks for damage in the data file and changes nothing: the header (header, size, ring), records out of order "
      "(order), missing hours (gap), jumps of the board's clock (clock) and damaged records (record), each with its "
      "place in the file. Exit status 1 tells that there was something.",
      "vexora history verify --utc");
  auto options = std::make_shared<Verify>();
  addFileOption(command, options->file);
  command.flag("--utc", options->utc, "Show times in UTC instead of this machine's time zone");
  command.run([&session, options] {
    const std::string path = pathOf(session, options->file);
    const DataFile file = parseDataFile(readFile(path), Sign::kNone);
    const std::vector<Finding> findings = findingsOf(verify(file, std::time(nullptr)), options->utc);
    session.answer(summaryJsonOf(file, path));
    session.report(findings, "");
    if (!session.json) {
      print(printable(path) + ": " +
            (file.refusals.empty() ? std::to_string(file.records.size()) + " records"
                                   : "a recorder would put an empty history in its place") +
            ", " + (findings.empty() ? "nothing wrong" : std::to_string(findings.size()) + " findings") + "\n");
    }
  });
}

void addRecord(Command history, Session &session) {
  Command command = history.add(
      "record",
      "Samples both sensors as the board's recorder does, and stores a record when the hour changes: the first sample "
      "makes one at once. Ends after --count samples or by Ctrl-C. Not to be run beside the board's own recorder, "
      "which "
      "would overwrite the same file. A file that the recorder would give up, damaged or ahead of the clock, stops it "
      "before the first sample.",
      "vexora history record --every 2 --count 3");
  auto options = std::make_shared<RecordOptions>();
  command.option("--every", options->every, "Seconds from one sample to the next")
      .required()
      .typeName("SECONDS")
      .isBetween(1U, 86400U);
  command.option("--count", options->count, "Number of samples").typeName("N").isBetween(1U, 1000000000U);
  command.flag("--replace", options->replace, "Give up a damaged file, or one ahead of the clock");
  command.run([&session, options] { record(session, *options); });
}

}  // namespace

void addHistory(Command app, Session &session) {
  Command history = app.add("history",
                            "The hourly records of the sensors 0x7000 and 0x3009: lists, statistics, charts, "
                            "damage, and recording.",
                            "vexora history stats --from 7d");
  history.needsCommand();
  for (const auto add : {addShow, addStats, addPlot, addExport, addVerify, addRecord}) {
    add(history, session);
  }
}

}  // namespace vexora::tool
