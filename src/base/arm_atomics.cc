// SPDX-License-Identifier: Apache-2.0
//
// What the compiler calls for atomics on ARM processors of any age, over the kernel's helpers, which know the
// processor. The compiler's library has the same, but only with all its relatives in one object of 3.9 KB. Built for
// ARM alone.

#include <cstdint>

namespace {

// Where the kernel maps its helpers into every process.
constexpr std::uintptr_t kBarrier = 0xFFFF0FA0;
constexpr std::uintptr_t kCompareAndSwap = 0xFFFF0FC0;

/// Swaps some bits of a word if they are the expected ones; returns what they were.
std::uint32_t swapBits(volatile std::uint32_t *word, unsigned shift, std::uint32_t mask, std::uint32_t expected,
                       std::uint32_t desired) {
  const auto swap = reinterpret_cast<int (*)(std::uint32_t, std::uint32_t, volatile std::uint32_t *)>(kCompareAndSwap);
  for (;;) {
    const std::uint32_t old = *word;
    const std::uint32_t bits = old >> shift & mask;
    if (bits != expected || swap(old, (old & ~(mask << shift)) | desired << shift, word) == 0) {
      return bits;
    }
  }
}

}  // namespace

extern "C" {

void synchronize() __asm__("__sync_synchronize");
void synchronize() { reinterpret_cast<void (*)()>(kBarrier)(); }

std::uint32_t swapWord(volatile std::uint32_t *at, std::uint32_t expected,
                       std::uint32_t desired) __asm__("__sync_val_compare_and_swap_4");
std::uint32_t swapWord(volatile std::uint32_t *at, std::uint32_t expected, std::uint32_t desired) {
  return swapBits(at, 0, 0xFFFFFFFF, expected, desired);
}

std::uint8_t swapByte(volatile std::uint8_t *at, std::uint8_t expected,
                      std::uint8_t desired) __asm__("__sync_val_compare_and_swap_1");
std::uint8_t swapByte(volatile std::uint8_t *at, std::uint8_t expected, std::uint8_t desired) {
  const auto address = reinterpret_cast<std::uintptr_t>(at);
  auto *const word = reinterpret_cast<volatile std::uint32_t *>(address / 4 * 4);
  return static_cast<std::uint8_t>(swapBits(word, address % 4 * 8, 0xFF, expected, desired));
}
}
