#include "base/isa.h"
#include "matrix/linear_kernels.h"

namespace qvtx {

const LinearKernels& linear_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::linear_kernels;
    case Isa::avx2:
      return avx2::linear_kernels;
    case Isa::baseline:
      break;
  }
#endif
  return baseline::linear_kernels;
}

}  // namespace qvtx
