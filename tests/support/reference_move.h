#pragma once
// The move of a row as it is defined, coordinate by coordinate, in the plain rules of the distances.

#include <vector>

#include "matrix/distance/derivative_rules.h"

namespace qvtx::test {

/// Moves x, the row of the terms, and tells whether it came nearer. A term is settled when no coordinate that
/// it depends on is still to move.
template <class Rule, class Terms>
bool moved_by_derivatives(const Rule& rule, const Terms& terms, double* x, double a) {
  const long d = terms.d, reach = Terms::reach;
  const auto joined = [](double s, double t) {
    return std::is_same_v<Rule, distance::Largest> ? distance::larger(s, t) : s + t;
  };
  double before = 0.0;
  for (long k = d; k-- > 0;) before = rule.add(before, terms(k));
  std::vector<double> below(static_cast<std::size_t>(d) + 1);  // what the terms before k add up to
  for (long k = 0; k < d; ++k)
    below[std::size_t(k) + 1] = joined(below[std::size_t(k)], rule.add(0.0, terms(k)));
  double settled = 0.0;
  for (long k = d; k-- > -reach;) {
    if (k >= 0) {
      double sum = settled;
      for (long m = std::min(k + reach, d - 1); m > k - reach; --m) sum = rule.add(sum, terms(m));
      const double total = rule.finish(joined(sum, below[std::size_t(k + 1 - reach)]));
      const double slope =
          terms.derivative(k, total, [&](long m) { return distance::largest_below(terms, m); });
      x[k] -= a * slope;
    }
    if (k + reach < d) settled = rule.add(settled, terms(k + reach));
  }
  return settled < before;
}

/// What MatFullD::move does in the class and exponent in force, other than the cosine class.
inline void plain_move(double* x, const double* y, long d, double a) {
  const distance::ModulusTerms moduli{x, y, d, MatFullD::miex};
  const distance::AreaTerms areas{x, y, d, MatFullD::miex};
  const std::vector<double> old(x, x + d);
  const Metric metric = Metric::in_force();
  const bool nearer = distance::with_rule(MatFullD::miex, [&](const auto& rule) {
    return metric.is_area() ? moved_by_derivatives(rule, areas, x, a)
                            : moved_by_derivatives(rule, moduli, x, a);
  });
  if (nearer && !metric.is_euclidean()) return;
  for (long k = 0; k < d; ++k) x[k] = old[std::size_t(k)] - a * (old[std::size_t(k)] - y[k]);
}

}  // namespace qvtx::test
