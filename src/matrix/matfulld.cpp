#include "matrix/matfulld.h"

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

}  // namespace qvtx
