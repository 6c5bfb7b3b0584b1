// SPDX-License-Identifier: Apache-2.0
//
// Times a hot path against its floor: the least work that any implementation of it has to do. On a shared machine times
// drift by more than the differences that matter here, so both are timed in turns, in rounds of well under a
// millisecond where the work allows it, and what is judged is the median of the rounds' ratios.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace vexora::bench {

inline constexpr const char *kTimeCounter = "time";
inline constexpr const char *kFloorCounter = "floor";
inline constexpr const char *kRatioCounter = "ratio";
inline constexpr const char *kAimCounter = "aim";

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Makes `calls` calls; returns nanoseconds a call. A call tells whether it did its work.
template <typename Call>
double timeCalls(int calls, Call &call, bool &allDone) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < calls; ++i) {
    allDone &= call();
  }
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - begin;
  return taken.count() / calls;
}

/// Runs a benchmark's rounds, each `calls` calls of `subject` and of `floor`, and leaves median times, ratio and aim in
/// its counters.
template <typename Subject, typename Floor>
void compare(benchmark::State &state, double aim, int calls, Subject subject, Floor floor) {
  std::vector<double> subjectTimes;
  std::vector<double> floorTimes;
  std::vector<double> ratios;
  bool allDone = true;
  bool floorFirst = false;
  for ([[maybe_unused]] auto round : state) {
    // What runs second finds the caches as the other left them, so they swap places.
    double floorTime = floorFirst ? timeCalls(calls, floor, allDone) : 0;
    const double subjectTime = timeCalls(calls, subject, allDone);
    if (!floorFirst) {
      floorTime = timeCalls(calls, floor, allDone);
    }
    floorFirst = !floorFirst;
    subjectTimes.push_back(subjectTime);
    floorTimes.push_back(floorTime);
    ratios.push_back(subjectTime / floorTime);
    state.SetIterationTime((subjectTime + floorTime) * calls / 1e9);
  }
  if (!allDone) {
    state.SkipWithError("a call did not do its work");
    return;
  }
  state.counters[kTimeCounter] = median(subjectTimes);
  state.counters[kFloorCounter] = median(floorTimes);
  state.counters[kRatioCounter] = median(ratios);
  state.counters[kAimCounter] = aim;
}

}  // namespace vexora::bench
