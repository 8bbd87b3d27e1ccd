// What stands around the C++ examples of the documents.
#ifndef MIPO_TESTS_DOCUMENTS_PRELUDE_H
#define MIPO_TESTS_DOCUMENTS_PRELUDE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mipo/host/bloom_filter.h"
#include "mipo/host/column_file.h"
#include "mipo/host/csv.h"
#include "mipo/host/predicate.h"
#include "mipo/host/resumable.h"
#include "mipo/host/translation_table.h"
#include "mipo/host/value_stream.h"

inline void use(const auto &...) {
}

#endif
