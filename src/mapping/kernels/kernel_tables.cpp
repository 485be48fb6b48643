// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "mapping/kernels/cda_kernels.h"
#include "mapping/kernels/god_kernels.h"
#include "mapping/kernels/interpolation_kernels.h"
#include "mapping/kernels/isotop_kernels.h"
#include "mapping/kernels/sammon_kernels.h"
#include "mapping/kernels/stress_kernels.h"

namespace qvtx {

QVTX_DECLARE_KERNEL(GodKernels, god_table)
QVTX_DECLARE_KERNEL(IsotopKernels, isotop_table)
QVTX_DECLARE_KERNEL(PivotKernels, pivot_table)
QVTX_DECLARE_KERNEL(PointKernels, point_table)
QVTX_DECLARE_KERNEL(SammonKernels, sammon_table)
QVTX_DECLARE_KERNEL(StressKernels, stress_table)

const GodKernels& god_kernels() { return QVTX_KERNEL(god_table); }
const IsotopKernels& isotop_kernels() { return QVTX_KERNEL(isotop_table); }
const PivotKernels& pivot_kernels() { return QVTX_KERNEL(pivot_table); }
const PointKernels& point_kernels() { return QVTX_KERNEL(point_table); }
const SammonKernels& sammon_kernels() { return QVTX_KERNEL(sammon_table); }
const StressKernels& stress_kernels() { return QVTX_KERNEL(stress_table); }

}  // namespace qvtx
