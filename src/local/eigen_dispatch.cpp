#include "base/isa.h"
#include "local/eigen_kernels.h"

namespace qvtx {

template <>
const EigenKernels<double>& eigen_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::eigen_kernels_double;
    case Isa::avx2:
      return avx2::eigen_kernels_double;
    case Isa::baseline:
      break;
  }
#endif
  return baseline::eigen_kernels_double;
}

template <>
const EigenKernels<float>& eigen_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::eigen_kernels_float;
    case Isa::avx2:
      return avx2::eigen_kernels_float;
    case Isa::baseline:
      break;
  }
#endif
  return baseline::eigen_kernels_float;
}

}  // namespace qvtx
