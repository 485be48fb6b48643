#include "quant/winners.h"

#include <cmath>

#include "matrix/distance/metric.h"

namespace qvtx {

namespace {

/// Largest magnitude whose terms can be summed over any number of columns that fits a machine.
double moderate(const Metric& metric) { return metric.is_whole_power() ? 1e40 : 1e150; }

/// False for NaN too.
bool is_within(const MatFullD& m, double limit) {
  bool ok = true;
  const long n = m.nrow() * m.ncol();
  for (long c = 0; c < n; ++c) ok &= std::fabs(m.data()[c]) <= limit;
  return ok;
}

}  // namespace

void nearest_rows(const MatFullD& rows, const MatFullD& x, MatFullL& out) {
  rows.nearest_all(x, out);
  for (long i = 0; i < out.nrow(); ++i) {
    if (out(i, 0) >= rows.nrow()) out(i, 0) = 0;
  }
}

void assigned_prototypes(const MatFullD& dat, const MatFullD& prot, const MatFullL& bmu, MatFullL& out) {
  out.copy(bmu);
  const long nprot = prot.nrow();
  const long unassigned = out.nrow() - out.count(0, 0, nprot - 1);
  if (unassigned == 0) return;
  if (unassigned == out.nrow()) {  // before the first epoch
    nearest_rows(prot, dat, out);
    return;
  }
  MatFullL missing, found;
  MatFullD rows;
  for (long i = 0; i < out.nrow(); ++i) {
    if (out(i, 0) >= 0 && out(i, 0) < nprot) continue;
    missing.addrow();
    missing(missing.nrow() - 1, 0) = i;
  }
  rows.copy(dat, missing, 0);
  nearest_rows(prot, rows, found);
  for (long r = 0; r < missing.nrow(); ++r) out(missing(r, 0), 0) = found(r, 0);
}

int CaptureBook::capture(long d, long k) {
  long& winner = bmu(d, 0);
  ++hits(k, 0);
  if (winner == k) {
    ++bmucnt(d, 1);
    return 0;
  }
  winner = k;
  ++bmucnt(d, 0);
  bmucnt(d, 1) = 0;
  return 1;
}

bool searches_agree(const MatFullD& dat, const MatFullD& prot) {
  const Metric metric = Metric::in_force();
  const double limit = moderate(metric);
  return metric.has_plain_terms() && prot.nrow() > 0 && prot.ncol() == dat.ncol() && is_within(dat, limit) &&
         is_within(prot, limit);
}

BatchWinners::BatchWinners(const MatFullD& dat, const MatFullD& prot, CaptureBook book, EpochMemory& memory)
    : book_(book), winner_(memory.winner) {
  prot.nearest_all(dat, memory.winner, memory.nearest);
}

OnlineWinners::OnlineWinners(VeQuan& quantizer, const MatFullD& dat, MatFullD& prot, CaptureBook book,
                             EpochMemory& memory)
    : quantizer_(quantizer),
      dat_(dat),
      prot_(prot),
      book_(book),
      agree_(searches_agree(dat, prot)),
      search_(prot, memory.packed) {}

int OnlineWinners::capture_packed(long d, double r) {
  double distance;
  const long k = search_.nearest(dat_.row(d), distance);
  // A distance up to r is within prot_bmu's bound, by the same inequality as in searches_agree. Beyond r its
  // margin and the creation of prototypes are its own business.
  if (distance <= r) return book_.capture(d, k);
  const int changed = quantizer_.prot_bmu(d, r);
  if (search_.size() < prot_.nrow()) search_.add_row();
  return changed;
}

long OnlineWinners::nearest(long d) const {
  if (packed()) return search_.nearest(dat_.row(d));
  const long k = book_.bmu(d, 0);
  if (k >= 0 && k < prot_.nrow()) {
    const long found = prot_.nearest(dat_, d, prot_.sdas(k, dat_, d, no_bound));
    // Exponents whose root loses a tiny sum can leave the bound below every row.
    if (found < prot_.nrow()) return found;
  }
  return prot_.nearest(dat_, d, no_bound);
}

void OnlineWinners::move(long d, double a, long k) {
  quantizer_.prot_mov(d, a, k);
  moved(k);
}

void OnlineWinners::move(long d, const double* steps, const long* ks, long n) {
  prot_.move(ks, steps, n, dat_, d);
  for (long r = 0; r < n; ++r) moved(ks[r]);
}

void OnlineWinners::moved(long k) {
  if (packed()) search_.update_row(k);
}

}  // namespace qvtx
