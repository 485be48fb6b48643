// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "matrix/distance/curve_kernels.h"
#include "matrix/distance/distance_kernels.h"
#include "matrix/distance/filter_kernels.h"
#include "matrix/distance/move_kernels.h"

namespace qvtx {

const CurveKernels& curve_kernels() { return QVTX_KERNEL(curve_kernels); }
const DistanceKernels& distance_kernels() { return QVTX_KERNEL(distance_kernels); }
const FilterKernels& filter_kernels() { return QVTX_KERNEL(filter_kernels); }
const MoveKernels& move_kernels() { return QVTX_KERNEL(move_kernels); }

}  // namespace qvtx
