#include "column_data.h"

namespace mipo::check {

reference::Compression some_compression(std::size_t bytes, Random &random) {
  reference::Compression compression;
  compression.compressed = random.chance(20);
  compression.decomp_size = static_cast<ub4>(bytes);
  compression.decomp_hint = random.next();
  compression.host_flags = random.chance(50) ? random.next() : random.next() & ~ub8{0x30};
  compression.decode_fails = random.chance(30);
  compression.already_decompressed = random.chance(25);
  return compression;
}

void ColumnData::place(const reference::Compression &compression, const std::vector<ub1> &bytes, mipo_vec &src,
                       mipo_enc_ctx &enc, TestHost &host, Random &random) {
  host.ctx()->host_flags = compression.host_flags;
  if (!compression.compressed) {
    enc.flags &= ~ub4{MIPO_BREP};
    src.data = sources_.keep(bytes);
    return;
  }
  enc.flags |= MIPO_BREP;
  src.data = nowhere_.data();
  src.decomp_size = compression.decomp_size;
  src.decomp_hint = compression.decomp_hint;
  src.decomp_slot = &slot_;
  if (compression.already_decompressed) initial_slot_ = slot_ = sources_.keep(bytes);
  host.stream = nowhere_.data();
  host.slot = &slot_;
  host.decompressed = bytes;
  host.decode_result = compression.decode_fails ? static_cast<ub4>(1 + random.below(1000)) : 0;
}

} // namespace mipo::check
