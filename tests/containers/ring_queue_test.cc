// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <random>

#include "containers/rings.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

using Queue = std::unique_ptr<vexora_ringq, int (*)(vexora_ringq *)>;
Queue makeQueue(unsigned itemSize, unsigned capacity) {
  return {vexora_ringq_init(itemSize, capacity), &vexora_ringq_free};
}

// head, tail
using Place = std::pair<std::uint32_t, std::uint32_t>;
Place place(const Queue &queue) { return {queue->head, queue->tail}; }

TEST(RingQueue, RefusesSizesThatCannotBe) {
  const std::pair<unsigned, unsigned> sizes[] = {{0, 4},          {4, 0},          {0, 0},         {1, 0x80000000},
                                                 {1, 0xFFFFFFFF}, {0xFFFFFFFF, 1}, {2, 0x7FFFFFFF}};
  for (const auto &[itemSize, capacity] : sizes) {
    EXPECT_EQ(vexora_ringq_init(itemSize, capacity), nullptr) << itemSize << " x " << capacity;
  }
  EXPECT_EQ(vexora_ringq_free(nullptr), 0);
}

TEST(RingQueue, LeavesOneSlotFreeAndGoesOnAtTheFirst) {
  const Queue queue = makeQueue(4, 4);
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), records(0, 4).data(), 4), -1);
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), records(0, 3).data(), 3), 3);
  EXPECT_EQ(vexora_ringq_push(queue.get(), records(3, 1).data()), -1);
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), records(3, 1).data(), 0), -1);
  std::string out = untouched(40);
  EXPECT_EQ(vexora_ringq_poll_counts(queue.get(), out.data(), 10), 3);
  EXPECT_EQ(out, records(0, 3) + untouched(28));
  EXPECT_EQ(place(queue), Place(3, 3));
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), records(4, 3).data(), 3), 3);
  EXPECT_EQ(place(queue), Place(3, 2));
  EXPECT_EQ(contents(queue), records(5, 2) + records(2, 1) + records(4, 1));
}

void compareWithModel(unsigned itemSize, unsigned capacity, std::mt19937 &random) {
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const Queue queue = makeQueue(itemSize, capacity);
  std::deque<std::string> model;
  unsigned head = 0;
  const auto slot = [&](std::size_t distance) { return static_cast<int>((head + distance) % capacity); };
  for (unsigned step = 0; step < 1000; ++step) {
    const std::string input = records(step, capacity + 1, itemSize);
    std::string out = untouched(std::size_t{itemSize} * (capacity + 1));
    std::string written;
    const unsigned free = capacity - 1 - static_cast<unsigned>(model.size());
    const int number = static_cast<int>(below(capacity + 2)) - 1;
    int result = 0;
    int expected = -1;
    const auto append = [&](unsigned count) {
      for (unsigned n = step; n < step + count; ++n) {
        model.push_back(records(n, 1, itemSize));
      }
    };
    const auto take = [&](unsigned count) {
      for (head = static_cast<unsigned>(slot(count)); count > 0; --count) {
        written += model.front();
        model.pop_front();
      }
    };
    if (const unsigned operation = below(100); operation < 25) {
      result = vexora_ringq_push(queue.get(), input.data());
      append(free > 0 ? 1 : 0);
      expected = free > 0 ? slot(model.size()) : -1;
    } else if (operation < 35) {
      result = vexora_ringq_push_head(queue.get(), input.data());
      if (free > 0) {
        model.push_front(input.substr(0, itemSize));
        expected = static_cast<int>(head = (head + capacity - 1) % capacity);
      }
    } else if (operation < 55) {
      result = vexora_ringq_push_counts(queue.get(), input.data(), number);
      expected = free > 0 && number >= 0 && number <= static_cast<int>(free) ? number : -1;
      append(static_cast<unsigned>(std::max(expected, 0)));
    } else if (operation < 70) {
      result = vexora_ringq_poll(queue.get(), out.data());
      if (!model.empty()) {
        take(1);
        expected = slot(0);
      }
    } else if (operation < 85) {
      result = vexora_ringq_poll_counts(queue.get(), out.data(), number);
      expected = model.empty() || number < 0 ? -1 : std::min(number, static_cast<int>(model.size()));
      take(static_cast<unsigned>(std::max(expected, 0)));
    } else if (operation < 98) {
      result = vexora_ringq_head(queue.get(), out.data());
      written = model.empty() ? "" : model.front();
      expected = model.empty() ? -1 : slot(0);
    } else {
      vexora_ringq_flush(queue.get());
      model.clear();
      expected = static_cast<int>(head = 0);
      ASSERT_EQ(contents(queue).find_first_not_of('\0'), std::string::npos);
    }
    ASSERT_EQ(result, expected) << "step " << step;
    ASSERT_EQ(out, written + untouched(out.size() - written.size())) << "step " << step;
    ASSERT_EQ(place(queue), Place(head, slot(model.size()))) << "step " << step;
  }
}

