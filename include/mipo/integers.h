// The integer names of the interface. Fields of records are native little-endian unless a comment says otherwise.
#ifndef MIPO_INTEGERS_H
#define MIPO_INTEGERS_H

#include <stdint.h>

typedef uint8_t ub1;
typedef uint16_t ub2;
typedef uint32_t ub4;
typedef uint64_t ub8;
typedef int64_t sb8;

#endif
