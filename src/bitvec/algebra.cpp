#include "bitvec/algebra.h"

#include "interface/entry_functions.h"

namespace mipo::bitvec {
namespace {

// One text each for words and vectors.
struct Identity {
  [[gnu::always_inline]] static auto apply(auto a) { return a; }
};
struct Not {
  [[gnu::always_inline]] static auto apply(auto a) { return ~a; }
};
struct And {
  [[gnu::always_inline]] static auto apply(auto a, auto... b) { return (a & ... & b); }
};
struct Or {
  [[gnu::always_inline]] static auto apply(auto a, auto... b) { return (a | ... | b); }
};
struct Xor {
  [[gnu::always_inline]] static auto apply(auto a, auto... b) { return (a ^ ... ^ b); }
};
struct AndNot { // the first source is the one that is complemented
  [[gnu::always_inline]] static auto apply(auto a, auto b) { return ~a & b; }
};

template <class Form, class Operation, class... Source>
void combine_and_count(typename Form::Unit *result, ub4 *count, ub8 length, const Source *...sources) {
  if (count != nullptr)
    *count = combine<Form, Operation, true, true>(result, length, sources...);
  else
    combine<Form, Operation, true, false>(result, length, sources...);
}

} // namespace
} // namespace mipo::bitvec

extern "C" {

using namespace mipo::bitvec;

#define ONE_SOURCE(form, Form, operation, Operation)                                                    \
  void mipo_##form##operation##_dydi(Form::Unit *result, ub4 *count, const Form::Unit *a, ub8 length) { \
    combine_and_count<Form, Operation>(result, count, length, a);                                       \
  }
#define TWO_SOURCES(form, Form, operation, Operation)                                                          \
  void mipo_##form##operation##_dydi(Form::Unit *result, ub4 *count, const Form::Unit *a, const Form::Unit *b, \
                                     ub8 length) {                                                             \
    combine_and_count<Form, Operation>(result, count, length, a, b);                                           \
  }
#define THREE_SOURCES(form, Form, operation, Operation)                                                        \
  void mipo_##form##operation##_dydi(Form::Unit *result, ub4 *count, const Form::Unit *a, const Form::Unit *b, \
                                     const Form::Unit *c, ub8 length) {                                        \
    combine_and_count<Form, Operation>(result, count, length, a, b, c);                                        \
  }
#define POPULATION_COUNT(form, Form)                                           \
  void mipo_##form##popcnt_dydi(ub4 *count, const Form::Unit *a, ub8 length) { \
    *count = combine<Form, Identity, false, true>(nullptr, length, a);         \
  }
#define FORM_ENTRIES(form, Form)          \
  POPULATION_COUNT(form, Form)            \
  ONE_SOURCE(form, Form, not, Not)        \
  TWO_SOURCES(form, Form, and, And)       \
  TWO_SOURCES(form, Form, or, Or)         \
  TWO_SOURCES(form, Form, xor, Xor)       \
  TWO_SOURCES(form, Form, andnot, AndNot) \
  THREE_SOURCES(form, Form, and3, And)    \
  THREE_SOURCES(form, Form, or3, Or)      \
  THREE_SOURCES(form, Form, xor3, Xor)

FORM_ENTRIES(lbiv, ByteForm)
FORM_ENTRIES(lbiwv, WordForm)

#undef FORM_ENTRIES
#undef POPULATION_COUNT
#undef THREE_SOURCES
#undef TWO_SOURCES
#undef ONE_SOURCE
}
