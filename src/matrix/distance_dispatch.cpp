// Chooses the distance kernels of the instruction set in force.

#include "base/isa.h"
#include "matrix/distance_kernels.h"

namespace qvtx::distance {

const DistanceKernels& kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::distance_kernels;
    case Isa::avx2:
      return avx2::distance_kernels;
    case Isa::baseline:
      break;
  }
#endif
  return baseline::distance_kernels;
}

const FilterKernels& filter_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::filter_kernels;
    case Isa::avx2:
      return avx2::filter_kernels;
    case Isa::baseline:
      break;
  }
#endif
  return baseline::filter_kernels;
}

}  // namespace qvtx::distance
