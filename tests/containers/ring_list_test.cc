// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <tuple>

#include "containers/rings.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

struct FreeList {
  void operator()(vexora_ringlist *list) const { EXPECT_EQ(vexora_ringlist_free(list), 0); }
};
using List = std::unique_ptr<vexora_ringlist, FreeList>;

// head, tail, count
using Place = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
Place place(const List &list) { return {list->head, list->tail, list->count}; }

std::string contents(const List &list) {
  return {static_cast<const char *>(list->storage), std::size_t{list->capacity} * list->item_size};
}

std::vector<NamedCall> operations(vexora_ringlist *list, void *buffer) {
  std::vector<NamedCall> calls = {{"push", [=] { return vexora_ringlist_push(list, buffer); }},
                                  {"get_head", [=] { return vexora_ringlist_get_head(list, buffer); }},
                                  {"get_tail", [=] { return vexora_ringlist_get_tail(list, buffer); }},
                                  {"get_counts", [=] { return vexora_ringlist_get_counts(list, buffer, 0, 2); }},
                                  {"modify_item", [=] { return vexora_ringlist_modify_item(list, buffer, 1); }}};
  if (buffer != nullptr) {
    calls.push_back({"flush", [=] { return vexora_ringlist_flush(list); }});
  }
  return calls;
}

List listOf(unsigned capacity, unsigned pushed) {
  List list(vexora_ringlist_init(4, capacity));
  for (unsigned n = 1; n <= pushed; ++n) {
    vexora_ringlist_push(list.get(), record(n, 4).data());
  }
  return list;
}

TEST(RingList, RefusesSizesThatCannotBe) {
  const std::pair<unsigned, unsigned> sizes[] = {
      {0, 4}, {4, 0}, {0, 0}, {1, 0x80000000}, {0x10000, 0x10000}, {3, 0x7FFFFFFF}, {0xFFFFFFFF, 2}};
  for (const auto &[itemSize, capacity] : sizes) {
    EXPECT_EQ(vexora_ringlist_init(itemSize, capacity), nullptr) << itemSize << " x " << capacity;
  }
  EXPECT_EQ(vexora_ringlist_free(nullptr), 0);
}

TEST(RingList, StartsEmptyWithSlotsOfZeros) {
  const List list = listOf(3, 0);
  EXPECT_EQ(place(list), Place(0, 2, 0));
  EXPECT_EQ(list->item_size, 4U);
  EXPECT_EQ(list->capacity, 3U);
  EXPECT_EQ(contents(list), std::string(12, '\0'));
}

TEST(RingList, KeepsNewestWhenFull) {
  const List list = listOf(3, 3);
  EXPECT_EQ(place(list), Place(0, 2, 3));
  EXPECT_EQ(vexora_ringlist_push(list.get(), record(4, 4).data()), 0);
  EXPECT_EQ(place(list), Place(1, 0, 3));
  EXPECT_EQ(contents(list), record(4, 4) + record(2, 4) + record(3, 4));
  std::string out = untouched(12);
  EXPECT_EQ(vexora_ringlist_get_counts(list.get(), out.data(), 0, 3), 3);
  EXPECT_EQ(out, record(2, 4) + record(3, 4) + record(4, 4));
}

TEST(RingList, ReadsARestoredRunAcrossTheEndOfTheStorage) {
  const List list = listOf(4, 4);
  std::tie(list->head, list->tail, list->count) = Place(3, 1, 3);
  std::string out = untouched(12);
  EXPECT_EQ(vexora_ringlist_get_counts(list.get(), out.data(), 0, 3), 3);
  EXPECT_EQ(out, record(4, 4) + record(1, 4) + record(2, 4));
  EXPECT_EQ(vexora_ringlist_get_counts(list.get(), out.data(), 2, 1), 1);
  EXPECT_EQ(out.substr(0, 4), record(2, 4));
  EXPECT_EQ(vexora_ringlist_modify_item(list.get(), record(9, 4).data(), 1), 0);
  EXPECT_EQ(contents(list).substr(0, 4), record(9, 4));
}

