// The tables that exist, private to this folder. A variant takes the portable table and replaces
// what its processor does better.
#pragma once

#include "pipeline/kernels/kernels.h"

namespace kernels {

[[nodiscard]] const Table& portable_table();

#if defined(__x86_64__)
[[nodiscard]] const Table& avx2_table();
#endif

}  // namespace kernels
