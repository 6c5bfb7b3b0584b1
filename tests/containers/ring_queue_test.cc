// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <deque>
#include <memory>
#include <random>
#include <tuple>

#include "containers/rings.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

struct FreeQueue {
  void operator()(vexora_ringq *queue) const { EXPECT_EQ(vexora_ringq_free(queue), 0); }
};
using Queue = std::unique_ptr<vexora_ringq, FreeQueue>;

// head, tail
using Place = std::pair<std::uint32_t, std::uint32_t>;
Place place(const Queue &queue) { return {queue->head, queue->tail}; }

std::string contents(const Queue &queue) {
  return {static_cast<const char *>(queue->storage), std::size_t{queue->capacity} * queue->item_size};
}

std::string records(unsigned first, unsigned number, std::size_t size = 4) {
  std::string all;
  for (unsigned n = first; n < first + number; ++n) {
    all += record(n, size);
  }
  return all;
}

// Suits a queue with its front in slot 1. Its flush has no result: it is seen by the head.
std::vector<NamedCall> operations(vexora_ringq *queue, void *buffer) {
  std::vector<NamedCall> calls = {{"push", [=] { return vexora_ringq_push(queue, buffer); }},
                                  {"push_head", [=] { return vexora_ringq_push_head(queue, buffer); }},
                                  {"push_counts", [=] { return vexora_ringq_push_counts(queue, buffer, 1); }},
                                  {"head", [=] { return vexora_ringq_head(queue, buffer); }},
                                  {"poll", [=] { return vexora_ringq_poll(queue, buffer); }},
                                  {"poll_counts", [=] { return vexora_ringq_poll_counts(queue, buffer, 1); }}};
  if (buffer != nullptr) {
    calls.push_back({"flush", [=] {
                       vexora_ringq_flush(queue);
                       return queue != nullptr && queue->head == 0 ? 0 : -1;
                     }});
  }
  return calls;
}

TEST(RingQueue, RefusesSizesThatCannotBe) {
  const std::pair<unsigned, unsigned> sizes[] = {{0, 4},          {4, 0},          {0, 0},         {1, 0x80000000},
                                                 {1, 0xFFFFFFFF}, {0xFFFFFFFF, 1}, {2, 0x7FFFFFFF}};
  for (const auto &[itemSize, capacity] : sizes) {
    EXPECT_EQ(vexora_ringq_init(itemSize, capacity), nullptr) << itemSize << " x " << capacity;
  }
  EXPECT_EQ(vexora_ringq_free(nullptr), 0);
  vexora_ringq_flush(nullptr);
}

TEST(RingQueue, LeavesOneSlotFree) {
  const Queue queue(vexora_ringq_init(4, 4));
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), records(1, 4).data(), 4), -1);
  for (unsigned n = 1; n <= 3; ++n) {
    EXPECT_EQ(vexora_ringq_push(queue.get(), record(n, 4).data()), static_cast<int>(n));
  }
  EXPECT_EQ(vexora_ringq_push(queue.get(), record(4, 4).data()), -1);
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), record(4, 4).data(), 0), -1);
  EXPECT_EQ(place(queue), Place(0, 3));
  EXPECT_EQ(contents(queue).substr(0, 12), records(1, 3));
}

TEST(RingQueue, CarriesRunsAcrossTheEndOfTheStorage) {
  const Queue queue(vexora_ringq_init(4, 4));
  queue->head = queue->tail = 3;
  EXPECT_EQ(vexora_ringq_push_counts(queue.get(), records(4, 3).data(), 3), 3);
  EXPECT_EQ(place(queue), Place(3, 2));
  EXPECT_EQ(contents(queue).substr(12), record(4, 4));
  EXPECT_EQ(contents(queue).substr(0, 8), records(5, 2));
  std::string out = untouched(40);
  EXPECT_EQ(vexora_ringq_poll_counts(queue.get(), out.data(), 10), 3);
  EXPECT_EQ(out, written(records(4, 3), 40));
  EXPECT_EQ(place(queue), Place(2, 2));
}

