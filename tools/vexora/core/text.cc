// SPDX-License-Identifier: Apache-2.0
//
// The tool's text: colours and escapes for terminals, numbers, hexadecimal digits, captured output.
#include "core/tool.h"

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace vexora::tool {
namespace {

/// Code points that a terminal obeys instead of showing: C1 controls, and changes of the writing direction.
bool steersTerminal(char32_t character) {
  return (character >= 0x80 && character < 0xA0) || (character >= 0x200E && character <= 0x200F) ||
         (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

std::string escaped(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += format("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  }
  return text;
}

char32_t decode(std::string_view character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  if (character.size() == 1) {
    return byte(0);
  }
  char32_t code = byte(0) & (0xFFU >> (character.size() + 1));
  for (std::size_t i = 1; i < character.size(); ++i) {
    code = code << 6 | (byte(i) & 0x3FU);
  }
  return code;
}

std::string visible(std::string_view character) {
  switch (character[0]) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  const char32_t code = decode(character);
  return code < 0x20 || code == 0x7F || steersTerminal(code) ? escaped(character) : std::string(character);
}

/// Redirects standard output and standard error into memory until text() or the end.
class Capture {
 public:
  Capture() : memory_(memfd_create("vexora", MFD_CLOEXEC)) {
    if (memory_ < 0) {
      throw Failure(kInaccessible, std::string("memory for messages: ") + std::strerror(errno));
    }
    std::cout.flush();
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
      kept_[static_cast<std::size_t>(stream - 1)] = dup(stream);
      dup2(memory_, stream);
    }
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  ~Capture() {
    release();
    close(memory_);
  }

  std::string text() {
    release();
    std::string said(static_cast<std::size_t>(std::max<off_t>(lseek(memory_, 0, SEEK_END), 0)), '\0');
    const ssize_t got = pread(memory_, said.data(), said.size(), 0);
    said.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return said;
  }

 private:
  void release() {
    std::fflush(stdout);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
      int &kept = kept_[static_cast<std::size_t>(stream - 1)];
      if (kept >= 0) {
        dup2(kept, stream);
        close(kept);
        kept = -1;
      }
    }
  }

  int memory_;
  std::array<int, 2> kept_{-1, -1};
};

}  // namespace

bool isTerminal() {
  const char *kind = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

unsigned terminalWidth() {
  winsize size{};
  return isTerminal() && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string coloured(const std::string &text, int colour) {
  const char *unwanted = std::getenv("NO_COLOR");
  if (!isTerminal() || (unwanted != nullptr && *unwanted != '\0')) {
    return text;
  }
  return "\033[" + std::to_string(colour) + "m" + text + "\033[0m";
}

std::size_t utf8Length(std::string_view text) {
  if (text.empty()) {
    return 0;
  }
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) {
    return 1;
  }
  const std::size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
  if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) {
      return 0;
    }
  }
  // Not UTF-8: overlong forms, UTF-16 surrogates, and numbers after the last code point.
  const char32_t code = decode(text.substr(0, length));
  const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  return overlong || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF ? 0 : length;
}

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    shown += length == 0 ? escaped(text.substr(0, 1)) : visible(text.substr(0, length));
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return shown;
}

std::string captured(const std::function<void()> &work) {
  Capture capture;
  work();
  return capture.text();
}

void Session::report(std::span<const Finding> some, const std::string &fine) {
  found(some.empty() ? kFine : kFinding);
  for (const Finding &finding : some) {
    Json entry = object({{"place", finding.place}, {"reason", finding.reason}});
    if (!finding.kind.empty()) {
      entry.add("kind", finding.kind);
    }
    findings.append(entry.addAll(finding.details));
    if (!json) {
      std::cout << (finding.kind.empty() ? "" : finding.kind + ": ") << coloured(printable(finding.place), 31) << ": "
                << printable(finding.reason) << "\n";
    }
  }
  std::cout << (some.empty() && !json && !fine.empty() ? fine + "\n" : "");
}

std::string format(const char *form, ...) {
  std::array<char, 512> text{};
  va_list arguments;
  va_start(arguments, form);
  std::vsnprintf(text.data(), text.size(), form, arguments);
  va_end(arguments);
  return text.data();
}

std::optional<std::int64_t> parseNumber(std::string_view text, std::int64_t most) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  text.remove_prefix(hexadecimal ? 2 : 0);
  std::int64_t value = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
  const bool isNumber = error == std::errc() && end == text.data() + text.size() && value >= 0 && value <= most;
  return isNumber ? std::optional(value) : std::nullopt;
}

std::string toHex(std::span<const std::uint8_t> bytes, const char *between) {
  std::string digits;
  for (const std::uint8_t byte : bytes) {
    digits += (digits.empty() ? "" : between) + format("%02x", unsigned{byte});
  }
  return digits;
}

std::optional<std::vector<std::uint8_t>> fromHex(std::string_view digits) {
  std::vector<std::uint8_t> bytes;
  while (!digits.empty()) {
    if (std::isspace(static_cast<unsigned char>(digits[0])) != 0) {
      digits.remove_prefix(1);
      continue;
    }
    std::uint8_t byte = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + std::min<std::size_t>(digits.size(), 2), byte, 16);
    if (error != std::errc() || end != digits.data() + 2) {
      return std::nullopt;
    }
    bytes.push_back(byte);
    digits.remove_prefix(2);
  }
  return bytes;
}

std::uint64_t littleEndian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i > 0; --i) {
    value = value << 8 | bytes[i - 1];
  }
  return value;
}

void putLittleEndian(std::span<std::uint8_t> bytes, std::uint64_t value) {
  for (std::uint8_t &byte : bytes) {
    byte = static_cast<std::uint8_t>(value);
    value >>= 8;
  }
}

std::string escaped(const std::string &text) {
  std::string escaped;
  for (const char letter : text) {
    escaped += letter == '<' ? "&lt;" : letter == '&' ? "&amp;" : std::string(1, letter);
  }
  return escaped;
}

std::string lowered(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower;
}

std::string charactersOf(std::span<const std::uint8_t> bytes) {
  std::string characters(bytes.begin(), bytes.end());
  std::replace_if(
      characters.begin(), characters.end(), [](unsigned char c) { return c < 0x20 || c >= 0x7F; }, '.');
  return "|" + characters + "|";
}

std::string hexDump(std::span<const std::uint8_t> bytes) {
  std::string dump;
  for (std::size_t at = 0; at < bytes.size(); at += kBytesInRow) {
    const auto row = bytes.subspan(at, std::min(kBytesInRow, bytes.size() - at));
    dump += format("%08zx  %-47s  %s\n", at, toHex(row, " ").c_str(), charactersOf(row).c_str());
  }
  return dump;
}

}  // namespace vexora::tool
