#pragma once
// Counts what a test program allocates. For one source of a program.

#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QVTX_OWN_MALLOC 0
#endif
#endif
#if !defined(QVTX_OWN_MALLOC)
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#define QVTX_OWN_MALLOC 1
#else
#define QVTX_OWN_MALLOC 0
#endif
#endif

namespace {

long allocations = 0;

}  // namespace

#if QVTX_OWN_MALLOC
// Matrices take their storage from malloc, and so does every form of operator new: counting here misses
// nothing. What the C library itself calls stands behind.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) noexcept {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
  ++allocations;
  return __libc_realloc(block, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  ++allocations;
  return __libc_memalign(alignment, size);
}
}
#endif
