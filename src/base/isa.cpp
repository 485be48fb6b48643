#include "base/isa.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace qvtx {
namespace {

/// The level that the environment asks for, the widest when it asks for none.
Isa wanted_level() {
  const char* text = std::getenv("QVTX_ISA");
  const std::string_view name = text != nullptr ? text : "";
  if (name == "baseline") return Isa::baseline;
  if (name == "avx2") return Isa::avx2;
  return Isa::avx512;
}

Isa& current_level() {
  static Isa level = std::min(wanted_level(), isa_best());
  return level;
}

}  // namespace

Isa isa_level() { return current_level(); }

Isa isa_best() {
#if defined(__x86_64__)
  // The same features as the flags that the kernels are compiled with.
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl")) {
    return Isa::avx512;
  }
  if (__builtin_cpu_supports("avx2")) return Isa::avx2;
#endif
  return Isa::baseline;
}

void set_isa_level(Isa level) { current_level() = std::min(level, isa_best()); }

}  // namespace qvtx
