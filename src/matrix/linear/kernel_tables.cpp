// The kernel table of the instruction set in use.

#include "base/kernel_choice.h"
#include "matrix/linear/linear_kernels.h"

namespace qvtx {

const LinearKernels& linear_kernels() { return QVTX_KERNEL(linear_kernels); }

}  // namespace qvtx
