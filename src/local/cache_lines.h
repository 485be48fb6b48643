#pragma once
// Rows and vectors that begin on a cache line. Loads and stores across two lines slow the tridiagonal
// reduction by a third.

#include <cstddef>
#include <cstdint>

namespace qvtx {

/// Numbers in a cache line.
template <class Real>
inline constexpr std::size_t line_size_of = 64 / sizeof(Real);

/// Numbers from one row of n to the next when all begin on a line: an odd number of lines, so that
/// neighbouring rows do not compete for the same places of the cache.
template <class Real>
std::size_t row_stride(std::size_t n) {
  return ((n + line_size_of<Real> - 1) / line_size_of<Real> | 1) * line_size_of<Real>;
}

/// The first number of a block that begins a line, at most a line behind the first.
template <class Real>
Real* first_on_line(Real* block) {
  const std::size_t over = reinterpret_cast<std::uintptr_t>(block) / sizeof(Real) % line_size_of<Real>;
  return over == 0 ? block : block + line_size_of<Real> - over;
}

}  // namespace qvtx
