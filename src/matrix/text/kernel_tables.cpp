// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "matrix/text/line_kernels.h"

namespace qvtx {

const LineKernels& line_kernels() { return QVTX_KERNEL(line_kernels); }

}  // namespace qvtx
