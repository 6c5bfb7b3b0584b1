// SPDX-License-Identifier: Apache-2.0
//
// Owned json-c trees. json-c reports a failed allocation by NULL or an error code, except when serialising: it then
// silently omits data and only sets errno.
#pragma once

#include <json-c/json.h>

#include <cerrno>
#include <memory>
#include <utility>

namespace vexora {

struct PutJson {
  void operator()(json_object *object) const { static_cast<void>(json_object_put(object)); }
};

using Json = std::unique_ptr<json_object, PutJson>;

/// Adds a member that the object does not have yet. Returns false, and releases the child, when either is null or
/// memory is short. The key is not copied and must outlive the object: json-c leaks its copy when the object can't
/// grow.
inline bool addMember(json_object *parent, const char *key, Json child) {
  constexpr unsigned kAsItIs = JSON_C_OBJECT_ADD_KEY_IS_NEW | JSON_C_OBJECT_ADD_CONSTANT_KEY;
  if (parent == nullptr || !child || json_object_object_add_ex(parent, key, child.get(), kAsItIs) != 0) {
    return false;
  }
  static_cast<void>(child.release());
  return true;
}

/// Appends to an array; otherwise as addMember().
inline bool appendElement(json_object *array, Json child) {
  if (array == nullptr || !child || json_object_array_add(array, child.get()) != 0) {
    return false;
  }
  static_cast<void>(child.release());
  return true;
}

/// Returns the tree's text, which lives as long as the tree; null when memory is short. Keeps errno.
inline const char *wholeText(json_object *tree, int flags) {
  const int before = std::exchange(errno, 0);
  const char *text = json_object_to_json_string_ext(tree, flags);
  // A successful allocation may leave ENOMEM as well. The tree keeps its text buffer, so that the second attempt either
  // needs no memory or has failed for certain.
  if (std::exchange(errno, 0) == ENOMEM) {
    text = json_object_to_json_string_ext(tree, flags);
  }
  return std::exchange(errno, before) == ENOMEM ? nullptr : text;
}

}  // namespace vexora
