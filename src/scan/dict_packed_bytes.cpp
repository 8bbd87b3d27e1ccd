// mipo_<operation>_dict_<N>bit[_null] for 2 and 4 bits
#include "scan/define_predicate.h"
#include "scan/packed.h"

extern "C" {
DICT_PACKED_PREDICATES_IN(BYTES, MIPO_DEFINE_PREDICATE, mipo::scan::Packed)
}
