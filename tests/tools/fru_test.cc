// SPDX-License-Identifier: Apache-2.0
//
// `vexora fru` as a person at the bench uses it. Images are written out byte by byte.
#include <numeric>

#include "tools/tool.h"

namespace vexora::test {
namespace {

Answer fru(const std::string &arguments) { return shell(VEXORA_TOOL " fru " + arguments); }

bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// Chassis at 8, board at 32, product at 80, multi-records at 128, internal use at 192; unused bytes are FFh.
std::string image() {
  constexpr std::string_view kDigits =
      "011801040a1000c8010317c2706e8329dca6c36f6e65c1000000000000000051010619112233c64dfc6c6c6572c3424d"
      "434412b34c5ac25031000300ffc1c41b5b324ac10000000000000000000000fb010535c6e5653dd800dec0c261628111"
      "c25339c0c0c100000000000000000000000000000000005cffffffffffffffff01020d638d81b0049cff640032000000"
      "102703020946ac01687474703a2f2f61c08204a71357010001ffffffffffffffffffffffffffffffffffffffffffffff"
      "0173656372657421";
  std::string bytes;
  for (std::size_t i = 0; i < kDigits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(kDigits.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

void setChecksum(std::string &bytes, std::size_t begin, std::size_t end) {
  const int sum = std::accumulate(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                                  bytes.begin() + static_cast<std::ptrdiff_t>(end), 0);
  bytes[end] = static_cast<char>(-sum);
}

TEST(Fru, ShowsEveryEncodingAndRecord) {
  write("image", image());
  const Answer shown = fru("show image");
  EXPECT_EQ(shown.status, 0);
  for (const char *part :
       {"23 (Rack Mount Chassis)", "\"IPMI\"  six-bit", "Custom 1                    \"one\"", "2002-05-16T02:57Z",
        "\"Müller\"  latin-1", "\"12-34.5 \"  bcd-plus", "00ffc1  binary", R"("\x1b[2J")", "53 (ja)", "\"日😀\"  utf-16",
        "\"ab\"  latin-1", "Nominal                   12.00 V", "Lowest deviation          -1.00 V", "10000 mA",
        "System management URL     http://a", "Manufacturer ID           343", "|secret!|",
        "8 unused bytes at 120\n23 unused bytes at 169"}) {
    EXPECT_TRUE(has(shown.text, part)) << part << "\n" << shown.text;
  }
  EXPECT_FALSE(has(shown.text, "\x1b")) << "foreign bytes steer the terminal";
  const Answer verified = fru("verify image");
  EXPECT_EQ(verified.status, 0);
  EXPECT_EQ(verified.text, "no faults in 5 areas, 200 bytes\n");
}

TEST(Fru, DescriptionGivesTheSameImageAgainOrNone) {
  std::string odd = image();
  odd[64] = '\x9d';   // a custom field's last byte: never text
  odd[52] = '\x1f';   // an undefined digit
  odd[70] = '\x07';   // after the board's fields
  odd[125] = '\x01';  // outside all areas
  setChecksum(odd, 32, 79);
  for (const auto &[bytes, status] : {std::pair(image(), 0), {odd, 1}}) {
    SCOPED_TRACE(status);
    write("image", bytes);
    EXPECT_EQ(fru("show --json image > description").status, status);
    EXPECT_EQ(fru("build description -o again").status, 0);
    EXPECT_EQ(read("again"), bytes);
  }
  std::string damaged = image();
  damaged[12] = 0;
  write("damaged", damaged);
  EXPECT_TRUE(has(fru("set damaged board.part-number=P2 -o never").text, "area-checksum: chassis"));
  EXPECT_EQ(fru("show --json damaged | " VEXORA_TOOL " fru build -o never").status, 1);
  EXPECT_FALSE(exists("never"));
  EXPECT_EQ(fru("show --json damaged | grep -v exact | " VEXORA_TOOL " fru build -o repaired").status, 0);
  EXPECT_EQ(fru("verify repaired").status, 0);
}

TEST(Fru, SetLaysOutAnew) {
  write("image", image());
  EXPECT_TRUE(has(fru("set image product.custom.1=7 --encoding latin-1 -o never").text, "has no latin-1"));
  const Answer longer =
      fru("set image board.manufacturer='A longer name of 30 characters' "
          "board.date=2027-11-24T20:17Z product.custom.1=7 chassis.type=1 --as-of 2030-01-01 -o new");
  EXPECT_EQ(longer.status, 0);
  EXPECT_EQ(longer.text,
            "board area: 48 bytes became 64\nproduct area: moved from 80 to 96\n"
            "multi-record area: moved from 128 to 136\n200 bytes written to new\n");
  EXPECT_EQ(read("image"), image());
  EXPECT_EQ(read("new").substr(11, 20), image().substr(11, 20)) << "the chassis' fields keep their encodings";
  EXPECT_EQ(read("new").substr(34, 35), std::string("\x19\1\0\0\xDE", 5) + "A longer name of 30 characters");
  EXPECT_EQ(fru("verify new").text, "no faults in 5 areas, 200 bytes\n");
  const Answer compared = fru("diff image new");
  EXPECT_EQ(compared.status, 1);
  EXPECT_EQ(compared.text,
            "chassis.type: 23 -> 1\nboard.date: 2002-05-16T02:57Z -> 1996-01-01T00:01Z\n"
            "board.manufacturer: \"Müller\"  latin-1 -> \"A longer name of 30 characters\"  latin-1\n"
            "product.custom.1: not there -> \"7\"  utf-16\n");
  EXPECT_EQ(fru("diff new new").text, "no differences\n");
  EXPECT_TRUE(has(fru("set new product.language=25 -o never").text, "'日' has no place in latin-1"));
  EXPECT_EQ(fru("set new product.manufacturer=Müller board.date= product.language=25 -o again").status, 0);
  const std::string english = fru("show again").text;
  for (const char *part : {"Date                        not stated", "Müller\"  latin-1", "\"7\"  six-bit"}) {
    EXPECT_TRUE(has(english.substr(english.find("Board area")), part)) << part << "\n" << english;
  }
  EXPECT_TRUE(has(read("again"), "\x19\xC6M\xFCller"));
}

TEST(Fru, DateIsTheLatestThatIsNotInTheFuture) {
  write("image", image());
  for (const auto &[today, shown] : {std::pair("2034-04-08T23:12Z", "2002-05-16T02:57Z"),
                                     {"2034-04-08T23:13Z", "2034-04-08T23:13Z"},
                                     {"2001-01-01", "2002-05-16T02:57Z (in the future)"}}) {
    EXPECT_TRUE(has(fru(std::string("show --as-of ") + today + " image").text, shown)) << today;
  }
  EXPECT_EQ(fru("show --as-of tomorrow image").status, 2);
  write("description", R"({"areas": [{"area": "board", "date": "2030-01-01"}]})");
  for (const char *command : {"set image board.date=2030-01-01", "build description"}) {
    const Answer refused = fru(std::string(command) + " --as-of 2026-01-01 -o never");
    EXPECT_TRUE(has(refused.text, "'2030-01-01' would read back as 1998-02-07T03:44Z")) << refused.text;
    EXPECT_EQ(fru(std::string(command) + " --as-of 2030-01-01 -o later").status, 0);
  }
}

TEST(Fru, EachKindOfFaultIsNamed) {
  // The message's begin, a byte and its value, the area whose checksum follows the byte, and the image's size.
  struct Fault {
    const char *message;
    std::size_t at;
    int byte;
    std::size_t begin = 0, end = 0, size = 200;
  };
  const Fault faults[] = {{"header-version: header at 0", 0, 2, 0, 7},
                          {"header-checksum: header at 7", 7, 0},
                          {"reserved: header at 6", 6, 1, 0, 7},
                          {"reserved: board at 32", 32, 0x11, 32, 79},
                          {"area-bounds: board at 3", 3, 25, 0, 7},
                          {"area-bounds: product at 81", 81, 0, 80, 119},
                          {"area-overlap: product at 80", 33, 7, 32, 87},
                          {"area-version: chassis at 8", 8, 2, 8, 31},
                          {"area-checksum: chassis at 31", 12, 0},
                          {"field-end: product.serial-number at 96", 96, 0xC1, 80, 119},
                          {"field-end: product.part-number at 91", 91, 0xFF, 80, 119},
                          {"field-encoding: board.serial-number at 49", 50, 0xDD, 32, 79},
                          {"field-encoding: product.manufacturer at 83", 87, 0x41, 80, 119},
                          {"record-bounds: multi-record.1 at 130", 130, 0x60, 128, 132},
                          {"record-checksum: multi-record.1 at 131: data", 134, 1},
                          {"record-checksum: multi-record.2 at 150: header", 146, 4},
                          {"record-version: multi-record.1 at 129", 129, 1, 128, 132},
                          {"reserved: multi-record.1 at 129", 129, 0x12, 128, 132},
                          {"record-end: multi-record.4 at 169", 161, 2, 160, 164, 169},
                          {"unused-space: board at 68", 70, 7, 32, 79},
                          {"unused-space: image at 125", 125, 7}};
  for (const auto &[message, at, byte, begin, end, size] : faults) {
    std::string bytes = image();
    bytes[at] = static_cast<char>(byte);
    if (end != 0) {
      setChecksum(bytes, begin, end);
    }
    write("damaged", bytes.substr(0, size));
    const Answer answer = fru("verify damaged");
    EXPECT_EQ(answer.status, 1) << message;
    EXPECT_TRUE(has(answer.text, message)) << message << "\n" << answer.text;
  }
}

// Every third length, and every third byte inverted: no crash, and each damage to bytes under a checksum is reported.
TEST(Fru, HostileImagesAreFindings) {
  for (std::size_t i = 0; i < image().size(); i += 3) {
    std::string turned = image();
    turned[i] = static_cast<char>(~turned[i]);
    write("cut", image().substr(0, i));
    write("turned", turned);
    // The internal use area states no length, so a cut after its first byte is not visible.
    EXPECT_EQ(fru("show cut > shown").status, i > 192 ? 0 : 1) << i;
    const bool unseen = (i >= 120 && i < 128) || (i >= 169 && i < 192) || i > 192;
    EXPECT_EQ(fru("show --json turned > shown").status, unseen ? 0 : 1) << i;
  }
  write("cut", image().substr(0, 34));
  const std::string shown = fru("show cut").text;
  EXPECT_TRUE(has(shown, "Language                    (missing)\n  Manufacturer                (missing)")) << shown;
  EXPECT_TRUE(has(fru("show --json cut").text, "\"serial-number\": null"));
}

TEST(Fru, EachOfSeveralImagesIsVerified) {
  write("whole", image());
  write("cut", image().substr(0, 7));
  const Answer verified = fru("verify whole missing cut");
  EXPECT_EQ(verified.status, 3);
  EXPECT_EQ(verified.text,
            "whole: no faults in 5 areas, 200 bytes\nmissing: cannot read missing: No such file or directory\n"
            "size: cut: image at 0: has 7 bytes\n");
}

TEST(Fru, WrongDescriptionsAndNamesAreRefused) {
  const std::pair<const char *, const char *> descriptions[] = {
      {R"({"areas": [{"area": "lid"}]})", "description.areas[0]"},
      {R"({"areas": [{"area": "board", "fields": {"serial": "x"}}]})", "has no member 'serial'"},
      {R"({"areas": [{"area": "board", "fields": {"serial-number": "x"}}]})", "serial-number: 'x' is one byte of text"},
      {R"({"areas": [{"area": "board", "fields": {"part-number": "日本"}}]})", "'日' has no place in latin-1"},
      {R"({"areas": [{"area": "board", "minutes": 16777216}]})", "minutes: is not between 0 and 16777215"},
      {R"({"areas": [{"area": "board", "minutes": 5, "date": "2020-02-29"}]})", "date: is not what the minutes mean"},
      {R"({"areas": [{"area": "board", "date": "2026-02-30"}]})", "date: '2026-02-30' is no date"},
      {R"({"areas": [{"area": "board", "custom": [{"type": 1, "text": "12", "bytes": "13"}]}]})",
       "custom[0]: text and bytes differ"},
      {R"({"areas": [{"area": "board", "length": 8}]})", "length is given as 8"},
      {R"({"areas": [{"area": "board"}, {"area": "board"}]})", "is there twice"},
      {R"({"areas": [{"area": "board"}, {"area": "chassis", "offset": 16}]})", "cannot begin at 16, which is taken"},
      {R"({"size": 1099511627776})", "size: is not between"},
      {R"({"size": 16, "areas": [{"area": "board"}]})", "the areas take 24 bytes"},
      {R"({"areas": [{"area": "internal", "data": "0g"}]})", "data: is not pairs"}};
  for (const auto &[description, message] : descriptions) {
    write("description", description);
    const Answer answer = fru("build description -o never");
    EXPECT_EQ(answer.status, 1) << description;
    EXPECT_TRUE(has(answer.text, message)) << description << "\n" << answer.text;
  }
  write("image", image());
  const std::string full(63, 'x');
  for (const auto &[arguments, status] : {std::pair<std::string, int>("set image board.colour=red -o never", 2),
                                          {"set image board.custom.4=red -o never", 2},
                                          {"set image board.custom.3 -o never", 2},
                                          {"set image board.date=now -o never", 1},
                                          {"set image board.custom.3=" + full + " -o never", 1},
                                          {"set image board.custom.3=" + full + " --grow -o grown", 0},
                                          {"build missing -o never", 3},
                                          {"set image chassis.type=1 -o missing/never", 3}}) {
    EXPECT_EQ(fru(arguments).status, status) << arguments;
  }
  EXPECT_EQ(read("grown").size(), 232U);
  EXPECT_FALSE(exists("never"));
}

}  // namespace
}  // namespace vexora::test
