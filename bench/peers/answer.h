// What a query gives, in a form in which the answers of different systems can be held against each other.
#ifndef MIPO_BENCH_PEERS_ANSWER_H
#define MIPO_BENCH_PEERS_ANSWER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mipo::bench {

/// monostate: without value.
using Cell = std::variant<std::monostate, std::int64_t, double, std::string>;
using Row = std::vector<Cell>;

struct Answer {
  std::vector<Row> rows;
  double wall_seconds = 0; // from the query's text to its complete result, without the making of these rows
  std::optional<double> kernel_seconds; // of that, in kernels; only mipo tells it
};

/// A number written in decimal: an integer if it has the form of one and fits, else a double. Throws
/// std::runtime_error for anything else.
Cell number_cell(std::string_view text);

/// How much two doubles may differ, relative to the greater one: sums are added up in different orders.
inline constexpr double double_tolerance = 1e-12;

/// The first difference in words, or nothing if the answers are equal: row by row in their order, integers and texts
/// exactly, and numbers of which at least one is a double within double_tolerance.
std::optional<std::string> first_difference(const std::vector<Row> &expected, const std::vector<Row> &found);

} // namespace mipo::bench

#endif
