// A source of its own: where a compiler sees both sides of a request, it may leave it out.
#include "support/failing_memory.h"

#include <cstdlib>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size) {
  return qvtx::test::FailingMemory::next_fails() ? nullptr : __real_malloc(size);
}
void* __wrap_realloc(void* block, std::size_t size) {
  return qvtx::test::FailingMemory::next_fails() ? nullptr : __real_realloc(block, size);
}
}

// The forms that do not throw, and those of the library for arrays, call these.
void* operator new(std::size_t size) {
  if (void* const block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
