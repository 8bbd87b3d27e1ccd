// The kernels of this folder as functions, declared from their list.
#ifndef MIPO_XLATE_KERNELS_H
#define MIPO_XLATE_KERNELS_H

#include "interface/kernel_declaration.h"
#include "xlate/kernels.inc"

extern "C" {
XLATE_KERNELS(MIPO_DECLARE_KERNEL)
}

#endif
