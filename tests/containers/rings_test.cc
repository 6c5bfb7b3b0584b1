// SPDX-License-Identifier: Apache-2.0
//
// Both rings. A ring waits for its lock by pauses with nanosleep, which this program replaces: no test waits for the
// minute after which a ring gives up.
#include <malloc.h>

#include <deque>

#include "support/test.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

struct Release {
  void operator()(vexora_ringlist *list) const { EXPECT_EQ(vexora_ringlist_free(list), 0); }
  void operator()(vexora_ringq *queue) const { EXPECT_EQ(vexora_ringq_free(queue), 0); }
};
using List = std::unique_ptr<vexora_ringlist, Release>;
using Queue = std::unique_ptr<vexora_ringq, Release>;

std::string untouched(std::size_t size) { return std::string(size, '\xA5'); }

// Records of `size` bytes, no two of them alike; neighbours differ in every byte.
std::string records(std::uint32_t first, std::uint32_t number, std::size_t size = 4) {
  std::string bytes;
  for (std::size_t i = 0; i < number * size; ++i) {
    bytes += static_cast<char>((first + i / size) * 37 + i % size + 1);
  }
  return bytes;
}

template <typename Ring>
std::string contents(const Ring &ring) {
  return {static_cast<const char *>(ring->storage), std::size_t{ring->capacity} * ring->item_size};
}

using Model = std::deque<std::string>;

template <typename Ring>
void expectHolds(const Ring &ring, const Model &model) {
  for (std::size_t i = 0; i < model.size(); ++i) {
    const std::size_t slot = (ring->head + i) % ring->capacity;
    ASSERT_EQ(contents(ring).substr(slot * ring->item_size, ring->item_size), model[i]) << i;
  }
}

void compareList(unsigned itemSize, unsigned capacity, std::mt19937 &random) {
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const List list(vexora_ringlist_init(itemSize, capacity));
  Model model;
  // The first record's slot: a list restored from a file may begin anywhere, a flushed one begins at 0.
  unsigned begin = list->head = below(capacity);
  list->tail = (begin + capacity - 1) % capacity;
  unsigned pushes = 0;  // since the last flush
  for (unsigned step = 0; step < 1000; ++step) {
    const std::string input = records(step, 1, itemSize);
    std::string out = untouched(std::size_t{itemSize} * (capacity + 1));
    std::string written;
    // From just above the largest capacity down to 0, and below.
    const unsigned number = below(capacity + 3) - 1;
    const unsigned offset = below(capacity + 3) - 1;
    int result = 0;
    int expected = 0;
    if (const unsigned operation = below(80); operation < 50 && step > 0) {
      result = vexora_ringlist_push(list.get(), input.data());
      expected = static_cast<int>((begin + pushes++) % capacity);
      model.push_back(input);
      model.erase(model.begin(), model.size() > capacity ? model.begin() + 1 : model.begin());
    } else if (operation < 60) {
      const bool head = operation < 55;
      result = (head ? vexora_ringlist_get_head : vexora_ringlist_get_tail)(list.get(), out.data());
      written = model.empty() ? std::string(itemSize, '\0') : head ? model.front() : model.back();
    } else if (operation < 70) {
      result = vexora_ringlist_get_counts(list.get(), out.data(), offset, number);
      const bool held = number > 0 && std::uint64_t{offset} + number <= model.size();
      expected = held ? static_cast<int>(number) : -1;
      for (unsigned i = 0; held && i < number; ++i) {
        written += model[offset + i];
      }
    } else if (operation < 79) {
      result = vexora_ringlist_modify_item(list.get(), input.data(), static_cast<int>(number));
      expected = number < model.size() ? 0 : -1;
      (expected == 0 ? model[number] : written) = expected == 0 ? input : "";
    } else {
      result = vexora_ringlist_flush(list.get());
      model.clear();
      begin = pushes = 0;
      ASSERT_EQ(contents(list).find_first_not_of('\0'), std::string::npos);
    }
    ASSERT_EQ(result, expected) << "step " << step;
    ASSERT_EQ(out, written + untouched(out.size() - written.size())) << "step " << step;
    ASSERT_EQ(list->head, model.size() == capacity ? (begin + pushes) % capacity : begin) << "step " << step;
    ASSERT_EQ(list->tail, (begin + pushes + capacity - 1) % capacity) << "step " << step;
    ASSERT_EQ(list->count, model.size()) << "step " << step;
    expectHolds(list, model);
  }
}

