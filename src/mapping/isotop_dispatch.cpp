#include "base/isa.h"
#include "mapping/isotop_kernels.h"

namespace qvtx {

namespace baseline {
extern const IsotopKernels isotop_table;
}
#if defined(__x86_64__)
namespace avx2 {
extern const IsotopKernels isotop_table;
}
namespace avx512 {
extern const IsotopKernels isotop_table;
}
#endif

const IsotopKernels& isotop_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::isotop_table;
    case Isa::avx2:
      return avx2::isotop_table;
    default:
      break;
  }
#endif
  return baseline::isotop_table;
}

}  // namespace qvtx
