#include "matrix/matfulld.h"

#include <algorithm>
#include <vector>

#include "matrix/heap_sort.h"

namespace qvtx {

char MatFullD::mesp = 'm';
double MatFullD::miex = 2.0;

void MatFullD::copy(const MatFullD& src, const MatFullL& idx, long col) {
  if (col < 0 || col >= idx.ncol()) ermessage('m', 144, 3, col);
  for (long k = idx.nrow() - 1; k >= 0; --k) {
    const long i = idx(k, col);
    if (i < 0 || i >= src.nrow()) src.ermessage('m', 144, 2, i);
  }
  if (this == &src) return;
  setdim(idx.nrow(), src.ncol());
  if (nall() != idx.nrow()) return;
  setrows(idx.nrow());
  for (long k = idx.nrow() - 1; k >= 0; --k) copy(k, src, idx(k, col));
}

void MatFullD::atb(const MatFullD& a, const MatFullD& b) {
  if (a.nrow() != b.nrow()) a.ermessage('a', 162, 2, b);
  MatFullD product(a.ncol(), b.ncol());  // apart, since a or b may be this matrix
  product.setrows(a.ncol());
  if (product.nrow() != a.ncol()) return swap(product);
  for (long r = a.nrow() - 1; r >= 0; --r) {
    const double* x = a.row(r);
    const double* y = b.row(r);
    for (long i = 0; i < a.ncol(); ++i) {
      double* sums = product.row(i);
      for (long j = 0; j < b.ncol(); ++j) sums[j] += x[i] * y[j];
    }
  }
  swap(product);
}

void MatFullD::maxsort(long col, MatFullL& idx, long n) const {
  if (col < 0 || col >= ncol()) ermessage('s', 141, 1, col);
  if (n < 0 || n >= nrow()) n = nrow();
  std::vector<long> order(static_cast<std::size_t>(nrow()));
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<long>(i);
  // Repeated selection of the smallest value, the lowest row among equals, is this order's beginning.
  const auto before = [value = data(), d = ncol(), col](long i, long j) {
    const double x = value[i * d + col], y = value[j * d + col];
    if (x < y || x > y) return x < y;
    if (x != x || y != y) return y != y && (x == x || i < j);  // NaN last
    return i < j;
  };
  std::partial_sort(order.begin(), order.begin() + n, order.end(), before);
  idx.setdim(nrow(), 2);
  idx.setrows(nrow());
  if (idx.nrow() != nrow()) return;
  for (long k = 0; k < n; ++k) {
    const long i = order[static_cast<std::size_t>(k)];
    idx(k, 0) = i;
    idx(i, 1) = k;
  }
}

void MatFullD::potsort(long col, MatFullL& idx) const {
  if (col < 0 || col >= ncol()) ermessage('s', 141, 1, col);
  heap_sort(data(), ncol(), col, nrow(), idx);
}

}  // namespace qvtx
