#include "base/memory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

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

constexpr std::size_t large_page = std::size_t{1} << 21;

/// Seconds that a large page may take, half of what its 512 small ones cost one by one. On a virtual machine
/// whose host has taken unused memory back it takes several times that; then small pages, which are more
/// likely at hand, are the better choice.
constexpr double page_allowance = 0.5e-3;

double processor_seconds() {
  struct timespec now = {};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

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

void* block_to_fill(std::size_t bytes) {
  if (bytes < 2 * large_page || bytes > std::numeric_limits<std::size_t>::max() - large_page)
    return std::malloc(bytes);
  bytes = (bytes + large_page - 1) / large_page * large_page;
  auto* const block = static_cast<char*>(std::aligned_alloc(large_page, bytes));
#if defined(MADV_NOHUGEPAGE)
  if (block == nullptr) return nullptr;
  will_be_filled(block, bytes);
  const double start = processor_seconds();
  double allowed = 2e-3;
  for (std::size_t page = 0; page < bytes; page += large_page, allowed += page_allowance) {
    *static_cast<volatile char*>(block + page) = 0;
    if (processor_seconds() - start <= allowed) continue;
    ::madvise(block + page, bytes - page, MADV_NOHUGEPAGE);
    break;
  }
#endif
  return block;
}

void will_be_filled(void* block, std::size_t bytes) {
#if defined(MADV_HUGEPAGE)
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t first = (begin + large_page - 1) / large_page * large_page;
  const std::uintptr_t last = (begin + bytes) / large_page * large_page;
  if (first < last) ::madvise(static_cast<char*>(block) + (first - begin), last - first, MADV_HUGEPAGE);
#else
  static_cast<void>(block);
  static_cast<void>(bytes);
#endif
}

}  // namespace qvtx
