// SPDX-License-Identifier: Apache-2.0
//
// Buffers for keys and plain texts. They start zero-filled and are wiped when destroyed, by a call that the compiler
// may not remove. They neither copy nor move, so no second copy is left in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vexora {

/// A buffer of a fixed size, on the stack.
template <std::size_t Size>
class Secret {
 public:
  Secret() = default;
  Secret(const Secret &) = delete;
  Secret &operator=(const Secret &) = delete;
  ~Secret() { explicit_bzero(bytes_, Size); }

  [[nodiscard]] std::uint8_t *data() { return bytes_; }
  [[nodiscard]] const std::uint8_t *data() const { return bytes_; }
  [[nodiscard]] static constexpr std::size_t size() { return Size; }

  /// The buffer as text; terminated when at most Size - 1 bytes were filled.
  [[nodiscard]] char *text() { return reinterpret_cast<char *>(bytes_); }

 private:
  std::uint8_t bytes_[Size] = {};
};

/// A buffer on the heap whose size is known at run time. Empty when memory was short.
class SecretBlock {
 public:
  explicit SecretBlock(std::size_t size) : bytes_(static_cast<std::uint8_t *>(std::calloc(size, 1))), size_(size) {}
  SecretBlock(const SecretBlock &) = delete;
  SecretBlock &operator=(const SecretBlock &) = delete;
  ~SecretBlock() {
    if (bytes_ != nullptr) {
      explicit_bzero(bytes_, size_);
      std::free(bytes_);
    }
  }

  explicit operator bool() const { return bytes_ != nullptr; }
  [[nodiscard]] std::uint8_t *data() { return bytes_; }
  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  std::uint8_t *bytes_;
  std::size_t size_;
};

}  // namespace vexora
