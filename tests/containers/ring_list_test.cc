// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <random>
#include <tuple>

#include "containers/rings.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

using List = std::unique_ptr<vexora_ringlist, int (*)(vexora_ringlist *)>;
List makeList(unsigned itemSize, unsigned capacity) {
  return {vexora_ringlist_init(itemSize, capacity), &vexora_ringlist_free};
}

// head, tail, count
using Place = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
Place place(const List &list) { return {list->head, list->tail, list->count}; }

TEST(RingList, RefusesSizesThatCannotBe) {
  const std::pair<unsigned, unsigned> sizes[] = {
      {0, 4}, {4, 0}, {0, 0}, {1, 0x80000000}, {0x10000, 0x10000}, {3, 0x7FFFFFFF}, {0xFFFFFFFF, 2}};
  for (const auto &[itemSize, capacity] : sizes) {
    EXPECT_EQ(vexora_ringlist_init(itemSize, capacity), nullptr) << itemSize << " x " << capacity;
  }
  EXPECT_EQ(vexora_ringlist_free(nullptr), 0);
}

TEST(RingList, KeepsNewestWhenFull) {
  const List list = makeList(4, 3);
  EXPECT_EQ(place(list), Place(0, 2, 0));
  EXPECT_EQ(contents(list), std::string(12, '\0'));
  for (const int slot : {0, 1, 2, 0}) {
    EXPECT_EQ(vexora_ringlist_push(list.get(), records(list->tail, 1).data()), slot);
  }
  EXPECT_EQ(place(list), Place(1, 0, 3));
  EXPECT_EQ(contents(list), records(2, 1) + records(0, 2));
}

// A list restored from a file may hold fewer records than slots and begin anywhere.
TEST(RingList, ReadsARestoredRunAcrossTheEndOfTheStorage) {
  const List list = makeList(4, 4);
  const std::string slots = records(0, 4);
  std::copy(slots.begin(), slots.end(), static_cast<char *>(list->storage));
  std::tie(list->head, list->tail, list->count) = Place(3, 1, 3);
  std::string out = untouched(12);
  EXPECT_EQ(vexora_ringlist_get_counts(list.get(), out.data(), 0, 3), 3);
  EXPECT_EQ(out, records(3, 1) + records(0, 2));
  EXPECT_EQ(vexora_ringlist_modify_item(list.get(), records(9, 1).data(), 1), 0);
  EXPECT_EQ(contents(list), records(9, 1) + records(1, 3));
}

void compareWithModel(unsigned itemSize, unsigned capacity, std::mt19937 &random) {
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const List list = makeList(itemSize, capacity);
  std::deque<std::string> model;
  unsigned pushes = 0;  // since the last flush
  for (unsigned step = 0; step < 1000; ++step) {
    const std::string input = records(step, 1, itemSize);
    const std::string zeros(itemSize, '\0');
    std::string out = untouched(std::size_t{itemSize} * (capacity + 1));
    std::string written;
    // From just beyond what any list holds down to 0, and below.
    const unsigned number = below(capacity + 3) - 1;
    const unsigned offset = below(capacity + 3) - 1;
    int result = 0;
    int expected = 0;
    if (const unsigned operation = below(80); operation < 50) {
      result = vexora_ringlist_push(list.get(), input.data());
      expected = static_cast<int>(pushes++ % capacity);
      model.push_back(input);
      model.erase(model.begin(), model.size() > capacity ? model.begin() + 1 : model.begin());
    } else if (operation < 55) {
      result = vexora_ringlist_get_head(list.get(), out.data());
      written = model.empty() ? zeros : model.front();
    } else if (operation < 60) {
      result = vexora_ringlist_get_tail(list.get(), out.data());
      written = model.empty() ? zeros : model.back();
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
      if (expected == 0) {
        model[number] = input;
      }
    } else {
      result = vexora_ringlist_flush(list.get());
      model.clear();
      pushes = 0;
      ASSERT_EQ(contents(list).find_first_not_of('\0'), std::string::npos);
    }
    ASSERT_EQ(result, expected) << "step " << step;
    ASSERT_EQ(out, written + untouched(out.size() - written.size())) << "step " << step;
    const unsigned head = model.size() == capacity ? pushes % capacity : 0;
    ASSERT_EQ(place(list), Place(head, (pushes + capacity - 1) % capacity, model.size())) << "step " << step;
  }
}

TEST(RingList, RandomOperationsMatchAModel) {
  std::mt19937 random(21);
  for (const unsigned itemSize : {1U, 3U, 28U}) {
    for (unsigned capacity = 1; capacity <= 7; ++capacity) {
      SCOPED_TRACE(testing::Message() << itemSize << " x " << capacity);
      compareWithModel(itemSize, capacity, random);
    }
  }
}

Calls operations(vexora_ringlist *list, void *buffer) {
  Calls calls = {{"push", [=] { return vexora_ringlist_push(list, buffer); }},
                 {"get_head", [=] { return vexora_ringlist_get_head(list, buffer); }},
                 {"get_tail", [=] { return vexora_ringlist_get_tail(list, buffer); }},
                 {"get_counts", [=] { return vexora_ringlist_get_counts(list, buffer, 0, 2); }},
                 {"modify_item", [=] { return vexora_ringlist_modify_item(list, buffer, 1); }},
                 {"flush", [=] { return vexora_ringlist_flush(list); }}};
  calls.resize(buffer == nullptr ? 5 : 6);
  return calls;
}

TEST(RingList, RefusesUnusableArgumentsAndWaitsAMinuteForItsLock) {
  const List list = makeList(4, 4);
  for (unsigned n = 0; n < 3; ++n) {
    vexora_ringlist_push(list.get(), records(n, 1).data());
  }
  expectRefusals(list.get(), &operations);
  ASSERT_EQ(pthread_mutex_lock(list->lock), 0);
  EXPECT_EQ(vexora_ringlist_push(list.get(), records(3, 1).data()), 0) << "by the thread that holds the lock";
  EXPECT_EQ(pthread_mutex_unlock(list->lock), 0);
  LockedElsewhere(list->lock).release();
}

TEST(RingList, ThreadsSeeWholeRecordsInOrder) {
  using Row = std::array<std::uint32_t, 8>;
  const List list = makeList(sizeof(Row), 16);
  std::atomic<bool> done = false;
  std::thread flusher([&] {
    while (!done) {
      EXPECT_EQ(vexora_ringlist_flush(list.get()), 0);
      std::this_thread::yield();
    }
  });
  std::thread reader([&] {
    std::uint32_t newest = 0;
    for (int runs = 0; runs < 500;) {
      std::array<Row, 3> rows{};
      runs += vexora_ringlist_get_counts(list.get(), rows.data(), 0, 2) == 2 ? 1 : 0;
      EXPECT_EQ(vexora_ringlist_get_tail(list.get(), &rows[2]), 0);
      for (const Row &row : rows) {
        EXPECT_EQ(std::count(row.begin(), row.end(), row[0]), 8);
      }
      // A list that was emptied in between gives the zeros of its slots.
      EXPECT_TRUE(rows[1][0] == 0 || rows[1][0] == rows[0][0] + 1);
      EXPECT_TRUE(rows[2][0] == 0 || rows[2][0] >= newest);
      newest = std::max(newest, rows[2][0]);
    }
    done = true;
  });
  for (std::uint32_t n = 1; !done; ++n) {
    Row row;
    row.fill(n);
    EXPECT_NE(vexora_ringlist_push(list.get(), row.data()), -1);
  }
  flusher.join();
  reader.join();
}

}  // namespace
}  // namespace vexora::test
