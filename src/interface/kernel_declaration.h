// A row of a family's list (kernels.inc) as the declaration of its function:
//
//   extern "C" { SCAN_KERNELS(MIPO_DECLARE_KERNEL) }
#ifndef MIPO_INTERFACE_KERNEL_DECLARATION_H
#define MIPO_INTERFACE_KERNEL_DECLARATION_H

#include "mipo/entries.h"
#include "mipo/keys.h"

namespace mipo::interface {

// The function type that a member of the union mipo_kernel points to.
template <class FunctionPointer>
struct Pointee;
template <class Function>
struct Pointee<Function *> {
  using type = Function;
};

} // namespace mipo::interface

#define MIPO_DECLARE_KERNEL(shape, name, operation, family, width_field, variant) \
  mipo::interface::Pointee<decltype(mipo_kernel::shape)>::type name;

#endif
