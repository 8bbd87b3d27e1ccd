// What kernels and entries return. The meanings are the same across the library and across releases.
#ifndef MIPO_CODES_H
#define MIPO_CODES_H

// Codes 6, 11, 12, 15, 16, 18, 19, 20 and 23 are resumable stops: the kernel stood still between two rows, left its
// position in `mipo_call_ctx`, and goes on when it is called again.
enum mipo_code {
  MIPO_DONE = 0,                 // done, and the result is not empty
  MIPO_EMPTY = 1,                // done, and the result is empty: no row qualified, no minimum was found
  MIPO_NO_KERNEL = 2,            // no kernel for this combination of forms; nothing was written
  MIPO_INDEX_FORM = 3,           // a scan on a key-value table in index form
  MIPO_NUMERIC_LIMIT = 4,        // the group keys exceed their range, or a result or sum of squares is not finite
  MIPO_DIVISION_BY_ZERO = 5,     // integer division by zero in vector arithmetic
  MIPO_PARTITION_FULL = 6,       // a partition's output is full
  MIPO_CAPACITY_EXHAUSTED = 8,   // a dictionary's budget is used up
  MIPO_LAYOUT_OUT_OF_RANGE = 10, // the parameters of a table layout are out of range
  MIPO_OVERFLOW_MEMORY = 11,     // the overflow area of a table lacks memory
  MIPO_LIST_MEMORY = 12,         // the list area of a table lacks memory
  MIPO_UNKNOWN_MODE = 14,        // a mode that the table's shape does not know
  MIPO_PROBE_FULL = 15,          // the output of a probe is full
  MIPO_SCAN_FULL = 16,           // the output of a scan is full
  MIPO_TRANSPOSE_FULL = 18,      // the output of a transpose is full
  MIPO_GATHER_FULL = 19,         // the output of a gather is full
  MIPO_PARSE_FULL = 20,          // the output of a parse is full; `rows_parsed` tells how far it came
  MIPO_BAD_NUMBER = 21,          // a number in a vector's text could not be accepted
  MIPO_BAD_SYNTAX = 22,          // bad syntax, or a conversion that is not possible
  MIPO_COPY_FULL = 23,           // the output of a copy is full
  MIPO_INVALID_PARAMETER = 24    // the records contradict the kernel: an enumeration out of range, a width not served
};

#endif
