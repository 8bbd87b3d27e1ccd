// mipo_<operation>_dict_<N>bit[_null] for 3, 5, 6, 7, 9, 10, 12 bits
#include "scan/define_predicate.h"
#include "scan/packed.h"

extern "C" {
DICT_PACKED_PREDICATES_IN(HALVES, MIPO_DEFINE_PREDICATE, mipo::scan::Packed)
}
