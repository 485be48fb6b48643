#include "matrix/distance/packed_rows.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

namespace qvtx {
namespace {

constexpr long line_doubles = 8;  // doubles of a cache line, and of the widest vector

double* aligned_start(double* p) {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  const auto over = address % (line_doubles * sizeof(double)) / sizeof(double);
  return over == 0 ? p : p + (line_doubles - static_cast<long>(over));
}

}  // namespace

bool PackedRows::reserve(long rows) {
  const long capacity = places(rows);
  if (capacity <= capacity_) return true;
  const auto cells = static_cast<std::size_t>(capacity) * static_cast<std::size_t>(ncol_);
  std::unique_ptr<double[]> storage(new (std::nothrow) double[cells + line_doubles]);
  if (!storage) return false;
  double* start = aligned_start(storage.get());
  double* used = std::copy_n(start_, capacity_ * ncol_, start);
  std::fill(used, start + cells, std::numeric_limits<double>::infinity());
  storage_ = std::move(storage);
  start_ = start;
  cells_ = static_cast<long>(cells);
  capacity_ = capacity;
  return true;
}

bool PackedRows::assign(const double* rows, long n, long d) {
  nrow_ = 0;
  ncol_ = d;
  capacity_ = storage_ ? cells_ / (block_rows * d) * block_rows : 0;
  if (capacity_ < std::max(n, block_rows)) {
    storage_.reset();
    start_ = nullptr;
    capacity_ = 0;
    if (!reserve(std::max(n, block_rows))) return false;
  } else {
    // Beyond the rows nothing may be left of those before.
    const long full = n / block_rows * block_rows;
    std::fill(start_ + full * d, start_ + capacity_ * d, std::numeric_limits<double>::infinity());
  }
  nrow_ = n;
  for (long i = 0; i < n; ++i) set_row(i, rows + i * d);
  return true;
}

void PackedRows::set_row(long i, const double* row) {
  double* place = start_ + i / block_rows * block_rows * ncol_ + i % block_rows;
  for (long k = 0; k < ncol_; ++k) place[k * block_rows] = row[k];
}

void PackedRows::get_row(long i, double* row) const {
  const double* place = start_ + i / block_rows * block_rows * ncol_ + i % block_rows;
  for (long k = 0; k < ncol_; ++k) row[k] = place[k * block_rows];
}

bool PackedRows::append(const double* row) {
  if (nrow_ == capacity_ && !reserve(2 * capacity_)) return false;
  set_row(nrow_++, row);
  return true;
}

}  // namespace qvtx
