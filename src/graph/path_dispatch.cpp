// The kernels of shortest paths of the instruction set in use.

#include "base/kernel_choice.h"
#include "graph/path_kernels.h"

namespace qvtx::paths {

const PathKernels& kernels() { return QVTX_KERNEL(path_kernels); }

}  // namespace qvtx::paths
