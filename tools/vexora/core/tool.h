// SPDX-License-Identifier: Apache-2.0
//
// What the commands of the tool share. A command writes its answer to std::cout in readable form or, with --json, gives
// the session members of the run's document, which is printed when the run ends. What it finds wrong it reports to the
// session; it throws Failure where it can't go on. Writing to std::cout throws where that fails.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <json-c/json.h>

namespace vexora::tool {

/// How a run ends; the process's exit status.
enum Outcome : int {
  kFine = 0,
  kFinding = 1,       // damage, or a value that was refused
  kUsage = 2,         // wrong arguments
  kInaccessible = 3,  // something could not be read or written
};

/// Ends the run with a message on standard error, and in its document.
class Failure : public std::runtime_error {
 public:
  Failure(Outcome outcome, const std::string &what) : std::runtime_error(what), outcome_(outcome) {}
  [[nodiscard]] Outcome outcome() const { return outcome_; }

 private:
  Outcome outcome_;
};

/// A JSON value that is built from the inside out: object({{"name", "x"}, {"sizes", array({1, 2})}}).
class Json {
 public:
  Json() = default;  // null
  // NOLINTBEGIN(google-explicit-constructor): values stand in the lists of object() and array() as themselves
  Json(json_object *taken);  // takes over a reference
  Json(bool value);
  template <std::integral Number>
  Json(Number value) : object_(json_object_new_int64(static_cast<std::int64_t>(value))) {}
  Json(double value);
  Json(const char *text);  // null of NULL
  Json(std::string_view text);
  Json(const std::string &text);
  // NOLINTEND(google-explicit-constructor)
  Json(const Json &other);
  Json(Json &&other) noexcept;
  Json &operator=(Json other) noexcept;
  ~Json();

  /// Parses a text; throws Failure(kFinding) with the place and reason when it is not JSON.
  static Json parse(const std::string &text, const std::string &name);

  Json &add(const std::string &key, Json value);  // to an object
  Json &addAll(const Json &members);              // of an object, or none of null, to an object
  Json &append(Json value);                       // to an array

  [[nodiscard]] json_object *get() const { return object_; }
  [[nodiscard]] std::string text() const;  // indented, slashes not escaped, with a line end

 private:
  json_object *object_ = nullptr;
};

Json object(std::initializer_list<std::pair<const char *, Json>> members = {});
Json array(std::initializer_list<Json> elements = {});

/// An array of what `make` gives for each element, or of the elements themselves.
template <class Range, class Make = std::identity>
Json list(const Range &range, Make make = {}) {
  Json made = array();
  for (const auto &element : range) {
    made.append(make(element));
  }
  return made;
}

/// Something wrong, and where.
struct Finding {
  std::string place;  // a field, or a file with the line or offset in it
  std::string reason;
  std::string kind = {};  // for a command that tells kinds apart
  Json details = {};      // an object of further members, or null
};

/// One run of the tool.
struct Session {
  bool json = false;  // --json
  std::string root;   // --root, without a slash at its end; empty for "/"
  Outcome outcome = kFine;
  Json members = object();  // of the run's document
  Json findings = array();

  /// A fixed path of the board, inside the root.
  [[nodiscard]] std::string path(std::string_view absolute) const { return root + std::string(absolute); }

  /// Keeps the worst outcome.
  void found(Outcome worse) { outcome = worse > outcome ? worse : outcome; }

  /// Adds an object's members to the run's document, and does nothing without --json.
  void answer(const Json &more) {
    if (json) {
      members.addAll(more);
    }
  }

  /// Reports findings, each in a line of its own; without any, the line that says that all is fine, if
  /// there is one.
  void report(std::span<const Finding> some, const std::string &fine);
};

/// Whether colours and charts may be shown: standard output is a terminal that knows them.
bool isTerminal();

/// Columns of the terminal, 80 elsewhere.
unsigned terminalWidth();

/// A text in a colour of the terminal, as it is elsewhere. Colours are the SGR numbers: 31 red, 32 green, 33 yellow.
std::string coloured(const std::string &text, int colour);

/// Length of the UTF-8 character that a text begins with; 0 when it begins with none.
std::size_t utf8Length(std::string_view text);

/// A text with control characters made visible, so that foreign bytes can't steer the terminal.
std::string printable(std::string_view text);

/// A text as printf makes it, of up to 511 bytes.
[[gnu::format(printf, 1, 2)]] std::string format(const char *form, ...);

/// The number that a text is, decimal or with 0x hexadecimal; nothing when it is another one than 0 to `most`.
std::optional<std::int64_t> parseNumber(std::string_view text, std::int64_t most);

std::string toHex(std::span<const std::uint8_t> bytes, const char *between = "");

/// Pairs of hexadecimal digits, blanks between pairs allowed.
std::optional<std::vector<std::uint8_t>> fromHex(std::string_view digits);

/// Numbers of up to eight bytes, the lowest first.
std::uint64_t littleEndian(std::span<const std::uint8_t> bytes);
void putLittleEndian(std::span<std::uint8_t> bytes, std::uint64_t value);

/// More than any of the board's own files has.
inline constexpr std::size_t kLargestFile = 1U << 20;

/// A file's content, "-" for standard input; throws Failure(kInaccessible) and, when there are more than `most` bytes,
/// Failure(kFinding).
std::vector<std::uint8_t> readFile(const std::string &path, std::size_t most = kLargestFile);
std::string readText(const std::string &path, std::size_t most = kLargestFile);

/// A file of any size. One that lies on a medium is mapped, which takes no memory; of "-" or a device 64 MiB are read
/// at the most. Nobody may shorten the file meanwhile: reading it then ends the run by a signal.
class LargeFile {
 public:
  explicit LargeFile(const std::string &path);
  LargeFile(const LargeFile &) = delete;
  LargeFile &operator=(const LargeFile &) = delete;
  ~LargeFile();
  [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> read_;
  std::span<const std::uint8_t> bytes_;
};

/// Makes or replaces a file whole, through a temporary one beside it, "-" for standard output; throws
/// Failure(kInaccessible), the old file as it was.
void writeFile(const std::string &path, std::span<const std::uint8_t> content,
               std::span<const std::uint8_t> before = {});  // what stands before the content
void writeFile(const std::string &path, std::string_view content);

/// From here on standard output is the run's document's alone: writeFile refuses "-".
void reserveStandardOutput();

/// Runs library code that talks on standard output or standard error, and returns what it said.
std::string captured(const std::function<void()> &work);

/// "00000000  50 4b ...  |PK..|" lines.
std::string hexDump(std::span<const std::uint8_t> bytes);

}  // namespace vexora::tool
