#include "settings/matpara.h"

#include <algorithm>

#include "base/elementary.h"

namespace qvtx {

namespace {

constexpr int error_set = 191;  ///< code of the argument errors of MatParaD::set

/// The value of decay law 1, 2 or 3 in row i.
double decayed(int kind, double fval, double lval, double n, double i) {
  switch (kind) {
    case 1:
      return fval + i * (lval - fval) / n;
    case 2:
      return fval * fixed_pow(fixed_pow(lval / fval, 1 / n), i);
    default:
      return (fval * lval * n / (fval - lval)) / (n * lval / (fval - lval) + i);
  }
}

}  // namespace

long MatParaD::additer(long n) {
  if (n > 0) {
    setrows(nrow() + n, 0.0);
  } else {
    setrows(n <= -nrow() ? 0 : nrow() + n, 0.0);
  }
  return nrow();
}

void MatParaD::set(int kind, long col, double fval, double lval, long fidx, long lidx) {
  if (col < 0 || col >= ncol()) ermessage('m', error_set, 2, col);
  if (fidx < 0 || fidx >= nrow()) ermessage('m', error_set, 5, fidx);
  if (lidx < 0 || lidx >= nrow()) lidx = nrow() - 1;
  const long n = lidx - fidx;
  if (n < 1) ermessage('m', error_set, "lidx<=fidx");
  if (fval == lval) kind = 1;
  if (fval < 0) ermessage('m', error_set, "fval<0.00");
  if (lval < 0) ermessage('m', error_set, "lval<0.00");
  if (fval < lval) ermessage('m', error_set, "fval<lval");
  if (kind < 1 || kind > 3) return;

  for (long i = fidx; i <= lidx; ++i) {
    double& cell = (*this)(i, col);
    if (i == 0 || i == n) {
      // The laws meet both values here in exact arithmetic; a step of 1 + 1 ulp would be refused by its
      // method.
      cell = i == 0 ? fval : lval;
      continue;
    }
    const double v = decayed(kind, fval, lval, static_cast<double>(n), static_cast<double>(i));
    cell = i < n ? std::clamp(v, lval, fval) : v;
  }
}

int MatParaD::control(long k) const {
  if (k > ncol()) return 0;
  for (long i = nrow(); --i >= 0;)
    for (long j = k; --j >= 0;)
      if (data()[i * ncol() + j] < 0) return 0;
  return 1;
}

bool load_schedule(MatParaD& sched, const char* file, const char* default_file, int verbose) {
  for (const char* name : {file, default_file})
    if (name != nullptr && sched.load_asc(name, verbose) && sched.nrow() > 0) return true;
  sched.setrows(0, 0.0);
  return false;
}

}  // namespace qvtx
