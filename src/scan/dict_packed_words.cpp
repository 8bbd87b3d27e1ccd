// mipo_<operation>_dict_<N>bit[_null] for 11, 13 to 15, 17 to 20, 24 bits
#include "scan/define_predicate.h"
#include "scan/packed.h"

extern "C" {
DICT_PACKED_PREDICATES_IN(WORDS, MIPO_DEFINE_PREDICATE, mipo::scan::Packed)
}