// A queue of capacity 1 can store nothing: it is both full and empty.
void compareQueue(unsigned itemSize, unsigned capacity, std::mt19937 &random) {
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const Queue queue(vexora_ringq_init(itemSize, capacity));
  EXPECT_GE(malloc_usable_size(queue->storage), itemSize * (std::size_t{capacity} + 1));
  Model model;
  unsigned head = 0;
  const auto slot = [&](std::size_t distance) { return static_cast<int>((head + distance) % capacity); };
  for (unsigned step = 0; step < 1000; ++step) {
    const std::string input = records(step, capacity + 1, itemSize);
    std::string out = untouched(std::size_t{itemSize} * (capacity + 1));
    std::string written;
    const int held = static_cast<int>(model.size());
    const int free = static_cast<int>(capacity) - 1 - held;
    const bool single = below(2) == 0;
    const int number = single ? 1 : static_cast<int>(below(capacity + 2)) - 1;
    int result = 0;
    int expected = -1;
    if (const unsigned operation = below(100); operation < 40) {
      result = single ? vexora_ringq_push(queue.get(), input.data())
                      : vexora_ringq_push_counts(queue.get(), input.data(), number);
      const int pushed = free > 0 && number <= free ? number : -1;
      for (int n = 0; n < pushed; ++n) {
        model.push_back(records(step + static_cast<unsigned>(n), 1, itemSize));
      }
      expected = single && pushed == 1 ? slot(model.size()) : pushed;
    } else if (operation < 50) {
      result = vexora_ringq_push_head(queue.get(), input.data());
      if (free > 0) {
        model.push_front(records(step, 1, itemSize));
        expected = static_cast<int>(head = (head + capacity - 1) % capacity);
      }
    } else if (operation < 85) {
      result = single ? vexora_ringq_poll(queue.get(), out.data())
                      : vexora_ringq_poll_counts(queue.get(), out.data(), number);
      const int taken = held > 0 ? std::min(number, held) : -1;
      for (int n = 0; n < taken; ++n, model.pop_front(), head = (head + 1) % capacity) {
        written += model.front();
      }
      expected = single && taken == 1 ? slot(0) : taken;
    } else if (operation < 98) {
      result = vexora_ringq_head(queue.get(), out.data());
      written = held == 0 ? "" : model.front();
      expected = held == 0 ? -1 : slot(0);
    } else {
      vexora_ringq_flush(queue.get());
      model.clear();
      expected = static_cast<int>(head = 0);
      ASSERT_EQ(contents(queue).find_first_not_of('\0'), std::string::npos);
    }
    ASSERT_EQ(result, expected) << "step " << step;
    ASSERT_EQ(out, written + untouched(out.size() - written.size())) << "step " << step;
    ASSERT_EQ(std::pair(queue->head, queue->tail), std::pair(head, static_cast<unsigned>(slot(model.size()))));
    expectHolds(queue, model);
  }
}

TEST(Rings, RandomOperationsMatchAModel) {
  std::mt19937 random(21);
  for (const unsigned itemSize : {1U, 3U, 28U}) {
    for (unsigned capacity = 1; capacity <= 7; ++capacity) {
      SCOPED_TRACE(testing::Message() << itemSize << " x " << capacity);
      compareList(itemSize, capacity, random);
      compareQueue(itemSize, capacity, random);
    }
  }
}

TEST(Rings, RefuseSizesThatCannotBe) {
  const std::pair<unsigned, unsigned> sizes[] = {{0, 4},          {4, 0},          {1, 0x80000000},
                                                 {2, 0x80000000}, {0xFFFFFFFF, 2}, {3, 0x7FFFFFFF}};
  for (const auto &[itemSize, capacity] : sizes) {
    EXPECT_EQ(vexora_ringlist_init(itemSize, capacity), nullptr) << itemSize << " x " << capacity;
    EXPECT_EQ(vexora_ringq_init(itemSize, capacity), nullptr) << itemSize << " x " << capacity;
  }
  EXPECT_EQ(vexora_ringq_init(2, 0x7FFFFFFF), nullptr) << "with the spare slot";
}

using Calls = std::vector<std::function<int()>>;

// The calls of a ring that its lock protects; the last one has no buffer.
Calls operations(vexora_ringlist *list, void *buffer) {
  return {[=] { return vexora_ringlist_push(list, buffer); },
          [=] { return vexora_ringlist_get_head(list, buffer); },
          [=] { return vexora_ringlist_get_tail(list, buffer); },
          [=] { return vexora_ringlist_get_counts(list, buffer, 0, 2); },
          [=] { return vexora_ringlist_modify_item(list, buffer, 1); },
          [=] { return vexora_ringlist_flush(list); }};
}

// The same for a queue whose head is in slot 1. The flush has no result, so the head shows that it worked.
Calls operations(vexora_ringq *queue, void *buffer) {
  return {[=] { return vexora_ringq_push(queue, buffer); },
          [=] { return vexora_ringq_push_head(queue, buffer); },
          [=] { return vexora_ringq_push_counts(queue, buffer, 1); },
          [=] { return vexora_ringq_head(queue, buffer); },
          [=] { return vexora_ringq_poll(queue, buffer); },
          [=] { return vexora_ringq_poll_counts(queue, buffer, 1); },
          [=] { return vexora_ringq_flush(queue), queue != nullptr && queue->head == 0 ? 0 : -1; }};
}

