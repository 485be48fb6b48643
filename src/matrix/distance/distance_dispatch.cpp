// The distance kernels of the instruction set in use.

#include "base/kernel_choice.h"
#include "matrix/distance/distance_kernels.h"

namespace qvtx::distance {

const DistanceKernels& kernels() { return QVTX_KERNEL(distance_kernels); }
const FilterKernels& filter_kernels() { return QVTX_KERNEL(filter_kernels); }

}  // namespace qvtx::distance