void compareWithModel(unsigned itemSize, unsigned capacity, std::mt19937 &random) {
  const auto below = [&random](std::size_t limit) { return static_cast<unsigned>(random() % limit); };
  const List list(vexora_ringlist_init(itemSize, capacity));
  std::deque<std::string> model;
  unsigned pushes = 0;  // since the last flush
  for (unsigned step = 0; step < 1000; ++step) {
    const std::string input = record(step, itemSize);
    const std::string empty(itemSize, '\0');
    std::string out = untouched(std::size_t{itemSize} * (capacity + 1));
    std::string expected;
    int result = 0;
    int expectedResult = 0;
    switch (below(10)) {
      default:
        result = vexora_ringlist_push(list.get(), input.data());
        expectedResult = static_cast<int>(pushes++ % capacity);
        model.push_back(input);
        if (model.size() > capacity) {
          model.pop_front();
        }
        break;
      case 5:
        result = vexora_ringlist_get_head(list.get(), out.data());
        expected = model.empty() ? empty : model.front();
        break;
      case 6:
        result = vexora_ringlist_get_tail(list.get(), out.data());
        expected = model.empty() ? empty : model.back();
        break;
      case 7: {
        const unsigned offset = below(8) == 0 ? 0xFFFFFFFF - below(3) : below(capacity + 1);
        const unsigned number = below(8) == 0 ? 0xFFFFFFFF - below(3) : below(capacity + 2);
        result = vexora_ringlist_get_counts(list.get(), out.data(), offset, number);
        const bool held = number > 0 && std::uint64_t{offset} + number <= model.size();
        expectedResult = held ? static_cast<int>(number) : -1;
        for (unsigned i = 0; held && i < number; ++i) {
          expected += model[offset + i];
        }
        break;
      }
      case 8: {
        const int index = static_cast<int>(below(capacity + 2)) - 1;
        result = vexora_ringlist_modify_item(list.get(), input.data(), index);
        const bool held = index >= 0 && static_cast<std::size_t>(index) < model.size();
        expectedResult = held ? 0 : -1;
        if (held) {
          model[static_cast<std::size_t>(index)] = input;
        }
        break;
      }
      case 9:
        if (below(8) == 0) {
          result = vexora_ringlist_flush(list.get());
          model.clear();
          pushes = 0;
          ASSERT_EQ(contents(list), std::string(contents(list).size(), '\0'));
        }
    }
    ASSERT_EQ(result, expectedResult) << "step " << step;
    ASSERT_EQ(out, written(expected, out.size())) << "step " << step;
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

TEST(RingList, RefusesUnusableArgumentsAndWaitsAMinuteForItsLock) { expectRefusals(listOf(4, 3).get(), &operations); }

TEST(RingList, WorksForAThreadThatHoldsItsLock) {
  const List list = listOf(2, 2);
  ASSERT_EQ(pthread_mutex_lock(list->lock), 0);
  EXPECT_EQ(vexora_ringlist_push(list.get(), record(3, 4).data()), 0);
  EXPECT_EQ(pthread_mutex_unlock(list->lock), 0);
  const LockedElsewhere free(list->lock);
}

TEST(RingList, ThreadsSeeWholeRecordsInOrder) {
  constexpr unsigned kCapacity = 16;
  using Row = std::array<std::uint32_t, 8>;
  const List list(vexora_ringlist_init(sizeof(Row), kCapacity));
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
      const bool got = vexora_ringlist_get_counts(list.get(), rows.data(), 0, 3) == 3;
      EXPECT_EQ(vexora_ringlist_get_tail(list.get(), &rows[2]), 0);
      for (const Row &row : rows) {
        EXPECT_EQ(std::count(row.begin(), row.end(), row[0]), 8);
      }
      // A list that was emptied in between gives the zeros of its slots.
      EXPECT_TRUE(rows[1][0] == 0 || rows[1][0] == rows[0][0] + 1);
      EXPECT_TRUE(rows[2][0] == 0 || rows[2][0] >= newest);
      newest = std::max(newest, rows[2][0]);
      runs += got ? 1 : 0;
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
