// SPDX-License-Identifier: Apache-2.0
//
// `vexora history` as a person at the bench uses it: on a board's own data file, and on a damaged one.

#include "history/board.h"
#include "tools/tool.h"

namespace vexora::test {
namespace {

Answer history(const std::string &arguments) { return shell(VEXORA_TOOL " history " + arguments); }

std::size_t count(const std::string &text, const std::string &pattern) {
  const std::regex expression(pattern);
  return static_cast<std::size_t>(std::distance(std::sregex_iterator(text.begin(), text.end(), expression), {}));
}

Record recordOf(std::time_t moment, std::uint16_t power, std::uint16_t inlet) {
  const auto figures = [](std::uint16_t average, int spread) {
    return vexora_history_statistics{average, static_cast<std::uint16_t>(average + spread),
                                     static_cast<std::uint16_t>(average - spread)};
  };
  Record record = recordAt(moment);
  record.sensor_7000 = figures(power, 30);
  record.sensor_3009 = figures(inlet, 2);
  return record;
}

// Two days from noon of 29 February 2024 on, without the five hours from 22:00.
Image twoDays() {
  Image image;
  for (int hour = 0; hour < 48; ++hour) {
    if (hour < 10 || hour >= 15) {
      image.push(recordOf(kNoon + hour * kHour, static_cast<std::uint16_t>(300 + hour),
                          static_cast<std::uint16_t>(24 + hour % 2)));
    }
  }
  return image;
}

class HistoryTool : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    write(kDataFile, twoDays().bytes());
  }
};

TEST_F(HistoryTool, ListsAndSumsUpARange) {
  const Answer table = history("show --from '2024-02-29 20:00' --to 2024-03-01T05:00:00Z --utc");
  EXPECT_EQ(table.status, 0) << table.text;
  EXPECT_EQ(count(table.text,
                  "\n2024-02-29 20:00:00      308     278     338       24      22      26\n.* 21:00:00 .*\n"
                  "   5 hours without a record\n2024-03-01 03:00:00 .*\n.* 04:00:00 .*\n4 records\n"),
            1U)
      << table.text;

  // (0 to 47 without 10 to 14) / 43 = 24.8
  EXPECT_EQ(history("stats").text,
            "records  43, 2024-02-29 12:00 to 2024-03-02 11:00, the board's hour\n"
            "gaps     1, together 5 hours without a record\n\n"
            "sensor     average  minimum                       maximum\n"
            "0x7000       324.8  270     2024-02-29 12:00      377     2024-03-02 11:00\n"
            "0x3009        24.5  22      2024-02-29 12:00      27      2024-02-29 13:00\n");
  EXPECT_EQ(history("show --csv --utc --from 0h").text,
            "time,date,0x7000 average,0x7000 minimum,0x7000 maximum,0x3009 average,0x3009 minimum,0x3009 maximum\n"
            "1709377200,2024-03-02T11:00:00Z,347,317,377,25,23,27\n");
  EXPECT_EQ(history("show --from 2024-02-30").status, 2);
  EXPECT_EQ(history("show --from 2024-03-02 --to 2024-03-01").status, 2);
}

