// SPDX-License-Identifier: Apache-2.0
//
// `vexora history` as a person at the bench uses it: on a board's own data file, on a damaged one, and as a recorder.

#include <regex>

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
    makeFolder("/extlog/syslog");
    write(kDataFile, twoDays().bytes());
  }
};

TEST_F(HistoryTool, ListsSumsUpAndExportsARange) {
  const Answer table = history("show --from '2024-02-29 20:00' --to 2024-03-01T05:00:00Z --utc");
  EXPECT_EQ(table.status, 0) << table.text;
  EXPECT_EQ(count(table.text, "\n2024-02-29 20:00:00      308     278     338       24      22      26"), 1U);
  EXPECT_EQ(count(table.text, "\n2024-02-29 21:00:00.*\n   5 hours without a record\n2024-03-01 03:00:00"), 1U);
  EXPECT_EQ(count(table.text, "\n4 records\n"), 1U) << table.text;

  const Answer sums = history("stats");
  EXPECT_EQ(count(sums.text, "records  43, 2024-02-29 12:00:00 to 2024-03-02 11:00:00"), 1U) << sums.text;
  EXPECT_EQ(count(sums.text, "gaps     1, together 5 hours"), 1U);
  // (0 to 47 without 10 to 14) / 43 = 24.8
  EXPECT_EQ(count(sums.text, "0x7000 +324.8  270 +2024-02-29 12:00:00   377 +2024-03-02 11:00:00"), 1U) << sums.text;

  EXPECT_EQ(history("export --csv --utc --from 0h /tmp/newest.csv").status, 0);
  EXPECT_EQ(read("/tmp/newest.csv"),
            "time,date,0x7000 average,0x7000 minimum,0x7000 maximum,0x3009 average,0x3009 minimum,0x3009 maximum\n"
            "1709377200,2024-03-02T11:00:00Z,347,317,377,25,23,27\n");
  const Answer json = history("show --json --from @1709377200");
  EXPECT_EQ(count(json.text, "\"time\": ?1709377200"), 1U) << json.text;
  EXPECT_EQ(count(json.text, "\"0x7000\": ?\\{\\s*\"average\": ?347,\\s*\"minimum\": ?317,\\s*\"maximum\": ?377"), 1U);

  EXPECT_EQ(history("export").status, 2);
  EXPECT_EQ(history("show --from 2024-02-30").status, 2);
  EXPECT_EQ(history("show --from 2024-03-02 --to 2024-03-01").status, 2);
  EXPECT_EQ(history("show --file /tmp/nowhere").status, 3);
}

TEST_F(HistoryTool, LooksIntoAnExtractedFileSystem) {
  write("/tmp/board/extlog/syslog/history_data.dat", Image().push(recordOf(kNoon, 65531, 24)).bytes());
  const Answer table = history("--root /tmp/board show --signed");
  EXPECT_EQ(count(table.text, "2024-02-29 12:00:00       -5 +-35      25"), 1U) << table.text;
  EXPECT_EQ(count(table.text, "\n1 record\n"), 1U);
}

