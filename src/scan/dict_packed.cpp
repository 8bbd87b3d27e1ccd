// mipo_<operation>_dict_<N>bit[_null] for packed codes of 2 to 24 bits
#include "column/packed_codes.h"
#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

template <unsigned bits, mipo_variant>
struct Packed {
  static ub4 run(const PredicateCall &call) { return evaluate(call, ColumnAt<column::PackedCodes<bits>>()); }
};

} // namespace
} // namespace mipo::scan

extern "C" {
DICT_PACKED_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::Packed)
}
