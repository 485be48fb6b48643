#include "quant/rows_in_use.h"

#include <algorithm>
#include <cmath>

namespace qvtx {

namespace {

bool is_finite(const double* x, long n) {
  return std::all_of(x, x + n, [](double v) { return std::isfinite(v); });
}

}  // namespace

RowsInUse::RowsInUse(const MatFullD& m) : rows_(m.nrow()) {
  for (long i = 0; i < rows_; ++i) {
    if (!is_finite(m.row(i), m.ncol())) ++left_out_;
  }
  if (all()) return;
  for (long i = 0; i < rows_; ++i) {
    if (is_finite(m.row(i), m.ncol())) number_.push_back(i);
  }
}

long RowsInUse::number(long i) const {
  if (i < 0 || i >= rows_ - left_out_) return -1;
  return all() ? i : number_[static_cast<std::size_t>(i)];
}

template <class T>
void RowsInUse::pick(const MatFullT<T>& every, MatFullT<T>& used) const {
  const long count = rows_ - left_out_;
  used.setdim(count, every.ncol());
  used.setrows(count);
  for (long i = 0; i < used.nrow(); ++i) used.copy(i, every, number(i));
}

template <class T>
void RowsInUse::spread(const MatFullT<T>& used, T fill, MatFullT<T>& every) const {
  every.setdim(rows_, used.ncol());
  every.setrows(rows_, fill);
  for (long i = 0; i < used.nrow() && every.nrow() == rows_; ++i) every.copy(number(i), used, i);
}

template void RowsInUse::pick(const MatFullT<double>&, MatFullT<double>&) const;
template void RowsInUse::pick(const MatFullT<long>&, MatFullT<long>&) const;
template void RowsInUse::spread(const MatFullT<double>&, double, MatFullT<double>&) const;
template void RowsInUse::spread(const MatFullT<long>&, long, MatFullT<long>&) const;

double mqe_in_use(const MatFullD& x, const MatFullD& b) {
  const RowsInUse rows(x);
  if (rows.all() || b.nrow() != x.nrow()) return x.mqe(b);
  MatFullD left, right;
  rows.pick(x, left);
  rows.pick(b, right);
  return left.mqe(right);
}

}  // namespace qvtx
