// The exported record: constant data that the linker fills, all a host ever sees of the library.
#include "frame/dispatch_table.h"
#include "frame/entries.h"

namespace mipo::frame {
namespace {

constexpr mipo_specialized_ctx make_record() {
  mipo_specialized_ctx record{};
  record.magic = MIPO_MAGIC;
  record.version = MIPO_VERSION_TEXT;
  record.format = MIPO_FORMAT;
  record.specialisation = MIPO_SPECIALISATION;
  constexpr ub8 layout[] = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
  for (unsigned i = 0; i < 10; ++i) record.layout[i] = layout[i];
  record.dispatch_table = mipo_dispatch_table.kernels;

#define FILL_ENTRY(result, name, arguments) record.name = name;
  MIPO_BIT_VECTOR_ENTRIES(FILL_ENTRY, lbiv, ub1)
  MIPO_BIT_VECTOR_ENTRIES(FILL_ENTRY, lbiwv, ub8)
#undef FILL_ENTRY
  record.mipo_init_sharedlib_dydi = mipo_init_sharedlib_dydi;
  record.mipo_set_trace_level_dydi = mipo_set_trace_level_dydi;
  record.mipo_thread_ctx_init_dydi = mipo_thread_ctx_init_dydi;
  record.mipo_thread_ctx_fini_dydi = mipo_thread_ctx_fini_dydi;
  record.mipo_groupkey_dydi = mipo_groupkey_dydi;
  record.mipo_gby_sum_dydi = mipo_gby_sum_dydi;
  record.mipo_bloom_dydi = mipo_bloom_dydi;
  record.mipo_hash_dydi = mipo_hash_dydi;
  record.mipo_brep_decode_dydi = mipo_brep_decode_dydi;
  record.mipo_prefix_decode_dydi = mipo_prefix_decode_dydi;
  record.mipo_eq_stream_dydi = mipo_eq_stream_dydi;
  record.mipo_selective_dydi = mipo_selective_dydi;
  record.mipo_convert_dydi = mipo_convert_dydi;
  record.mipo_sum_vec_dydi = mipo_sum_vec_dydi;
  record.mipo_prefix_sum_vec_dydi = mipo_prefix_sum_vec_dydi;
  record.mipo_lookup_and_compare_dydi = mipo_lookup_and_compare_dydi;
  return record;
}

} // namespace
} // namespace mipo::frame

extern "C" __attribute__((visibility("default"))) constinit const mipo_specialized_ctx mipo_global_specialized_ctx =
    mipo::frame::make_record();
