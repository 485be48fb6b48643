// Matrices of cumulants and of lagged moments, to be diagonalised together.

#include <utility>

#include "matrix/matstor.h"

namespace qvtx {
namespace {

/// A store of n matrices, of which fill(k, matrix) makes the k-th; without any when there is no memory.
template <class Fill>
MatStorD filled(long n, Fill fill) {
  MatStorD store(n);
  for (long k = store.size() - 1; k >= 0; --k) fill(k, store[k]);
  return store;
}

}  // namespace

long MatStorD::tcc(const MatFullD& x, long lags) {
  if (lags < 0 || (lags > 0 && lags >= x.nrow())) ermessage('s', 83, 2, lags);
  *this = filled(lags, [&](long k, MatFullD& out) { x.tcc(out, k + 1); });
  return size();
}

long MatStorD::tck(const MatFullD& x, long lags) {
  if (lags < 0 || (lags > 0 && lags >= x.nrow())) ermessage('s', 85, 2, lags);
  *this = filled(lags, [&](long k, MatFullD& out) { x.tck(out, k + 1); });
  return size();
}

long MatStorD::sck(const MatFullD& x) {
  MatFullD mean, covariances;
  x.avg(mean);
  x.cov(mean, covariances);
  MatStorD store(x.ncol() * (x.ncol() + 1) / 2);
  long k = 0;
  for (long i = 0; i < x.ncol(); ++i)
    for (long j = i; j < x.ncol() && k < store.size(); ++j) x.cok(i, j, mean, covariances, store[k++]);
  *this = std::move(store);
  return size();
}

}  // namespace qvtx
