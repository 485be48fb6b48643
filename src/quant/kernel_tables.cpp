// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "quant/gas_kernels.h"
#include "quant/range_kernels.h"

namespace qvtx {

const GasKernels& gas_kernels() { return QVTX_KERNEL(gas_kernels); }
const RangeKernels& range_kernels() { return QVTX_KERNEL(range_kernels); }

}  // namespace qvtx
