// Chooses the kernel of neural gas of the instruction set in force.

#include "base/isa.h"
#include "quant/gas_kernels.h"

namespace qvtx::gas {

MoveAndMeasure move_and_measure() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::move_and_measure;
    case Isa::avx2:
      return avx2::move_and_measure;
    case Isa::baseline:
      break;
  }
#endif
  return baseline::move_and_measure;
}

}  // namespace qvtx::gas
