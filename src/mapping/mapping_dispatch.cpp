#include "base/isa.h"
#include "mapping/mapping_kernels.h"

namespace qvtx {

namespace baseline {
extern const MappingKernels mapping_table;
}
#if defined(__x86_64__)
namespace avx2 {
extern const MappingKernels mapping_table;
}
namespace avx512 {
extern const MappingKernels mapping_table;
}
#endif

const MappingKernels& mapping_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::mapping_table;
    case Isa::avx2:
      return avx2::mapping_table;
    default:
      break;
  }
#endif
  return baseline::mapping_table;
}

}  // namespace qvtx
