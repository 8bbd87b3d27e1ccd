// Benchmarks in pairs: a kernel, and the limit it is held against. The two take turns within each repetition, the
// repetitions of all pairs are interleaved at random, and what is told is the median of the repetitions' ratios:
// absolute times drift on shared machines, the ratio of two things measured side by side stays.
#ifndef MIPO_BENCH_HARNESS_H
#define MIPO_BENCH_HARNESS_H

#include <functional>
#include <string>

#include "mipo/entries.h"

namespace mipo::bench {

/// Something to measure: `run` works through `rows` rows, of `bytes` bytes in all.
struct Measurement {
  std::string name;
  double rows;
  double bytes;
  std::function<void()> run;
};

/// The limit that a measurement is held against, by the limit's name; where there are two, the one that takes longer.
/// `at_least` is the wanted ratio of the limit's time to the measurement's; 0 if the ratio is only to be shown.
struct Limit {
  std::string name;
  double at_least = 0;
  std::string or_longer = {};
};

/// Declares something that others are held against; it runs whenever one of them does. A name that is there already is
/// left as it is.
void declare_limit(Measurement measurement);

/// Adds a measurement and the limit it is held against, which has been declared.
void measure(Measurement measurement, Limit limit);

/// Runs what was added and prints a line each: rows/s, bytes/s, the limit, the ratio and whether it is reached.
/// Command line: Google Benchmark's own options, --strict (exit code 1 if a limit is missed), --csv.
int run(int argc, char **argv, const std::string &title);

/// The record of the avx2 build, opened once.
const mipo_specialized_ctx &record();

} // namespace mipo::bench

#endif