void compareWithModel(unsigned itemSize, unsigned capacity, std::mt19937 &random) {
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const Queue queue(vexora_ringq_init(itemSize, capacity));
  std::deque<std::string> model;
  unsigned head = 0;
  const auto slot = [&](std::size_t distance) { return static_cast<int>((head + distance) % capacity); };
  for (unsigned step = 0; step < 1000; ++step) {
    const std::string input = records(step, capacity + 1, itemSize);
    const std::string first = record(step, itemSize);
    const bool full = model.size() == capacity - 1;
    const int number = static_cast<int>(below(capacity + 2)) - 1;
    std::string out = untouched(std::size_t{itemSize} * (capacity + 1));
    std::string expected;
    int result = 0;
    int expectedResult = -1;
    const auto take = [&](std::size_t taken) {
      for (; taken > 0; --taken) {
        expected += model.front();
        model.pop_front();
        head = (head + 1) % capacity;
      }
    };
    switch (below(13)) {
      default:
        result = vexora_ringq_push(queue.get(), input.data());
        if (!full) {
          model.push_back(first);
          expectedResult = slot(model.size());
        }
        break;
      case 3:
        result = vexora_ringq_push_head(queue.get(), input.data());
        if (!full) {
          model.push_front(first);
          head = (head + capacity - 1) % capacity;
          expectedResult = slot(0);
        }
        break;
      case 4:
      case 5:
      case 6:
        result = vexora_ringq_push_counts(queue.get(), input.data(), number);
        if (!full && number >= 0 && static_cast<unsigned>(number) <= capacity - 1 - model.size()) {
          for (int i = 0; i < number; ++i) {
            model.push_back(record(step + static_cast<unsigned>(i), itemSize));
          }
          expectedResult = number;
        }
        break;
      case 7:
      case 8:
        result = vexora_ringq_poll(queue.get(), out.data());
        if (!model.empty()) {
          take(1);
          expectedResult = slot(0);
        }
        break;
      case 9:
      case 10:
        result = vexora_ringq_poll_counts(queue.get(), out.data(), number);
        if (!model.empty() && number >= 0) {
          expectedResult = std::min(number, static_cast<int>(model.size()));
          take(static_cast<std::size_t>(expectedResult));
        }
        break;
      case 11:
        result = vexora_ringq_head(queue.get(), out.data());
        if (!model.empty()) {
          expected = model.front();
          expectedResult = slot(0);
        }
        break;
      case 12:
        expectedResult = 0;
        if (below(8) == 0) {
          vexora_ringq_flush(queue.get());
          model.clear();
          head = 0;
          ASSERT_EQ(contents(queue), std::string(contents(queue).size(), '\0'));
        }
    }
    ASSERT_EQ(result, expectedResult) << "step " << step;
    ASSERT_EQ(out, written(expected, out.size())) << "step " << step;
    ASSERT_EQ(place(queue), Place(head, slot(model.size()))) << "step " << step;
  }
}

TEST(RingQueue, RandomOperationsMatchAModel) {
  std::mt19937 random(22);
  for (const unsigned itemSize : {1U, 3U, 28U}) {
    for (unsigned capacity = 1; capacity <= 7; ++capacity) {
      SCOPED_TRACE(testing::Message() << itemSize << " x " << capacity);
      compareWithModel(itemSize, capacity, random);
    }
  }
}

TEST(RingQueue, RefusesUnusableArgumentsAndWaitsAMinuteForItsLock) {
  const Queue queue(vexora_ringq_init(4, 8));
  ASSERT_EQ(vexora_ringq_push_counts(queue.get(), records(1, 3).data(), 3), 3);
  ASSERT_EQ(vexora_ringq_poll(queue.get(), untouched(4).data()), 1);
  expectRefusals(queue.get(), &operations);
}

TEST(RingQueue, ThreadsPassEveryRecordOnceAndInOrder) {
  constexpr std::uint32_t kRecords = 900;  // of each producer
  using Rows = std::array<std::array<std::uint32_t, 6>, 3>;
  const Queue queue(vexora_ringq_init(sizeof(Rows::value_type), 8));
  const auto produce = [&](std::uint32_t producer, unsigned run) {
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
  };
  std::atomic<std::uint32_t> taken = 0;
  std::vector<std::atomic<int>> times(2 * kRecords);
  const auto consume = [&](bool runs) {
    std::array<std::uint32_t, 2> next{};
    while (taken < 2 * kRecords) {
      Rows rows{};
      const int got = runs ? vexora_ringq_poll_counts(queue.get(), rows.data(), 3)
                           : std::min(vexora_ringq_poll(queue.get(), rows.data()), 0) + 1;
      for (int i = 0; i < got; ++i) {
        const auto &row = rows[static_cast<std::size_t>(i)];
        EXPECT_EQ(std::count(row.begin(), row.end(), row[0]), 6);
        std::uint32_t &expected = next[row[0] / kRecords];
        EXPECT_GE(row[0] % kRecords, expected);
        expected = row[0] % kRecords + 1;
        ++times[row[0]];
        ++taken;
      }
      if (got <= 0) {
        std::this_thread::yield();
      }
    }
  };
  std::thread threads[] = {std::thread(produce, 0, 1), std::thread(produce, 1, 3), std::thread(consume, false),
                           std::thread(consume, true)};
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_TRUE(std::all_of(times.begin(), times.end(), [](const auto &count) { return count == 1; }));
  EXPECT_EQ(queue->head, queue->tail);
}

}  // namespace
}  // namespace vexora::test
