// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "graph/path_kernels.h"

namespace qvtx {

const PathKernels& path_kernels() { return QVTX_KERNEL(path_kernels); }

}  // namespace qvtx
