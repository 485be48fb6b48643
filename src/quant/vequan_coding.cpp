// Coding of samples by prototypes, and back.

#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

int VeQuan::ind(const MatFullD& x, MatFullL& idx) const {
  if (!done(pinidone) || x.ncol() != dat.ncol()) return 0;
  nearest_rows(dat, x, idx);
  return 1;
}

int VeQuan::cod(const MatFullD& x, MatFullL& code) const {
  if (!done(pinidone)) return 0;
  if (&x == &dat) {
    code.copy(bmu);
    return 1;
  }
  if (x.ncol() != dat.ncol() || prot.nrow() == 0) return 0;
  if (origin != Origin::clusters) {
    nearest_rows(prot, x, code);
    return 1;
  }
  // A cluster may have any shape, so its mean says nothing about who belongs to it: the nearest datum
  // decides.
  nearest_rows(dat, x, code);
  for (long i = 0; i < code.nrow(); ++i) code(i, 0) = bmu(code(i, 0), 0);
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
  if (!cod(x, code) || !dec(code, y)) return 0.0;
  return x.mqe(y);
}

}  // namespace qvtx
