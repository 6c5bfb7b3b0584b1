// SPDX-License-Identifier: Apache-2.0
//
// Small text utilities on the callers' buffers.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/owners.h"
#include "base/report.h"
#include "vexora/text.h"

namespace {

// The callers' buffer for a MAC address, which needs less.
constexpr std::size_t kMacTextSize = 24;

void convertEach(char *text, int (*convert)(int)) {
  if (text == nullptr) {
    return;
  }
  for (; *text != '\0'; ++text) {
    *text = static_cast<char>(convert(static_cast<unsigned char>(*text)));
  }
}

/// Copies a text with a backslash before each backslash and single quote; writes no terminator.
void quote(const char *text, char *out) {
  for (; *text != '\0'; ++text) {
    if (*text == '\\' || *text == '\'') {
      *out++ = '\\';
    }
    *out++ = *text;
  }
}

/// Ends the target with a text from `at` on, cut to the remaining space; returns false when it was cut.
bool endWith(char *target, std::size_t at, const char *text) {
  const std::size_t capacity = VEXORA_REPLACE_TARGET_SIZE - 1 - at;
  const std::size_t length = strnlen(text, capacity + 1);
  const std::size_t kept = std::min(length, capacity);
  std::memcpy(target + at, text, kept);
  target[at + kept] = '\0';
  return length <= capacity;
}

}  // namespace

const char *vexora_str_end_str(const char *text, const char *suffix) {
  if (text == nullptr || suffix == nullptr) {
    return nullptr;
  }
  const std::size_t length = std::strlen(text);
  const std::size_t suffixLength = std::strlen(suffix);
  if (suffixLength > length) {
    return nullptr;
  }
  const char *const end = text + (length - suffixLength);
  return std::strcmp(end, suffix) == 0 ? end : nullptr;
}

const char *vexora_str_start_str(const char *text, const char *prefix) {
  if (text == nullptr || prefix == nullptr) {
    return nullptr;
  }
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0 ? text : nullptr;
}

void covertToUpperCase(char *text) { convertEach(text, std::toupper); }

void covertToLowerCase(char *text) { convertEach(text, std::tolower); }

int ReverseString(char *text) {
  if (text == nullptr) {
    return -1;
  }
  std::reverse(text, text + std::strlen(text));
  return 0;
}

size_t strnlen_safe(const char *text, size_t max) { return text == nullptr ? 0 : strnlen(text, max); }

char *strncpy_safe(char *dst, const char *src, size_t len) {
  if (src == nullptr) {
    return const_cast<char *>("");
  }
  if (dst != nullptr) {
    return std::strncpy(dst, src, len);
  }
  auto *const copy = static_cast<char *>(len < SIZE_MAX ? std::malloc(len + 1) : nullptr);
  if (copy == nullptr) {
    REPORT_FAILURE(vexora::kBaseFunction, "malloc function failing\n");
    return nullptr;
  }
  copy[len] = '\0';
  return std::strncpy(copy, src, len);
}

char *escaper(char *old, const char *text) {
  std::free(old);
  if (text == nullptr) {
    return nullptr;
  }
  // Twice the text and its terminator. calloc multiplies, because the product must not wrap.
  const vexora::HeapBlock<char> work(static_cast<char *>(std::calloc(std::strlen(text) + 1, 2)));
  char *quoted = nullptr;
  if (work) {
    quote(text, work.get());
    quoted = strdup(work.get());
  }
  if (quoted == nullptr) {
    REPORT_FAILURE(vexora::kBaseFunction, "Memory allocation failing\n");
  }
  return quoted;
}

int ConvertMACnumToStr(const uint8_t *mac, int /*length*/, char *text) {
  if (mac != nullptr && text != nullptr) {
    static_cast<void>(std::snprintf(text, kMacTextSize, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3],
                                    mac[4], mac[5]));
  }
  return 0;
}

int str_replace(const char *source, char *target, const char *from, const char *to) {
  if (source == nullptr || target == nullptr || from == nullptr || *from == '\0' || to == nullptr) {
    return -1;
  }
  const std::size_t fromLength = std::strlen(from);
  const std::size_t toLength = std::strlen(to);
  std::size_t at = 0;  // position of `rest` in the target
  const char *rest = source;
  while (const char *const found = std::strstr(rest, from)) {
    at += static_cast<std::size_t>(found - rest);
    rest = found + fromLength;
    if (at >= VEXORA_REPLACE_TARGET_SIZE || !endWith(target, at, to) || !endWith(target, at + toLength, rest)) {
      REPORT_FAILURE(vexora::kBaseFunction, "Buffer Overflow\n");
      return -1;
    }
    at += toLength;
  }
  return 0;
}

void split_c(char *text, const char *delimiters, char **tokens, int *count, int max) {
  if (text == nullptr || *text == '\0' || delimiters == nullptr || *delimiters == '\0' || tokens == nullptr ||
      count == nullptr) {
    return;
  }
  int stored = 0;
  char *rest = nullptr;
  for (char *token = strtok_r(text, delimiters, &rest); token != nullptr;
       token = strtok_r(nullptr, delimiters, &rest)) {
    if (stored != 0 && stored >= max) {
      break;
    }
    tokens[stored++] = token;
  }
  *count = stored;
}
