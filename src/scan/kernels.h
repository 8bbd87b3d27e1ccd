// The kernels of this folder as functions, declared from their list.
#ifndef MIPO_SCAN_KERNELS_H
#define MIPO_SCAN_KERNELS_H

#include "interface/kernel_declaration.h"
#include "scan/kernels.inc"

extern "C" {
SCAN_KERNELS(MIPO_DECLARE_KERNEL)
}

#endif
