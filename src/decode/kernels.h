// The kernels of this folder as functions, declared from their list.
#ifndef MIPO_DECODE_KERNELS_H
#define MIPO_DECODE_KERNELS_H

#include "decode/kernels.inc"
#include "interface/kernel_declaration.h"

extern "C" {
DECODE_FAMILY_KERNELS(MIPO_DECLARE_KERNEL)
}

#endif
