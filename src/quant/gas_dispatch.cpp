// The kernel of neural gas of the instruction set in use.

#include "base/kernel_choice.h"
#include "quant/gas_kernels.h"

namespace qvtx::gas {

MoveAndMeasure move_and_measure() { return QVTX_KERNEL(move_and_measure); }

}  // namespace qvtx::gas