TEST_F(HistoryTool, ReportsDamageWithItsPlaceAndTouchesNothing) {
  const std::pair<std::function<void(Image &)>, std::string> damages[] = {
      {[](Image &image) { image.head = 9000; }, "header: offset 0: head is 9000, can be at most 8759"},
      {[](Image &image) { image.tail = 8; }, "ring: offset 4: tail is 8; .*newest is in slot 42"},
      {[](Image &image) { image.slots[3].time += 1; }, "record: record 3, slot 3, offset 104.*two times"},
      {[](Image &image) { image.slots[4].month = 13; }, "record: record 4, .*no such date: 2024-13-29"},
      {[](Image &image) { image.slots[4].day = 3; }, "record: record 4, .*in no time zone"},
      {[](Image &image) { image.slots[5] = {}; }, "record: record 5, .*an empty slot"},
      {[](Image &image) { image.slots[6].sensor_3009.minimum = 99; }, "record: record 6, .*0x3009 out of"},
      {[](Image &image) { std::swap(image.slots[7], image.slots[8]); }, "order: record 8, .*back by 1 hour"},
      {[](Image &image) { image.push(recordOf(1'800'000'000, 300, 24)); }, "clock: record 43, .*ward by"},
      {[](Image &image) { image.slots[42].hour = 3; }, "clock: record 42, .*moved 8 hours back"},
      {[](Image &) {}, "gap: record 10, slot 10, offset 300, .*: 5 hours without a record"}};
  for (const auto &[damage, reported] : damages) {
    SCOPED_TRACE(reported);
    Image image = twoDays();
    damage(image);
    write(kDataFile, image.bytes());
    const Answer answer = history("verify --utc");
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(count("\n" + answer.text, "\n" + reported), 1U) << answer.text;
    EXPECT_EQ(read(kDataFile), image.bytes());
  }
  write(kDataFile, twoDays().bytes().substr(0, 1000));
  EXPECT_EQ(count(history("verify").text, "^size: offset 1000: the file ends after 1000 of 245300 bytes"), 1U);
  EXPECT_EQ(history("stats").status, 1);
}

TEST_F(HistoryTool, ListsSumsAndDrawsWithoutDamageAndWithEveryBreak) {
  struct Case {
    Image image;
    const char *range;
    int status;
    const char *shown;
    const char *summed;
    const char *drawn;
  };
  Image wild = twoDays();
  wild.slots[20].sensor_7000.average = 60000;
  const Image back = twoDays().push(recordOf(kNoon, 300, 24));
  const Image one = Image().push(recordOf(kNoon, 300, 24));
  const Image from1970 = Image().push(recordOf(kHour, 300, 24)).push(one.slots[0]);
  const Case cases[] = {
      {wild, "", 1, "   1 damaged record left out", "42,.*\ngaps +1, [^#]*324.8[^#]*\nrecord: record 20", " x damaged"},
      {from1970, "", 0, "   the clock was set forward by 19782 days", "none\nclock [^\n]*1970-01-01 01:00", "/ the cl"},
      {back, "", 0, "11:00 [^\n]*\n   the clock was set back by 1 day", "\nclock [^\n]*back by 1 day", "/ the clock"},
      {one, "--from 2024-02-29", 0, "\n   12 hours without a record\n2024", "gaps +1, together 12 h", "\\. no records"},
      {one, "--to @1709218800", 0, "\n   2 hours without a record\n1 r", "gaps +1, together 2 h", "\\. no records"},
      {one, "--from @1709206200 --to @1709211600", 0, "330 .*26\n1 record", "gaps +none", "maximum\n\nSensor 0x7000"}};
  for (const Case &expected : cases) {
    SCOPED_TRACE(expected.shown);
    write(kDataFile, expected.image.bytes());
    for (const auto &[command, text] : {std::pair("show ", expected.shown), std::pair("stats ", expected.summed),
                                        std::pair("plot ", expected.drawn)}) {
      const Answer answer = history(command + std::string(expected.range));
      EXPECT_EQ(answer.status, expected.status);
      EXPECT_EQ(count(answer.text, text), 1U) << answer.text;
    }
  }
}

TEST_F(HistoryTool, ShowsTheBoardsHourOrUtcOrThisMachines) {
  Record record = recordOf(kNoon + 5, 65531, 24);
  record.hour = 17;
  write("/tmp/board" + kDataFile, Image().push(record).bytes());
  for (const auto &[option, text, json] :
       {std::tuple("--signed", "the board's hour .*\n2024-02-29 17:00 +-5 +-35 +25 ",
                   R"("0x7000": ?\{\s*"average": ?-5,\s*"minimum": ?-35,\s*"maximum": ?25\s)"),
        std::tuple("--from '2024-02-29 17:00'", "\n1 record\n", R"("board": ?"2024-02-29T17:00")"),
        std::tuple("--utc", "UTC .*\n2024-02-29 12:00:05 ", R"("time": ?1709208005,\s*"utc": ?"2024-02-29T12:00:05Z")"),
        std::tuple("--local", "machine's time .*\n2024-02-29 09:00:05", R"("local": ?"2024-02-29T09:00:05-03:00)")}) {
    const std::string command = "TZ=XXX3 " VEXORA_TOOL " --root /tmp/board history show " + std::string(option);
    EXPECT_EQ(count(shell(command).text, text), 1U) << shell(command).text;
    EXPECT_EQ(count(shell(command + " --json").text, json), 1U);
  }
}

TEST_F(HistoryTool, SalvagesAndRepairsWhatIsLeft) {
  Image head = twoDays();
  head.head = 9000;
  Image full;
  for (unsigned hour = 0; hour < kSlots + 5; ++hour) {
    full.push(recordOf(kNoon + static_cast<std::time_t>(hour) * kHour, 300, 24));
  }
  full.capacity = 1;
  Image worn = twoDays();
  worn.slots[20].time = 1;
  for (const auto &[bytes, records, verdict] :
       {std::tuple(twoDays().bytes().substr(0, 1000), "35", "1 finding"), std::tuple(head.bytes(), "43", "1 finding"),
        std::tuple(full.bytes(), "8760", "nothing wrong"), std::tuple(worn.bytes(), "42", "2 findings")}) {
    SCOPED_TRACE(records);
    write("/tmp/cut.dat", bytes);
    EXPECT_EQ(count(history("stats --salvage /tmp/cut.dat").text, "records +" + std::string(records) + ",.*\ngaps"),
              1U);
    EXPECT_EQ(history("repair /tmp/cut.dat -o /tmp/new.dat").status, 0);
    const Answer answer = history("verify /tmp/new.dat " + kDataFile);
    EXPECT_EQ(count(answer.text, "/tmp/new.dat: " + std::string(records) + " records, " + verdict + "\n"), 1U)
        << answer.text;
    EXPECT_EQ(count(answer.text, kDataFile + ": 43 records, 1 finding"), 1U);
  }
}

#if VEXORA_TOOLS_PLOT
TEST_F(HistoryTool, DrawsBothSensorsWithTheirGap) {
  const Answer answer = history("plot --utc --label '0x3009=Inlet:<°C>' --svg /tmp/history.svg --png /tmp/history.png");
  EXPECT_EQ(answer.status, 0) << answer.text;
  const std::string svg = read("/tmp/history.svg");
  // In each panel the average is one line before the gap and one after it; the band's outline goes there and back.
  EXPECT_EQ(count(svg, "stroke-width:1.5;[^/]*stroke:rgb\\(10%,35%,70%"), 2U * 2);
  EXPECT_EQ(count(svg, "fill:rgb\\(10%,35%,70%\\);fill-opacity:0.3;\" d=\"M "), 2U * 2 + 1);
  // The inlet goes up and down each hour: every record shows as a point, 10 before the gap and 33 after.
  for (const char *turns : {"{9}\"", "{32}\""}) {
    EXPECT_GE(count(svg, std::string("stroke-width:1.5;[^/]*10%,35%,70%[^/]* d=\"M [^L\"]*(L [^L\"]*)") + turns), 1U);
  }
  EXPECT_EQ(count(svg, "fill:rgb\\(95%,93%,80%\\)"), 2U + 1);  // one in each panel, one in the legend
  for (const char *label : {"Sensor 0x7000", "Sensor 0x3009: Inlet, &lt;°C>", "hourly average", "minimum to maximum",
                            "no records", "2024-02-29", "2024-03-01", "18:00", "360"}) {
    EXPECT_GE(count(svg, std::string("<text [^>]*>") + label + "</text>"), 1U) << label;
  }
  const std::string png = read("/tmp/history.png");
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\x09\x60\0\0\x06\x2c", 8));  // 2400 by 1580
}
#endif

TEST_F(HistoryTool, ChartsInText) {
  const Answer chart = shell("TERM=xterm NO_COLOR=1 script -qec '" VEXORA_TOOL " history plot --utc' /dev/null");
  EXPECT_EQ(chart.status, 0);
  EXPECT_EQ(count(chart.text, " +\\|[^\n]*\\.\\.\\.[^\n]*\n"), 2U) << chart.text;  // the gap, at the bottom of each
  EXPECT_EQ(count(chart.text, "03-01 00:00 "), 2U);
  EXPECT_EQ(count(history("plot --sensor 0x7000").text, " \\+[-+]{70}\n"), 1U);
  // Two histories, not on a terminal: no colours, and the width of COLUMNS.
  write("/tmp/other.dat", twoDays().bytes());
  const Answer both =
      shell("LC_ALL=C COLUMNS=50 " VEXORA_TOOL " history plot --to 2024-03-01 /tmp/other.dat " + kDataFile);
  EXPECT_EQ(count(both.text, " \\+[-+]{40}\n"), 2U) << both.text;
  EXPECT_EQ(count(both.text, "\\* /tmp/other.dat   o /extlog/.*dat   \\| minimum to maximum\n"), 1U);
  EXPECT_EQ(count(both.text, "\033"), 0U);
}

}  // namespace
}  // namespace vexora::test
