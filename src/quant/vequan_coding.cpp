// Coding of samples by prototypes, and back.

#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// The nearest of `rows` for each row of x (out: x.nrow x 1), -1 for rows that are not finite.
void nearest_to_finite(const MatFullD& rows, const MatFullD& x, MatFullL& out) {
  const RowsInUse finite(x);
  if (finite.all()) {
    nearest_rows(rows, x, out);
    return;
  }
  MatFullD searched;
  MatFullL found;
  finite.pick(x, searched);
  nearest_rows(rows, searched, found);
  finite.spread(found, -1L, out);
}

}  // namespace

int VeQuan::ind(const MatFullD& x, MatFullL& idx) const {
  if (!done(pinidone) || x.ncol() != dat.ncol()) return 0;
  nearest_to_finite(dat, x, idx);
  if (in_use.all()) return 1;
  for (long i = 0; i < idx.nrow(); ++i) idx(i, 0) = in_use.number(idx(i, 0));
  return 1;
}

int VeQuan::cod(const MatFullD& x, MatFullL& code) const {
  if (!done(pinidone)) return 0;
  if (&x == &dat) {
    code.copy(bmu);
    return 1;
  }
  if (&x == &whole) {
    in_use.spread(bmu, -1L, code);
    return 1;
  }
  if (x.ncol() != dat.ncol() || prot.nrow() == 0) return 0;
  if (origin != Origin::clusters) {
    nearest_to_finite(prot, x, code);
    return 1;
  }
  // A cluster may have any shape, so its mean says nothing about who belongs to it: the nearest datum
  // decides.
  nearest_to_finite(dat, x, code);
  for (long i = 0; i < code.nrow(); ++i) {
    if (code(i, 0) >= 0) code(i, 0) = bmu(code(i, 0), 0);
  }
  return 1;
}

int VeQuan::clusters(MatFullL& table) const {
  MatFullL code;
  if (!done(pfindone) || !cod(getdat(), code)) return 0;
  table.setdim(code.nrow(), 2);
  table.setrows(code.nrow(), -1);
  for (long i = 0; i < table.nrow(); ++i) {
    const long k = code(i, 0);
    if (k < 0) continue;
    table(i, 0) = k;
    table(i, 1) = pidx.get(k, 0);
  }
  return 1;
}

int VeQuan::dec(const MatFullL& code, MatFullD& y) const {
  if (!done(pinidone) || code.ncol() != 1) return 0;
  y.copy(prot, code, 0);
  return 1;
}

double VeQuan::cd_err(const MatFullD& x) const {
  if (!done(pfindone)) return 0.0;
  MatFullL code;
  MatFullD y;
  if (!cod(x, code)) return 0.0;
  const RowsInUse finite(x);
  if (finite.all()) return dec(code, y) ? x.mqe(y) : 0.0;
  MatFullD samples;
  MatFullL codes;
  finite.pick(x, samples);
  finite.pick(code, codes);
  return dec(codes, y) ? samples.mqe(y) : 0.0;
}

}  // namespace qvtx
