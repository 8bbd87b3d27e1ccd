// The 17 bit vector entries of a form, taken from their list and sorted by what they do. An entry of a new shape does
// not compile here, and one of a known shape reaches the tests of that shape: none goes untested.
#ifndef MIPO_TESTS_CHECK_BIT_VECTOR_ENTRIES_H
#define MIPO_TESTS_CHECK_BIT_VECTOR_ENTRIES_H

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "check/levels.h"
#include "mipo/mipo.h"

namespace mipo::check {

template <class Unit>
class BitVectorEntries {
public:
  static constexpr bool of_bytes = std::is_same_v<Unit, ub1>;
  static constexpr std::string_view form = of_bytes ? "lbiv" : "lbiwv";
  static constexpr ub8 end_marker = of_bytes ? 0xffffffffu : ~ub8{0};

  /// Bytes of the units that `bits` bits touch.
  static std::size_t bytes_of(ub8 bits) { return (bits + 8 * sizeof(Unit) - 1) / (8 * sizeof(Unit)) * sizeof(Unit); }

  struct Algebra {
    std::string name; ///< of the operation: "and3"
    bool has_result = true;
    void (*count)(ub4 *, const Unit *, ub8) = nullptr;
    void (*one)(Unit *, ub4 *, const Unit *, ub8) = nullptr;
    void (*two)(Unit *, ub4 *, const Unit *, const Unit *, ub8) = nullptr;
    void (*three)(Unit *, ub4 *, const Unit *, const Unit *, const Unit *, ub8) = nullptr;

    void call(Unit *result, ub4 *counter, const Unit *const *source, ub8 length) const {
      if (count != nullptr) count(counter, source[0], length);
      if (one != nullptr) one(result, counter, source[0], length);
      if (two != nullptr) two(result, counter, source[0], source[1], length);
      if (three != nullptr) three(result, counter, source[0], source[1], source[2], length);
    }
  };

  explicit BitVectorEntries(const Level &level) {
#define ADD(result, entry, arguments) add(#entry, level.record->entry);
    if constexpr (of_bytes) {
      MIPO_BIT_VECTOR_ENTRIES(ADD, lbiv, ub1)
    } else {
      MIPO_BIT_VECTOR_ENTRIES(ADD, lbiwv, ub8)
    }
#undef ADD
  }

  std::vector<Algebra> algebra;
  void (*set_range)(Unit *, ub8, ub8) = nullptr;
  void (*clear_range)(Unit *, ub8, ub8) = nullptr;
  void (*begin)(mipo_lbiv_ictx *, const Unit *, ub8, ub4, ub8) = nullptr;
  ub8 (*next_set)(mipo_lbiv_ictx *) = nullptr;
  ub8 (*next_clear)(mipo_lbiv_ictx *) = nullptr;
  ub8 (*batch)(mipo_lbiv_ictx *, ub4 *, ub8) = nullptr;
  ub8 (*run)(ub8, ub8) = nullptr;
  ub8 (*runs)(ub8, ub8, ub8, ub8) = nullptr;

private:
  static std::string operation(std::string_view entry) { // "mipo_lbivand3_dydi"
    const std::size_t head = std::string_view("mipo_").size() + form.size();
    return std::string(entry.substr(head, entry.size() - head - std::string_view("_dydi").size()));
  }

  void add(std::string_view entry, void (*function)(ub4 *, const Unit *, ub8)) {
    algebra.push_back({.name = operation(entry), .has_result = false, .count = function});
  }
  void add(std::string_view entry, void (*function)(Unit *, ub4 *, const Unit *, ub8)) {
    algebra.push_back({.name = operation(entry), .one = function});
  }
  void add(std::string_view entry, void (*function)(Unit *, ub4 *, const Unit *, const Unit *, ub8)) {
    algebra.push_back({.name = operation(entry), .two = function});
  }
  void add(std::string_view entry, void (*function)(Unit *, ub4 *, const Unit *, const Unit *, const Unit *, ub8)) {
    algebra.push_back({.name = operation(entry), .three = function});
  }
  void add(std::string_view entry, void (*function)(Unit *, ub8, ub8)) {
    (operation(entry) == "set_range" ? set_range : clear_range) = function;
  }
  void add(std::string_view, void (*function)(mipo_lbiv_ictx *, const Unit *, ub8, ub4, ub8)) {
    begin = function;
  }
  void add(std::string_view entry, ub8 (*function)(mipo_lbiv_ictx *)) {
    (operation(entry) == "iter" ? next_set : next_clear) = function;
  }
  void add(std::string_view, ub8 (*function)(mipo_lbiv_ictx *, ub4 *, ub8)) {
    batch = function;
  }
  void add(std::string_view, ub8 (*function)(ub8, ub8)) {
    run = function;
  }
  void add(std::string_view, ub8 (*function)(ub8, ub8, ub8, ub8)) {
    runs = function;
  }
};

} // namespace mipo::check

#endif
