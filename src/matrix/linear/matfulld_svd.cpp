// Singular value decomposition.

#include <algorithm>

#include "base/ostr.h"
#include "matrix/linear/golub_reinsch.h"
#include "matrix/matfulld.h"

namespace qvtx {

// Singular values that do not count beside the largest become exactly 0.
static void cut_small_values(MatFullD& w, double tol) {
  double* values = w.data();
  const long n = w.ncol();
  const double limit = tol * *std::max_element(values, values + n);
  for (long j = 0; j < n; ++j) {
    if (values[j] <= limit) values[j] = 0;
  }
}

MatFullD& MatFullD::svd(MatFullD& w, MatFullD& v, double tol) {
  if (nrow() < 1 || ncol() < 1) return *this;
  MatFullD input;
  input.copy(*this);
  if (input.nnan() > 0) os.fresh().ow("MatFullD.svd: svd received NaN").nl();
  w.setdim(1, ncol());
  w.setrows(1, 0);
  v.setdim(ncol(), ncol());
  v.setrows(ncol(), 0);
  GolubReinsch(data(), nrow(), ncol()).full(w.data(), v.data());
  v.tsp();
  cut_small_values(w, tol);
  if (nnan() + w.nnan() + v.nnan() > 0) {
    os.fresh().ow("MatFullD.svd: svd produced NaN").nl();
    input.save_bin("svd.bin", 1);
  }
  return *this;
}

}  // namespace qvtx
