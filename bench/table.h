// SPDX-License-Identifier: Apache-2.0
//
// The table that a benchmark program prints, and its main function.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "ratio.h"

namespace vexora::bench {

/// Prints a line for each pair as soon as it has run.
class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context &) override {
    std::printf("%-32s %12s %12s %7s %5s\n", "hot path", "ns", "floor ns", "ratio", "aim");
    return true;
  }

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.error_occurred) {
        std::printf("%-32s %s\n", run.run_name.function_name.c_str(), run.error_message.c_str());
        continue;
      }
      const auto counter = [&](const char *name) { return run.counters.at(name).value; };
      const double ratio = counter(kRatioCounter);
      const double aim = counter(kAimCounter);
      std::printf("%-32s %12.1f %12.1f %7.3f %5.1f  %s\n", run.run_name.function_name.c_str(), counter(kTimeCounter),
                  counter(kFloorCounter), ratio, aim, ratio <= aim ? "within" : "OVER");
    }
    std::fflush(stdout);
  }
};

inline int runTable(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return 0;
}

}  // namespace vexora::bench
