// The dispatch table and the parallel table of names. Constant data; the index of both is the key of mipo/keys.h.
#ifndef MIPO_FRAME_DISPATCH_TABLE_H
#define MIPO_FRAME_DISPATCH_TABLE_H

#include "mipo/entries.h"

namespace mipo::frame {

// Arrays in structs, so that one constant expression can fill them.
struct DispatchTable {
  mipo_kernel kernels[MIPO_DISPATCH_TABLE_SLOTS];
};
struct DispatchNames {
  const char *names[MIPO_DISPATCH_TABLE_SLOTS];
};

inline constexpr const char *invalid_dispatch = "mipo_invalid_dispatch";

} // namespace mipo::frame

extern "C" {
// A null pointer in every slot without a kernel, under the name "mipo_invalid_dispatch".
extern const mipo::frame::DispatchTable mipo_dispatch_table;
extern const mipo::frame::DispatchNames mipo_dispatch_func_names;

// Number of slots: 8192.
ub4 mipo_dispatch_table_size(void);

// The placeholder for hosts that fill their copies of null slots: ignores its arguments, returns MIPO_NO_KERNEL.
ub4 mipo_null(ub8 unused1, ub8 unused2, ub8 unused3, ub8 unused4);
}

#endif
