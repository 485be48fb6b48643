// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "base/power_kernels.h"

namespace qvtx {

const PowerKernels& power_kernels() { return QVTX_KERNEL(power_kernels); }

}  // namespace qvtx
