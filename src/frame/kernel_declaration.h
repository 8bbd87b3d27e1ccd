// A row of a family's list (kernels.inc) as the declaration of its function:
//
//   extern "C" { SCAN_KERNELS(MIPO_DECLARE_KERNEL) }
#ifndef MIPO_FRAME_KERNEL_DECLARATION_H
#define MIPO_FRAME_KERNEL_DECLARATION_H

#include "mipo/entries.h"
#include "mipo/keys.h"

namespace mipo::frame {

// The function type that a member of the union mipo_kernel points to.
template <class FunctionPointer>
struct Pointee;
template <class Function>
struct Pointee<Function *> {
  using type = Function;
};

} // namespace mipo::frame

#define MIPO_DECLARE_KERNEL(shape, name, operation, family, width_field, variant) \
  mipo::frame::Pointee<decltype(mipo_kernel::shape)>::type name;

#endif
