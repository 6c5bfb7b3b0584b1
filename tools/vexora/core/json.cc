// SPDX-License-Identifier: Apache-2.0
//
// The class Json: owns json-c values.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "core/tool.h"

namespace vexora::tool {
namespace {

struct FreeTokener {
  void operator()(json_tokener *tokener) const { json_tokener_free(tokener); }
};

/// Replaces bytes that aren't UTF-8: json-c would copy them into the document, which would then be invalid.
json_object *makeText(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    valid += length > 0 ? text.substr(0, length) : "\xEF\xBF\xBD";  // U+FFFD, the replacement character
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return json_object_new_string_len(valid.data(), static_cast<int>(valid.size()));
}

/// Writes the shortest text that reads back as the same number; json-c would write 20.6 as 20.600000000000001.
json_object *makeNumber(double value) {
  if (!std::isfinite(value)) {
    return nullptr;
  }
  std::array<char, 32> text{};
  std::to_chars(text.data(), text.data() + text.size() - 1, value);
  return json_object_new_double_s(value, text.data());
}

[[noreturn]] void refuse(const std::string &name, std::string_view text, std::size_t at, const char *reason) {
  const std::string_view before = text.substr(0, at);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t column = before.size() - (before.find_last_of('\n') + 1) + 1;
  throw Failure(kFinding, printable(name) + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + reason);
}

}  // namespace

Json::Json(json_object *taken) : object_(taken) {}
Json::Json(bool value) : object_(json_object_new_boolean(value ? 1 : 0)) {}
Json::Json(double value) : object_(makeNumber(value)) {}
Json::Json(const char *text) : object_(text == nullptr ? nullptr : makeText(text)) {}
Json::Json(std::string_view text) : object_(makeText(text)) {}
Json::Json(const std::string &text) : object_(makeText(text)) {}
Json::Json(const Json &other) : object_(json_object_get(other.object_)) {}
Json::Json(Json &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
Json::~Json() { json_object_put(object_); }

Json &Json::operator=(Json other) noexcept {
  std::swap(object_, other.object_);
  return *this;
}

Json Json::parse(const std::string &text, const std::string &name) {
  if (text.size() > std::numeric_limits<int>::max()) {
    refuse(name, {}, 0, "too long");
  }
  const std::unique_ptr<json_tokener, FreeTokener> tokener(json_tokener_new());
  json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
  // The terminator is included: without it the parser waits for more digits of a number at the text's end.
  Json document(json_tokener_parse_ex(tokener.get(), text.c_str(), static_cast<int>(text.size()) + 1));
  const json_tokener_error error = json_tokener_get_error(tokener.get());
  const std::size_t end = json_tokener_get_parse_end(tokener.get());
  if (error != json_tokener_success) {
    refuse(name, text, std::min(end, text.size()),
           error == json_tokener_continue ? "unexpected end of data" : json_tokener_error_desc(error));
  }
  const std::size_t more = text.find_first_not_of(" \t\r\n", std::min(end, text.size()));
  if (more != std::string::npos) {
    refuse(name, text, more, "text after the document");
  }
  return document;
}

Json &Json::add(const std::string &key, Json value) {
  json_object_object_add(object_, key.c_str(), std::exchange(value.object_, nullptr));
  return *this;
}

Json &Json::addAll(const Json &members) {
  if (members.get() != nullptr) {
    json_object_object_foreach(members.get(), key, value) { add(key, Json(json_object_get(value))); }
  }
  return *this;
}

Json &Json::append(Json value) {
  json_object_array_add(object_, std::exchange(value.object_, nullptr));
  return *this;
}

std::string Json::text() const {
  constexpr int kStyle = JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED | JSON_C_TO_STRING_NOSLASHESCAPE;
  return std::string(json_object_to_json_string_ext(object_, kStyle)) + "\n";
}

Json object(std::initializer_list<std::pair<const char *, Json>> members) {
  Json made(json_object_new_object());
  for (const auto &[key, value] : members) {
    made.add(key, value);
  }
  return made;
}

Json array(std::initializer_list<Json> elements) {
  Json made(json_object_new_array());
  for (const Json &element : elements) {
    made.append(element);
  }
  return made;
}

}  // namespace vexora::tool