thread_local std::function<void()> duringPause;

// Each call is refused after exactly `waits` pauses and changes nothing.
template <typename Ring>
void expectRefused(const Ring *ring, const Calls &calls, unsigned waits) {
  const auto state = [&] { return std::tuple(contents(ring), ring->head, ring->tail); };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    unsigned pauses = 0;
    duringPause = [&] { ++pauses; };
    const auto before = state();
    EXPECT_EQ(calls[i](), -1) << i;
    EXPECT_EQ(state(), before) << i;
    EXPECT_EQ(pauses, waits) << i;
  }
}

// `unheld` are calls for records that the ring doesn't contain: they are refused without the lock.
template <typename Ring>
void expectRefusals(Ring *ring, const Calls &unheld) {
  std::string buffer = untouched(64);
  Calls withoutBuffer = operations(ring, nullptr);
  withoutBuffer.pop_back();
  expectRefused(ring, withoutBuffer, 0);
  expectRefused(ring, operations(static_cast<Ring *>(nullptr), buffer.data()), 0);
  pthread_mutex_t *const lock = std::exchange(ring->lock, nullptr);
  expectRefused(ring, operations(ring, buffer.data()), 0);
  ring->lock = lock;
  LockedElsewhere held(lock);
  expectRefused(ring, operations(ring, buffer.data()), 60'000);
  expectRefused(ring, unheld, 0);
  held.release();
  EXPECT_EQ(buffer, untouched(64));
}

TEST(Rings, RefuseUnusableArgumentsAndWaitAMinuteForTheirLock) {
  const List list(vexora_ringlist_init(4, 4));
  for (unsigned n = 0; n < 3; ++n) {
    vexora_ringlist_push(list.get(), records(n, 1).data());
  }
  std::string out(16, '~');
  expectRefusals(list.get(), {[&] { return vexora_ringlist_get_counts(list.get(), out.data(), 3, 1); },
                              [&] { return vexora_ringlist_modify_item(list.get(), out.data(), 3); }});
  const Queue queue(vexora_ringq_init(4, 8));
  ASSERT_EQ(vexora_ringq_push_counts(queue.get(), records(1, 3).data(), 3), 3);
  ASSERT_EQ(vexora_ringq_poll(queue.get(), out.data()), 1);
  expectRefusals(queue.get(), {});
  EXPECT_EQ(vexora_ringlist_free(nullptr), 0);
  EXPECT_EQ(vexora_ringq_free(nullptr), 0);
}

// The ring's state after the other thread has released the lock decides.
TEST(RingQueue, JudgesUnderItsLockWhetherItIsFullOrEmpty) {
  const Queue queue(vexora_ringq_init(4, 4));
  std::string buffer = untouched(4);
  const Calls calls = operations(queue.get(), buffer.data());
  for (std::size_t i = 0; i < 6; ++i) {
    const std::pair serving(2U, 0U);
    const std::pair refusing(2U, i < 3 ? 1U : 2U);  // full for the pushes, empty for the others
    for (const bool goesThrough : {true, false}) {
      std::tie(queue->head, queue->tail) = goesThrough ? refusing : serving;
      LockedElsewhere held(queue->lock);
      duringPause = [&, pauses = 0]() mutable {
        if (++pauses == 3) {
          std::tie(queue->head, queue->tail) = goesThrough ? serving : refusing;
          held.release();
        }
      };
      EXPECT_EQ(calls[i]() != -1, goesThrough) << i;
    }
  }
}

#ifndef VEXORA_SANITIZED
template <typename Owner, typename Ring>
void expectAllOrNothing(Ring *(*init)(unsigned, unsigned)) {
  for (const auto &[name, failures] : {std::pair(kAnyAllocation, 3U), {"pthread_mutex_init", 1U}}) {
    const HeapWatch heap;
    Owner ring;
    const auto make = [&] { ring.reset(init(28, 10)); };
    const auto check = [&](unsigned n) { EXPECT_TRUE(ring == nullptr && heap.growth() == 0) << n; };
    EXPECT_EQ(failEach(name, ENOMEM, make, check), failures) << name;
    ring.reset();
    EXPECT_EQ(heap.growth(), 0) << name;
  }
}

TEST(Rings, AreMadeWholeOrNotAtAll) {
  expectAllOrNothing<List>(&vexora_ringlist_init);
  expectAllOrNothing<Queue>(&vexora_ringq_init);
}
#endif

}  // namespace
}  // namespace vexora::test

extern "C" int nanosleep(const timespec *length, timespec * /*left*/) {
  EXPECT_TRUE(length->tv_sec == 0 && length->tv_nsec == 1'000'000);
  vexora::test::duringPause();
  return 0;
}
