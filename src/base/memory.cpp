#include "base/memory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QVTX_ADDRESS_SANITIZER
#endif
#endif

namespace qvtx {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(QVTX_ADDRESS_SANITIZER)
constexpr bool sanitized = true;  // reserves far more than there is
#else
constexpr bool sanitized = false;
#endif

double machine_memory() {
  return static_cast<double>(::sysconf(_SC_PHYS_PAGES)) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

void memory_failed(double bytes) {
  if (MemoryWatch::stands()) throw OutOfMemory(bytes);
}

double memory_limit() {
  double limit = machine_memory();
  for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
    struct rlimit set = {};
    if (::getrlimit(resource, &set) == 0 && set.rlim_cur != RLIM_INFINITY)
      limit = std::min(limit, static_cast<double>(set.rlim_cur));
  }
  return limit;
}

void limit_memory() {
  if (sanitized) return;
  struct rlimit set = {};
  if (::getrlimit(RLIMIT_DATA, &set) != 0) return;
  const auto most = static_cast<rlim_t>(machine_memory());
  if (set.rlim_cur != RLIM_INFINITY && set.rlim_cur <= most) return;
  set.rlim_cur = std::min(most, set.rlim_max);
  ::setrlimit(RLIMIT_DATA, &set);
}

void will_be_filled(void* block, std::size_t bytes) {
#if defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t page = std::uintptr_t{1} << 21;
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t first = (begin + page - 1) / page * page, last = (begin + bytes) / page * page;
  if (first < last) ::madvise(static_cast<char*>(block) + (first - begin), last - first, MADV_HUGEPAGE);
#else
  static_cast<void>(block);
  static_cast<void>(bytes);
#endif
}

}  // namespace qvtx
