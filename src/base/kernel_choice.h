#pragma once
// Chooses among the copies of a kernel that the build makes for the instruction sets, each in a namespace of
// its own.

#include "base/isa.h"

namespace qvtx {

/// The one of three kernels (tables or functions) that the instruction set in use asks for.
template <class Kernel>
const Kernel& chosen_kernel(const Kernel& baseline, const Kernel& avx2, const Kernel& avx512) {
  switch (isa_level()) {
    case Isa::avx512:
      return avx512;
    case Isa::avx2:
      return avx2;
    case Isa::baseline:
      break;
  }
  return baseline;
}

}  // namespace qvtx

/// QVTX_KERNEL(name): the kernel of that name; its copies must be declared in the enclosing namespace.
/// QVTX_DECLARE_KERNEL(Type, name): the declarations of a kernel that is a constant.
#if defined(__x86_64__)
#define QVTX_KERNEL(name) ::qvtx::chosen_kernel(baseline::name, avx2::name, avx512::name)
#define QVTX_DECLARE_KERNEL(Type, name) \
  namespace baseline {                  \
  extern const Type name;               \
  }                                     \
  namespace avx2 {                      \
  extern const Type name;               \
  }                                     \
  namespace avx512 {                    \
  extern const Type name;               \
  }
#else
#define QVTX_KERNEL(name) (baseline::name)
#define QVTX_DECLARE_KERNEL(Type, name) \
  namespace baseline {                  \
  extern const Type name;               \
  }
#endif
