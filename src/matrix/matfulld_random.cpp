#include <algorithm>
#include <numeric>
#include <vector>

#include "base/random.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

/// Row numbers 0 .. n-1, drawn without replacement; starts again when all are drawn.
class RowPool {
 public:
  explicit RowPool(long n) : rows_(static_cast<std::size_t>(n)) {}

  long draw() {
    if (left_ == 0) {
      std::iota(rows_.begin(), rows_.end(), 0L);
      left_ = static_cast<long>(rows_.size());
    }
    long& taken = rows_[static_cast<std::size_t>(draw_index(left_))];
    const long row = taken;
    taken = rows_[static_cast<std::size_t>(--left_)];
    return row;
  }

 private:
  std::vector<long> rows_;
  long left_ = 0;
};

/// The inclusive upper index that an argument means.
long upper_index(long given, long count) { return given < 0 || given >= count ? count - 1 : given; }

double random_number(int kind, double lo, double hi) {
  return kind == 1 ? lo + hi * gauss_rand() : lo + (hi - lo) * u_rand();
}

}  // namespace

void MatFullD::random(int kind, double lo, double hi, long r0, long r1, long c0, long c1) {
  if (r0 < 0 || r0 > std::max(nrow() - 1, 0L)) ermessage('s', 151, 4, r0);
  if (c0 < 0 || c0 >= ncol()) ermessage('s', 151, 6, c0);
  const long last_col = upper_index(c1, ncol());
  for (long i = upper_index(r1, nrow()); i >= r0; --i) {
    double* cells = row(i);
    for (long j = last_col; j >= c0; --j) cells[j] = random_number(kind, lo, hi);
  }
}

void MatFullD::random(int kind, const MatFullD& lo, const MatFullD& hi, long r0, long r1) {
  if (lo.nrow() < 1 || lo.ncol() != ncol()) ermessage('s', 152, 2, lo);
  if (hi.nrow() < 1 || hi.ncol() != ncol()) ermessage('s', 152, 3, hi);
  if (r0 < 0 || r0 > std::max(nrow() - 1, 0L)) ermessage('s', 152, 4, r0);
  for (long i = upper_index(r1, nrow()); i >= r0; --i) {
    double* cells = row(i);
    for (long j = ncol() - 1; j >= 0; --j) cells[j] = random_number(kind, lo(0, j), hi(0, j));
  }
}

void MatFullD::raseli(const MatFullD& src, long first, long n) {
  if (first < 0) ermessage('s', 153, 2, first);
  if (nrow() == 0 && src.ncol() != ncol()) setdim(0, src.ncol());
  if (src.ncol() != ncol()) ermessage('s', 153, 1, src);
  if (n < 1) return;
  if (first + n > nrow()) setrows(first + n);
  if (first + n > nrow()) return;
  if (src.nrow() == 0) {
    std::fill(row(first), row(first) + n * ncol(), 0.0);
  } else if (n == 1) {
    copy(first, src, draw_index(src.nrow()));  // what a pool would give, without filling one
  } else {
    RowPool pool(src.nrow());
    for (long k = 0; k < n; ++k) copy(first + k, src, pool.draw());
  }
}

}  // namespace qvtx
