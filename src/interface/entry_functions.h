// All entries of the record as functions of the library, declared from their one list.
#ifndef MIPO_INTERFACE_ENTRY_FUNCTIONS_H
#define MIPO_INTERFACE_ENTRY_FUNCTIONS_H

#include "mipo/mipo.h"

extern "C" {
#define DECLARE_ENTRY(result, name, arguments) result name arguments;
MIPO_ENTRIES(DECLARE_ENTRY)
#undef DECLARE_ENTRY
}

#endif
