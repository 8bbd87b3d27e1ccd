// Everything that crosses the boundary between a host and the library.
#ifndef MIPO_MIPO_H
#define MIPO_MIPO_H

#include "mipo/call.h"
#include "mipo/codes.h"
#include "mipo/entries.h"
#include "mipo/group.h"
#include "mipo/integers.h"
#include "mipo/iterator.h"
#include "mipo/keys.h"
#include "mipo/kv.h"
#include "mipo/vec.h"
#include "mipo/xlate.h"

#endif
