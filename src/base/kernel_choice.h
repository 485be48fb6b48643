#pragma once
// Hot loops exist in several copies, one per instruction set, each in a namespace of its own; the program
// chooses among them at run time. For `thing_kernels.h`, the header of a table of loops:
//
//   struct ThingKernels { ... };               // pointers to the loops, and what they promise
//   const ThingKernels& thing_kernels();       // defined in the folder's kernel_tables.cpp by QVTX_KERNEL
//   QVTX_DECLARE_KERNEL(ThingKernels, thing_kernels)   // the copies, defined in thing_kernels.cpp

#include "base/isa.h"

namespace qvtx {

/// The one of three tables that the instruction set in use asks for.
template <class Kernels>
const Kernels& chosen_kernels(const Kernels& baseline, const Kernels& avx2, const Kernels& avx512) {
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

/// QVTX_KERNEL(name): the table of that name for the instruction set in use. For namespace qvtx.
/// QVTX_DECLARE_KERNEL(Type, name): declares its copies. For namespace qvtx.
#if defined(__x86_64__)
#define QVTX_KERNEL(name) ::qvtx::chosen_kernels(baseline::name, avx2::name, avx512::name)
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
