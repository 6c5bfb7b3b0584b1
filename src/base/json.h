// SPDX-License-Identifier: Apache-2.0
//
// Owned json-c trees. json-c reports a failed allocation by a null or a result, except while it makes text: there it
// goes on without the part that didn't fit, and only errno shows it.
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

/// Gives `child` to an object that has no such member yet; false, with the child released, when either is missing or
/// memory is short. The key is kept as it is and must outlive the object: json-c would lose a copy of it when the
/// object can't grow.
inline bool addMember(json_object *parent, const char *key, Json child) {
  constexpr unsigned kAsItIs = JSON_C_OBJECT_ADD_KEY_IS_NEW | JSON_C_OBJECT_ADD_CONSTANT_KEY;
  if (parent == nullptr || !child || json_object_object_add_ex(parent, key, child.get(), kAsItIs) != 0) {
    return false;
  }
  static_cast<void>(child.release());
  return true;
}

/// The same at the end of an array.
inline bool appendElement(json_object *array, Json child) {
  if (array == nullptr || !child || json_object_array_add(array, child.get()) != 0) {
    return false;
  }
  static_cast<void>(child.release());
  return true;
}

/// The tree's text, which lives as long as the tree; null when memory is too short for the whole of it. Keeps errno.
inline const char *wholeText(json_object *tree, int flags) {
  const int before = std::exchange(errno, 0);
  const char *text = json_object_to_json_string_ext(tree, flags);
  // An allocation that works may leave ENOMEM too. The tree keeps the memory for its text: now it needs none, or fails.
  if (std::exchange(errno, 0) == ENOMEM) {
    text = json_object_to_json_string_ext(tree, flags);
  }
  return std::exchange(errno, before) == ENOMEM ? nullptr : text;
}

}  // namespace vexora
