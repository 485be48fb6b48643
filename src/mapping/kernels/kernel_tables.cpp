// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "mapping/kernels/cda_kernels.h"
#include "mapping/kernels/god_kernels.h"
#include "mapping/kernels/interpolation_kernels.h"
#include "mapping/kernels/isotop_kernels.h"
#include "mapping/kernels/sammon_kernels.h"
#include "mapping/kernels/stress_kernels.h"

namespace qvtx {

const CdaKernels& cda_kernels() { return QVTX_KERNEL(cda_kernels); }
const GodKernels& god_kernels() { return QVTX_KERNEL(god_kernels); }
const InterpolationKernels& interpolation_kernels() { return QVTX_KERNEL(interpolation_kernels); }
const IsotopKernels& isotop_kernels() { return QVTX_KERNEL(isotop_kernels); }
const SammonKernels& sammon_kernels() { return QVTX_KERNEL(sammon_kernels); }
const StressKernels& stress_kernels() { return QVTX_KERNEL(stress_kernels); }

}  // namespace qvtx
