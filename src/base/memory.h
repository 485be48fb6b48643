#pragma once
// What becomes of a program whose memory is short.

#include <cstddef>
#include <new>

namespace qvtx {

/// Memory that was asked for and is not there.
class OutOfMemory : public std::bad_alloc {
 public:
  explicit OutOfMemory(double bytes) noexcept : bytes_(bytes) {}
  const char* what() const noexcept override { return "out of memory"; }
  double bytes() const noexcept { return bytes_; }

 private:
  double bytes_;
};

/// While an object of this class lives, `memory_failed` throws: somebody catches, and takes back what was
/// begun.
class MemoryWatch {
 public:
  MemoryWatch() noexcept { ++watches_; }
  ~MemoryWatch() { --watches_; }
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;

  static bool stands() noexcept { return watches_ > 0; }

 private:
  static inline int watches_ = 0;
};

/// Called by an operation that did not get this many bytes, when what it works on is in order again: throws
/// OutOfMemory under a watch. Else it returns, and the operation fails as its contract says.
void memory_failed(double bytes);

/// The most bytes that this process can get at all: the memory of the machine, or less by its limits.
double memory_limit();
/// Keeps the process within the memory of the machine: what is beyond is refused when it is asked for,
/// instead of ending the program when it is written to. Does nothing under a sanitizer.
void limit_memory();

/// Says of a block that it will soon be written to as a whole: where it spans large pages, the system gives
/// it such, which is the faster way to memory. It may refuse, and nothing else changes.
void will_be_filled(void* block, std::size_t bytes);
/// Memory, undefined, for a block that is certain to be filled, on whole large pages where it spans several
/// and as long as they come fast: they are taken at once. Null where there is none; std::free takes it back.
void* block_to_fill(std::size_t bytes);

}  // namespace qvtx
