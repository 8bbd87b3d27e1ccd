// Selected rows united, intersected and complemented, by the entries for bit vectors.
#ifndef MIPO_ENGINE_RUN_BIT_ALGEBRA_H
#define MIPO_ENGINE_RUN_BIT_ALGEBRA_H

#include <string>

#include "engine/run/kernel_profile.h"
#include "mipo/host/column.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// `result` becomes result OR other. Gives the call.
KernelProfile unite(const host::Library &library, host::Result &result, const host::Result &other,
                    const std::string &condition);
/// `result` becomes result AND other.
KernelProfile intersect(const host::Library &library, host::Result &result, const host::Result &other,
                        const std::string &condition);
/// `result` becomes NOT of, which may be its own bits.
KernelProfile complement(const host::Library &library, host::Result &result, const host::BitVector &of,
                         const std::string &condition);

} // namespace mipo::engine

#endif
