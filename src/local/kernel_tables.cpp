// The kernel tables of the instruction set in use.

#include "base/kernel_choice.h"
#include "local/eigen_kernels.h"
#include "local/lanczos_kernels.h"

namespace qvtx {

template <>
const EigenKernels<double>& eigen_kernels() {
  return QVTX_KERNEL(eigen_kernels_double);
}

template <>
const EigenKernels<float>& eigen_kernels() {
  return QVTX_KERNEL(eigen_kernels_float);
}

const LanczosKernels& lanczos_kernels() { return QVTX_KERNEL(lanczos_kernels); }

}  // namespace qvtx
