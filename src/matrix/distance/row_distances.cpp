#include "matrix/distance/row_distances.h"

#include <new>

#include "matrix/distance/distance_rules.h"

namespace qvtx::distance {
namespace {

// Sums to distances in place, -1 beyond the limit: the rows are measured whole. A sum that is NaN is right
// only when nothing could have been abandoned before the NaN came in; returns how many need the plain loop.
template <class Rule>
long finish_sums(const Rule& rule, double limit, long n, double* out) {
  long undecided = 0;
  const bool bounded = limit < no_bound;
  for (long i = 0; bounded && i < n; ++i) {
    undecided += out[i] != out[i] ? 1 : 0;
    out[i] = out[i] > limit ? abandoned : out[i];
  }
  finish_rows(rule, out, n);
  return undecided;
}

double cosine(const double* x, const double* y, long d, double yy) {
  return cosine_of(dot(x, y, d), dot(x, x, d), yy);
}

double area_or_modulus(const Metric& metric, const double* x, const double* y, long d, double bound) {
  return with_rule(metric.miex, [=, area = metric.is_area()](const auto& rule) {
    const double limit = limit_of(rule, bound);
    return distance_of(rule, area ? accumulate(rule, PairArea{x, y, d}, d, 0.0, limit)
                                  : accumulate(rule, PairModulus{x, y}, d, 0.0, limit));
  });
}

template <class TermsOf>
void area_or_modulus_rows(double exponent, const TermsOf& terms_of, long n, long d, double bound,
                          double* out) {
  with_rule(exponent, [&](const auto& rule) {
    const double limit = limit_of(rule, bound);
    auto sum_of = row_sums(rule, terms_of, d);
    for (long i = n - 1; i >= 0; --i) out[i] = sum_of(i, limit);
    finish_rows(rule, out, n);
  });
}

void finish_rows(const Metric& metric, const double* rows, long n, long d, const double* x, double bound,
                 double* out) {
  const long undecided = with_rule(
      metric.miex, [=](const auto& rule) { return finish_sums(rule, limit_of(rule, bound), n, out); });
  for (long i = 0; undecided > 0 && i < n; ++i)
    if (out[i] != out[i]) out[i] = area_or_modulus(metric, rows + i * d, x, d, bound);
}

}  // namespace

const RuleKernels* fast_kernels(const Metric& metric) {
  if (!metric.has_plain_terms()) return nullptr;
  const DistanceKernels& all = distance_kernels();
  if (metric.is_whole_power()) return &all.powers[static_cast<int>(metric.miex) - 3];
  return metric.miex == 2.0 ? &all.squares : metric.miex == 1.0 ? &all.moduli : &all.largest;
}

double between(const Metric& metric, const double* x, const double* y, long d, double bound) {
  return metric.is_cosine() ? cosine(x, y, d, dot(y, y, d)) : area_or_modulus(metric, x, y, d, bound);
}

void to_rows(const Metric& metric, const double* rows, long n, long d, const double* x, double bound,
             double* out) {
  if (const RuleKernels* fast = fast_kernels(metric)) {
    fast->row_sums(rows, n, d, x, out);
    finish_rows(metric, rows, n, d, x, bound, out);
    return;
  }
  if (metric.is_area()) {
    const auto terms_of = [=](long i) { return PairArea{rows + i * d, x, d}; };
    return area_or_modulus_rows(metric.miex, terms_of, n, d, bound, out);
  }
  if (metric.is_minkowski()) {
    const auto terms_of = [=](long i) { return PairModulus{rows + i * d, x}; };
    return area_or_modulus_rows(metric.miex, terms_of, n, d, bound, out);
  }
  const double xx = dot(x, x, d);
  for (long i = n - 1; i >= 0; --i) out[i] = cosine(rows + i * d, x, d, xx);
}

PreparedRows::PreparedRows(const Metric& metric, const double* rows, long n, long d)
    : metric_(metric), rows_(rows), ncol_(d) {
  if (const RuleKernels* fast = fast_kernels(metric); fast && packed_.assign(rows, n, d)) kernels_ = fast;
  if (!metric.is_cosine()) return;
  squares_.reset(new (std::nothrow) double[static_cast<std::size_t>(n)]);
  for (long i = 0; squares_ && i < n; ++i)
    squares_[static_cast<std::size_t>(i)] = dot(rows + i * d, rows + i * d, d);
}

void PreparedRows::distances(const double* x, long count, double* out) const {
  if (kernels_) {
    kernels_->packed_sums(packed_.data(), count, ncol_, x, out);
    finish_rows(metric_, rows_, count, ncol_, x, no_bound, out);
    return;
  }
  if (!squares_) return to_rows(metric_, rows_, count, ncol_, x, no_bound, out);
  const double xx = dot(x, x, ncol_);
  for (long i = count - 1; i >= 0; --i)
    out[i] = cosine_of(dot(rows_ + i * ncol_, x, ncol_), squares_[static_cast<std::size_t>(i)], xx);
}

}  // namespace qvtx::distance
