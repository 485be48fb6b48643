#include "quant/centroids.h"

#include <algorithm>

namespace qvtx {

void sum_by_prototype(const MatFullD& dat, const MatFullL& bmu, MatFullD& prot) {
  const long dim = dat.ncol();
  std::fill_n(prot.data(), prot.nrow() * prot.ncol(), 0.0);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const double* x = dat.data() + i * dim;
    double* sum = prot.row(bmu(i, 0));
    for (long j = 0; j < dim; ++j) sum[j] += x[j];
  }
}

void divide_row(MatFullD& prot, long k, long count) {
  const double n = static_cast<double>(count);
  double* sum = prot.row(k);
  for (long j = prot.ncol() - 1; j >= 0; --j) sum[j] /= n;
}

}  // namespace qvtx
