// The built column kernels as functions, declared from their lists.
#ifndef MIPO_FRAME_KERNELS_H
#define MIPO_FRAME_KERNELS_H

#include "frame/kernel_lists.h"
#include "mipo/entries.h"

namespace mipo::frame {

// The function type that a member of the union mipo_kernel points to.
template <class FunctionPointer>
struct Pointee;
template <class Function>
struct Pointee<Function *> {
  using type = Function;
};

} // namespace mipo::frame

extern "C" {
#define DECLARE_KERNEL(shape, name, operation, family, width_field, variant) \
  mipo::frame::Pointee<decltype(mipo_kernel::shape)>::type name;
FOR_EACH_KERNEL(DECLARE_KERNEL)
#undef DECLARE_KERNEL
}

#endif
