#pragma once
// The exponential of the hot loops. The C library's differs by one unit in the last place between processors,
// so the methods whose results must not depend on the machine use this one.

namespace qvtx {

/// e^x within 1 ulp of the true value for results in the normal range; 0 where the true value is below the
/// smallest normal number, +infinity on overflow, NaN for NaN. One sequence of operations without branches,
/// so that a compiler can vectorise a loop over it and every lane has the bits of the scalar form. Usable
/// from kernels: nothing of the standard library.
inline double fixed_exp(double x);

}  // namespace qvtx

#include "base/exponential_inline.h"
