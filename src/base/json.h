// SPDX-License-Identifier: Apache-2.0
//
// Owned json-c trees. json-c tells of a failed allocation by a null or a result, except while it makes text: there it
// goes on without the part that it had no room for, and only errno tells.
#pragma once

#include <json-c/json.h>

#include <cerrno>
#include <memory>

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

/// The tree's text, which lives as long as the tree; null when memory is too short for the whole of it.
inline const char *wholeText(json_object *tree, int flags) {
  errno = 0;
  const char *const text = json_object_to_json_string_ext(tree, flags);
  return errno == ENOMEM ? nullptr : text;
}

}  // namespace vexora
