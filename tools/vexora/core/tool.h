// SPDX-License-Identifier: Apache-2.0
//
// The base of the tool's commands. A command prints its answer to std::cout or, with --json, adds members to the
// session's document, which is printed when the run ends. It reports findings to the session and throws Failure when it
// can't go on. A failed write to std::cout throws too.
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

/// The process's exit status.
enum Outcome : int {
  kFine = 0,
  kFinding = 1,       // damage, or a value that was refused
  kUsage = 2,         // wrong arguments
  kInaccessible = 3,  // something could not be read or written
};

/// Thrown to end the run with a message on standard error and in the document.
class Failure : public std::runtime_error {
 public:
  Failure(Outcome outcome, const std::string &what) : std::runtime_error(what), outcome_(outcome) {}
  [[nodiscard]] Outcome outcome() const { return outcome_; }

 private:
  Outcome outcome_;
};

/// A JSON value, for instance object({{"name", "x"}, {"sizes", array({1, 2})}}). Copies share it.
class Json {
 public:
  Json() = default;  // null
  // NOLINTBEGIN(google-explicit-constructor): the lists of object() and array() contain plain values
  Json(json_object *taken);  // owns this reference from now on
  Json(bool value);
  template <std::integral Number>
  Json(Number value) : object_(json_object_new_int64(static_cast<std::int64_t>(value))) {}
  Json(double value);
  Json(const char *text);  // NULL makes null
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
  Json &addAll(const Json &members);              // of an object or of null, to an object
  Json &append(Json value);                       // to an array

  [[nodiscard]] json_object *get() const { return object_; }
  [[nodiscard]] std::string text() const;  // indented, slashes not escaped, with a line end

 private:
  json_object *object_ = nullptr;
};

Json object(std::initializer_list<std::pair<const char *, Json>> members = {});
Json array(std::initializer_list<Json> elements = {});

/// Returns an array of the results of `make` for each element.
template <class Range, class Make = std::identity>
Json list(const Range &range, Make make = {}) {
  Json made = array();
  for (const auto &element : range) {
    made.append(make(element));
  }
  return made;
}

struct Finding {
  std::string place;  // a field, or a file with the line or offset in it
  std::string reason;
  std::string kind = {};  // for commands that have several kinds of findings
  Json details = {};      // an object of further members, or null
};

/// The state of a run.
struct Session {
  bool json = false;
  std::string root;  // of --root, without a trailing slash; empty for "/"
  std::string name;  // of the dump that the root was unpacked from, or empty
  Outcome outcome = kFine;
  Json members = object();  // of the run's document
  Json findings = array();

  /// Returns the place of a board's path in the root.
  [[nodiscard]] std::string path(std::string_view absolute) const { return root + std::string(absolute); }

  /// Keeps the worst outcome.
  void found(Outcome worse) { outcome = worse > outcome ? worse : outcome; }

  /// Adds an object's members to the run's document; does nothing without --json.
  void answer(const Json &more) {
    if (json) {
      members.addAll(more);
    }
  }

  /// Prints a line for each finding. Without findings prints `fine` if it isn't empty.
  void report(std::span<const Finding> some, const std::string &fine);
};

/// Whether standard output is a terminal that can show colours and charts.
bool isTerminal();

/// Columns; 80 without a terminal.
unsigned terminalWidth();

/// Colours a text if standard output is a terminal. Colours are SGR numbers: 31 red, 32 green, 33 yellow.
std::string coloured(const std::string &text, int colour);

/// Returns the length of the UTF-8 character at a text's beginning, 0 when there is none.
std::size_t utf8Length(std::string_view text);

/// Escapes control characters, so that foreign bytes can't control the terminal.
std::string printable(std::string_view text);

/// Escapes the markup of HTML and SVG: names of files and sensors come from outside.
std::string escaped(const std::string &text);

/// Returns a text in lower case.
std::string lowered(std::string_view text);

/// Formats as printf does; cuts the text after 511 bytes.
[[gnu::format(printf, 1, 2)]] std::string format(const char *form, ...);

/// Parses a number from 0 to `most`, decimal or hexadecimal with 0x. Returns nothing for other texts.
std::optional<std::int64_t> parseNumber(std::string_view text, std::int64_t most);

std::string toHex(std::span<const std::uint8_t> bytes, const char *between = "");

/// Parses pairs of hexadecimal digits; blanks between pairs are allowed.
std::optional<std::vector<std::uint8_t>> fromHex(std::string_view digits);

/// At most eight bytes.
std::uint64_t littleEndian(std::span<const std::uint8_t> bytes);
void putLittleEndian(std::span<std::uint8_t> bytes, std::uint64_t value);

/// No file of the board's own is larger.
inline constexpr std::size_t kMaxFile = 1U << 20;

/// Returns a file's content; "-" is standard input. Throws Failure(kInaccessible), or Failure(kFinding) for more than
/// `most` bytes.
std::vector<std::uint8_t> readFile(const std::string &path, std::size_t most = kMaxFile);
std::string readText(const std::string &path, std::size_t most = kMaxFile);

/// A file of any size. Hazard: a regular file is mapped, and if another process shortens it, SIGBUS ends the run. More
/// than 64 MiB from "-" or a device throw Failure(kFinding).
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

/// Creates or replaces a file atomically, through a temporary one in its directory; "-" is standard output. Throws
/// Failure(kInaccessible) and leaves the old file as it was.
void writeFile(const std::string &path, std::span<const std::uint8_t> content,
               std::span<const std::uint8_t> before = {});  // written before the content
void writeFile(const std::string &path, std::string_view content);

/// From now on only the run's document is written to standard output: writeFile refuses "-".
void reserveStandardOutput();

/// Runs library code that prints to standard output or standard error, and returns its output.
std::string captured(const std::function<void()> &work);

inline constexpr std::size_t kBytesInRow = 16;

/// Returns a column like "|PK..|".
std::string charactersOf(std::span<const std::uint8_t> bytes);

/// Returns lines like "00000000  50 4b ...  |PK..|".
std::string hexDump(std::span<const std::uint8_t> bytes);

}  // namespace vexora::tool
