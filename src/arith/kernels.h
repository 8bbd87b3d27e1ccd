// The kernels of this folder as functions, declared from their list.
#ifndef MIPO_ARITH_KERNELS_H
#define MIPO_ARITH_KERNELS_H

#include "arith/kernels.inc"
#include "interface/kernel_declaration.h"

extern "C" {
ARITHMETIC_KERNELS(MIPO_DECLARE_KERNEL)
}

#endif