// One of capacity 1 holds nothing: it is full and empty at once.
TEST(RingQueue, RandomOperationsMatchAModel) {
  std::mt19937 random(22);
  for (const unsigned itemSize : {1U, 3U, 28U}) {
    for (unsigned capacity = 1; capacity <= 7; ++capacity) {
      SCOPED_TRACE(testing::Message() << itemSize << " x " << capacity);
      compareWithModel(itemSize, capacity, random);
    }
  }
}

// For a queue with its front in slot 1. The flush has no result: it is seen by the head.
Calls operations(vexora_ringq *queue, void *buffer) {
  const auto flush = [=] {
    vexora_ringq_flush(queue);
    return queue != nullptr && queue->head == 0 ? 0 : -1;
  };
  Calls calls = {{"push", [=] { return vexora_ringq_push(queue, buffer); }},
                 {"push_head", [=] { return vexora_ringq_push_head(queue, buffer); }},
                 {"push_counts", [=] { return vexora_ringq_push_counts(queue, buffer, 1); }},
                 {"head", [=] { return vexora_ringq_head(queue, buffer); }},
                 {"poll", [=] { return vexora_ringq_poll(queue, buffer); }},
                 {"poll_counts", [=] { return vexora_ringq_poll_counts(queue, buffer, 1); }},
                 {"flush", flush}};
  calls.resize(buffer == nullptr ? 6 : 7);
  return calls;
}

TEST(RingQueue, RefusesUnusableArgumentsAndWaitsAMinuteForItsLock) {
  const Queue queue = makeQueue(4, 8);
  ASSERT_EQ(vexora_ringq_push_counts(queue.get(), records(1, 3).data(), 3), 3);
  ASSERT_EQ(vexora_ringq_poll(queue.get(), untouched(4).data()), 1);
  expectRefusals(queue.get(), &operations);
}

TEST(RingQueue, ThreadsPassEveryRecordOnceAndInOrder) {
  constexpr std::uint32_t kRecords = 900;  // of each producer
  using Rows = std::array<std::array<std::uint32_t, 6>, 3>;
  const Queue queue = makeQueue(sizeof(Rows::value_type), 8);
  std::atomic<int> producing = 2;
  const auto produce = [&](std::uint32_t producer, std::uint32_t run) {
    for (std::uint32_t n = 0; n < kRecords; n += run) {
      Rows rows{};
      for (std::uint32_t i = 0; i < run; ++i) {
        rows[i].fill(producer * kRecords + n + i);
      }
      while ((run == 1 ? vexora_ringq_push(queue.get(), rows.data())
                       : vexora_ringq_push_counts(queue.get(), rows.data(), static_cast<int>(run))) == -1) {
        std::this_thread::yield();
      }
    }
    --producing;
  };
  std::vector<std::atomic<int>> times(2 * kRecords);
  const auto consume = [&](bool inRuns) {
    std::array<std::uint32_t, 2> next{};
    int got = 0;
    for (bool more = true; more || got > 0; std::this_thread::yield()) {
      Rows rows{};
      more = producing > 0;
      got = inRuns ? vexora_ringq_poll_counts(queue.get(), rows.data(), 3)
                   : std::min(vexora_ringq_poll(queue.get(), rows.data()), 0) + 1;
      for (auto row = rows.begin(); row < rows.begin() + got; ++row) {
        const std::uint32_t number = row->front();
        EXPECT_EQ(std::count(row->begin(), row->end(), number), 6);
        EXPECT_GE(number, next[number / kRecords]);
        next[number / kRecords] = number + 1;
        ++times[number];
      }
    }
  };
  std::thread threads[] = {std::thread(produce, 0, 1), std::thread(produce, 1, 3), std::thread(consume, false),
                           std::thread(consume, true)};
  std::for_each(std::begin(threads), std::end(threads), [](std::thread &thread) { thread.join(); });
  EXPECT_TRUE(std::all_of(times.begin(), times.end(), [](const auto &count) { return count == 1; }));
}

}  // namespace
}  // namespace vexora::test
