// SPDX-License-Identifier: Apache-2.0
//
// Owners of acquired resources: an early return releases them. Each is move-only and empty by default; release()
// transfers the ownership.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace vexora {

struct FreeBlock {
  void operator()(void *block) const { std::free(block); }
};

struct CloseStream {
  void operator()(std::FILE *stream) const { static_cast<void>(std::fclose(stream)); }
};

struct CloseLibrary {
  void operator()(void *library) const { static_cast<void>(dlclose(library)); }
};

/// A heap block from malloc, calloc or a C library call whose result is released by free().
template <typename T>
using HeapBlock = std::unique_ptr<T, FreeBlock>;

/// An open stdio stream. Where a failed close matters, release() it and close it.
using Stream = std::unique_ptr<std::FILE, CloseStream>;

/// A library opened at run time.
using Library = std::unique_ptr<void, CloseLibrary>;

}  // namespace vexora
