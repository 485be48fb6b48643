// The kernel table of the instruction set in use.

#include "base/kernel_choice.h"
#include "matrix/sort/sort_kernels.h"

namespace qvtx {

const SortKernels& sort_kernels() { return QVTX_KERNEL(sort_kernels); }

}  // namespace qvtx
