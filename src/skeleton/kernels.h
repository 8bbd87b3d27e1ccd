// The kernels of this folder as functions, declared from their list.
#ifndef MIPO_SKELETON_KERNELS_H
#define MIPO_SKELETON_KERNELS_H

#include "interface/kernel_declaration.h"
#include "skeleton/kernels.inc"

extern "C" {
SKELETON_KERNELS(MIPO_DECLARE_KERNEL)
}

#endif
