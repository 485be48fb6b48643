#include "base/isa.h"
#include "mapping/sammon_kernels.h"

namespace qvtx {

namespace baseline {
extern const SammonKernels sammon_table;
}
#if defined(__x86_64__)
namespace avx2 {
extern const SammonKernels sammon_table;
}
namespace avx512 {
extern const SammonKernels sammon_table;
}
#endif

const SammonKernels& sammon_kernels() {
#if defined(__x86_64__)
  switch (isa_level()) {
    case Isa::avx512:
      return avx512::sammon_table;
    case Isa::avx2:
      return avx2::sammon_table;
    default:
      break;
  }
#endif
  return baseline::sammon_table;
}

}  // namespace qvtx