TEST_F(HistoryTool, TellsDamageWithItsPlaceAndTouchesNothing) {
  struct Damage {
    const char *what;
    std::function<void(Image &)> make;
    const char *told;
  };
  const Damage damages[] = {
      {"head", [](Image &image) { image.head = 9000; }, "header: offset 0: head is 9000, can be at most 8759"},
      {"tail", [](Image &image) { image.tail = 8; }, "ring: offset 4: tail is 8; .*newest is in slot 42"},
      {"two times", [](Image &image) { image.slots[3].time += 1; }, "record: record 3, slot 3, offset 104.*two times"},
      {"no date", [](Image &image) { image.slots[4].month = 13; }, "record: record 4, .*no such date: 2024-13-29"},
      {"another day", [](Image &image) { image.slots[4].day = 3; }, "record: record 4, .*in no time zone"},
      {"never written", [](Image &image) { image.slots[5] = {}; }, "record: record 5, .*an empty slot"},
      {"figures", [](Image &image) { image.slots[6].sensor_3009.minimum = 99; }, "record: record 6, .*0x3009 out of"},
      {"swapped", [](Image &image) { std::swap(image.slots[7], image.slots[8]); }, "order: record 8, .*1 hour earlier"},
      {"set ahead", [](Image &image) { image.push(recordOf(1'800'000'000, 300, 24)); }, "clock: record 43, .*jumped"},
      {"other zone", [](Image &image) { image.slots[42].hour = 3; }, "clock: record 42, .*moved 8 hours back"},
      {"gap only", [](Image &) {}, "gap: record 10, slot 10, offset 300, .*: 5 hours without a record"}};
  for (const Damage &damage : damages) {
    SCOPED_TRACE(damage.what);
    Image image = twoDays();
    damage.make(image);
    write(kDataFile, image.bytes());
    const Answer answer = history("verify --utc");
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(count("\n" + answer.text, std::string("\n") + damage.told), 1U) << answer.text;
    EXPECT_EQ(read(kDataFile), image.bytes());
  }
  write(kDataFile, twoDays().bytes().substr(0, 1000));
  EXPECT_EQ(count(history("verify").text, "^size: offset 1000: the file ends after 1000 of 245300 bytes"), 1U);
  EXPECT_EQ(history("stats").status, 1);
  EXPECT_EQ(history("record --every 1 --count 1").status, 1);
  EXPECT_EQ(read(kDataFile).size(), 1000U);
  EXPECT_EQ(list("/extlog/syslog"), std::vector<std::string>{"history_data.dat"});
}

TEST_F(HistoryTool, FindsNothingWrongWithAFullRing) {
  Image image;
  for (unsigned hour = 0; hour < kSlots + 5; ++hour) {
    image.push(recordOf(kNoon + static_cast<std::time_t>(hour) * kHour, 300, 24));
  }
  write(kDataFile, image.bytes());
  const Answer answer = history("verify");
  EXPECT_EQ(answer.status, 0);
  EXPECT_EQ(count(answer.text, "8760 records, nothing wrong"), 1U) << answer.text;
}

#if VEXORA_TOOLS_PLOT
TEST_F(HistoryTool, DrawsBothSensorsWithTheirGap) {
  const Answer answer = history("plot --utc --svg /tmp/history.svg --png /tmp/history.png");
  EXPECT_EQ(answer.status, 0) << answer.text;
  const std::string svg = read("/tmp/history.svg");
  for (const char *colour : {"10%,35%,70%", "80%,30%,10%"}) {
    // The average is a line on each side of the gap, the band goes there and back, and is in the legend, too.
    EXPECT_EQ(count(svg, std::string("stroke-width:1.5;[^/]*stroke:rgb\\(") + colour), 2U);
    EXPECT_EQ(count(svg, std::string("fill:rgb\\(") + colour + "\\);fill-opacity:0.3;\" d=\"M "), 2U + 1);
  }
  // The inlet goes up and down each hour: every record shows as a point, 10 before the gap and 33 behind.
  for (const char *turns : {"{9}", "{32}"}) {
    EXPECT_EQ(count(svg, std::string("stroke-width:1.5;[^/]*80%,30%,10%[^/]* d=\"M [^L\"]*(L [^L\"]*)") + turns + '"'),
              1U);
  }
  EXPECT_EQ(count(svg, "fill:rgb\\(95%,93%,80%\\)"), 2U * 2);  // a gap and its legend in each panel
  for (const char *label : {"Sensor 0x7000", "Sensor 0x3009", "hourly average", "minimum to maximum", "no records",
                            "2024-02-29", "2024-03-01", "18:00", "350"}) {
    EXPECT_GE(count(svg, std::string("<text [^>]*>") + label + "</text>"), 1U) << label;
  }
  const std::string png = read("/tmp/history.png");
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\x09\x60\0\0\x06\x2c", 8));  // 2400 by 1580
}
#endif

TEST_F(HistoryTool, ChartsOnATerminalOnly) {
  EXPECT_EQ(history("plot").status, 2);
  const Answer chart = shell("TERM=xterm NO_COLOR=1 script -qec '" VEXORA_TOOL " history plot --utc' /dev/null");
  EXPECT_EQ(chart.status, 0);
  EXPECT_EQ(count(chart.text, "sensor 0x7000"), 1U) << chart.text;
  EXPECT_EQ(count(chart.text, " +\\|[^\n]*\\.\\.\\.[^\n]*\n"), 2U);  // the gap, along the bottom of both
  EXPECT_EQ(count(chart.text, "03-01 00:00 "), 2U);
}

TEST_F(HistoryTool, RecordsAsADaemonDoes) {
  installSensorLibrary();
  write("/var/ipmipdk_readings", "0x3009 20.6\n0x7000 410\n");
  const Answer answer = history("record --every 1 --count 2");
  EXPECT_EQ(answer.status, 0) << answer.text;
  EXPECT_EQ(count(answer.text, "  record stored: 0x7000 410, 0x3009 21 on average\n"), 1U) << answer.text;
  EXPECT_EQ(newestRecord().sensor_3009.average, 21);
  EXPECT_EQ(count(history("show").text, "\n44 records\n"), 1U);

  write(kDataFile, Image().push(recordOf(static_cast<std::time_t>(4'000'000'000U), 300, 24)).bytes());
  EXPECT_EQ(history("record --every 1 --count 1").status, 1);
  EXPECT_EQ(newestRecord().query_time, 4'000'000'000U);
  EXPECT_EQ(history("record --every 1 --count 1 --replace").status, 0);
  EXPECT_EQ(newestRecord().sensor_7000.average, 410);

  remove("/var/ipmipdk_readings");
  const Answer blind = history("--json record --every 1 --count 1");
  EXPECT_EQ(blind.status, 3);
  EXPECT_EQ(count(blind.text, "\"event\": ?\"no reading\""), 1U) << blind.text;
}

}  // namespace
}  // namespace vexora::test
