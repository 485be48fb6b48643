// The derivative of the distance.

#include "matrix/distance/derivative_rules.h"
#include "matrix/distance/row_distances.h"
#include "matrix/matfulld.h"
#include "matrix/shapes.h"

namespace qvtx {

using namespace distance;

namespace {

double derivative(const Metric& metric, const double* x, const double* y, long d, long k) {
  if (metric.is_cosine()) return cosine_derivative(dot(x, y, d), dot(x, x, d), dot(y, y, d), x[k], y[k]);
  if (metric.is_euclidean()) return x[k] - y[k];
  const double total = between(metric, x, y, d, no_bound);
  const auto of = [=](const auto& terms) {
    return terms.derivative(k, total, [&](long m) { return largest_below(terms, m); });
  };
  return metric.is_area() ? of(AreaTerms{x, y, d, metric.miex}) : of(ModulusTerms{x, y, d, metric.miex});
}

}  // namespace

double MatFullD::dhssds(long i, const MatFullD& b, long j, long k) const {
  require_pair(*this, i, b, j);
  if (k < 0 || k >= ncol()) ermessage('e', 57, 4, k);
  return derivative(Metric::in_force(), data() + i * ncol(), b.data() + j * ncol(), ncol(), k);
}

}  // namespace qvtx
