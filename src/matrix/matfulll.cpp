#include "matrix/matfulll.h"

namespace qvtx {

long MatFullL::count(long col, long lo, long hi) const {
  if (col < 0 || col >= ncol()) ermessage('s', 121, 1, col);
  long found = 0;
  for (long i = nrow() - 1; i >= 0; --i) {
    const long v = data()[i * ncol() + col];
    found += lo <= v && v <= hi ? 1 : 0;
  }
  return found;
}

long MatFullL::count(long col, long lo, long hi, MatFullL& idx, int keep) const {
  if (col < 0 || col >= ncol()) ermessage('s', 122, 1, col);
  if (keep == 0 || idx.nrow() == 0) idx.setdim(idx.ncol() == 1 ? idx.nall() : 0, 1);
  if (idx.ncol() != 1) ermessage('s', 122, 4, idx);
  const long kept = idx.nrow();
  const long found = count(col, lo, hi);
  idx.setrows(kept + found);
  if (idx.nrow() != kept + found) return found;
  long* next = idx.data() + kept;
  for (long i = nrow() - 1; i >= 0; --i) {
    const long v = data()[i * ncol() + col];
    if (lo <= v && v <= hi) *next++ = i;
  }
  return found;
}

void MatFullL::setidx(long col, long start, long step) {
  if (col < 0 || col >= ncol()) ermessage('m', 171, 1, col);
  for (long i = nrow() - 1; i >= 0; --i) data()[i * ncol() + col] = start + i * step;
}

}  // namespace qvtx
