// The program on a whole job: reading and encoding a CSV file, and the time that a query spends in kernels.
//
// usage: query_bench FLIGHTS.csv[.zst]     the file with departure, delay, distance, origin, destination
#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "mipo/host/csv.h"
#include "mipo/host/errors.h"
#include "program/program.h"

namespace {

constexpr int repetitions = 9;

double processor_seconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + repetitions / 2, values.end());
  return values[repetitions / 2];
}

void print_line(const std::string &what, double value, const char *unit, double limit, bool at_least) {
  const bool reached = at_least ? value >= limit : value <= limit;
  fmt::print("{:<60} {:>9.2f} {:<5} {} {:>6.2f}  {}\n", what, value, unit, at_least ? "at least" : "at most", limit,
             reached ? "reached" : "missed");
}

} // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::cerr << "usage: query_bench FLIGHTS.csv[.zst]\n";
    return 2;
  }
  const std::string path = argv[1];
  double megabytes = 0;
  std::vector<double> reading, kernels;
  for (int i = 0; i < repetitions; ++i) {
    const double start = processor_seconds();
    try {
      megabytes = static_cast<double>(mipo::host::read_csv(path).text_bytes) / 1e6;
    } catch (const mipo::host::Error &error) {
      std::cerr << error.what() << "\n";
      return 1;
    }
    reading.push_back(processor_seconds() - start);

    const std::string query = "SELECT count(*) FROM \"" + path + "\" WHERE distance > 1000 AND delay BETWEEN 10 AND 60";
    const char *arguments[] = {"mipo", "query", "--format", "json", "--explain", query.c_str()};
    std::ostringstream out;
    if (mipo::program::run_program(6, arguments, out, std::cerr) != 0) return 1;
    kernels.push_back(nlohmann::json::parse(out.str())["explain"]["kernel_seconds"].get<double>());
  }
  fmt::print("The program on {} ({:.1f} MB of text), medians of {} runs\n", path, megabytes, repetitions);
  print_line("reading and encoding, in processor time", megabytes / median(reading), "MB/s", 100, true);
  print_line("kernels of distance > 1000 AND delay BETWEEN 10 AND 60", median(kernels) * 1e3, "ms", 3, false);
  return 0;
}
