// Loading, saving, initialising and counting prototypes, and the steps that the methods share.

#include <algorithm>
#include <cmath>
#include <vector>

#include "quant/spread_start.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// Rows by which the per-prototype columns grow: n where the number is fixed beforehand, else a share of the
/// data that shrinks with the dimension, within 100..800.
long growth_step(long n, long ndata, long dim) {
  if (n >= 5) return n;
  return std::clamp((ndata / 10) / (dim + 1), 100L, 800L);
}

template <class T>
void reset(MatFullT<T>& m, long rows, long cols, T fill) {
  m.setdim(rows, cols);
  m.setrows(rows, fill);
}

/// The last row takes the place of row k.
template <class T>
void drop_row(MatFullT<T>& m, long k) {
  const long last = m.nrow() - 1;
  m.swaprows(k, last);
  m.setrows(last);
}

/// New prototypes, see `prot_ini`; false when out of memory.
bool first_prototypes(const MatFullD& dat, long n, int how, long grow, MatFullD& prot) {
  if (how == 4) {
    prot.copy(dat);
    return prot.nrow() == dat.nrow();
  }
  const long rows = std::max(n, 0L);
  prot.setdim(grow, dat.ncol());
  prot.setrows(rows, 0.0);
  if (prot.nrow() != rows) return false;
  if (rows == 0 || how == 3) return true;
  if (how == 1) {
    prot.random(0, 0.0, 1.0, 0, -1, 0, -1);  // the unit cube, whatever the scale of the data
  } else if (how == 2) {
    if (dat.nrow() == 0) return true;
    MatFullD mean;
    dat.avg(mean);
    for (long i = rows - 1; i >= 0; --i) prot.copy(i, mean, 0);
  } else if (how == 5 && dat.nrow() > 0) {
    return spread_start(prot, dat);
  } else {
    prot.raseli(dat, 0, rows);
  }
  return true;
}

/// The data's prototypes after a deletion; was: the former number of each one left, out of `before`.
void renumber(MatFullL& bmu, const std::vector<long>& was, std::size_t before) {
  std::vector<long> now(before, -1);
  for (std::size_t k = 0; k < was.size(); ++k) now[static_cast<std::size_t>(was[k])] = static_cast<long>(k);
  for (long i = 0; i < bmu.nrow(); ++i) {
    long& k = bmu.data()[i];
    k = k >= 0 && k < static_cast<long>(before) ? now[static_cast<std::size_t>(k)] : -1;
  }
}

}  // namespace

int VeQuan::protload(const char* file, int binary) {
  const long k = step(pinidone);
  if (!state.shutflag(k) || file == nullptr) return 0;
  say("protload: ");
  const int verbosity = verbose ? 1 : 0;
  if (!(binary ? prot.load_bin(file, verbosity) : prot.load_asc(file, verbosity))) {
    prot.setdim(0, dat.ncol());
    return 0;
  }
  return take_prototypes();
}

int VeQuan::protload(MatFullD& m, int copy) {
  if (!state.shutflag(step(pinidone))) return 0;
  say("protload: loading from memory ...");
  if (copy) {
    prot.copy(m);
  } else {
    prot.swap(m);
  }
  say_end("done!");
  return take_prototypes();
}

int VeQuan::take_prototypes() {
  if (prot.ncol() != dat.ncol()) {
    say_line("protload: sizes don't agree!");
    prot.setdim(0, dat.ncol());
    return 0;
  }
  // prot_ini keeps the loaded rows only when "vgkeep_p" says so.
  return prot_ini(0, 0) ? prot_fin("Loaded prototypes", 1) : 0;
}

int VeQuan::protsave(const char* file, int binary) const {
  if (!done(pinidone) || file == nullptr) return 0;
  say("protsave: ");
  const int verbosity = verbose ? 1 : 0;
  return binary ? prot.save_bin(file, verbosity) : prot.save_asc(file, verbosity, 1);
}

int VeQuan::protsave(MatFullD& m) const {
  if (!done(pinidone)) return 0;
  say("protsave: saving in memory ...");
  m.copy(prot);
  say_end("done!");
  return 1;
}

int VeQuan::prot_ini(long n, int how) {
  lpca.clear();
  const long k = step(pinidone);
  if (!state.shutflag(k)) return 0;
  method[0] = '\0';
  origin = Origin::other;
  if (!data_usable()) return 0;
  say("prot_ini: initializing prototypes ... ");
  static constexpr Key<long> used[] = {"vgswap_d", "vgkeep_p", "vgrepl_p",
                                       "vgerrors", "vgmemory", "vglpmaxp"};
  for (const Key<long> key : used) lkey(key);
  const long grow = growth_step(n, dat.nrow(), dat.ncol());
  const bool kept = prot.nrow() > 0 && (integers["vgkeep_p"] != 0 || n < 0);
  if (!(kept ? prot.ncol() == dat.ncol() : first_prototypes(dat, n, how, grow, prot))) {
    say_end("failed!");
    return 0;
  }
  prot.setinc(grow);
  reset_bookkeeping(grow);
  say_end("done!");
  return state.setflag(k);
}

void VeQuan::reset_bookkeeping(long grow) {
  const long nprot = prot.nrow();
  const long ndata = dat.nrow();
  pval.setinc(grow);
  hits.setinc(grow);
  reset(pval, nprot, 1, 0.0);
  reset(hits, nprot, 1, 0L);
  reset(ddis, ndata, 1, 0.0);
  reset(bmu, ndata, 1, -1L);
  reset(bmucnt, ndata, 2, 0L);
  clear_links();
  pidx.setdim(0, 1);
  compsize.setdim(0, 1);
  lwork.setdim(0, 2);
  lwork2.setdim(0, 3);
  reset_unsaved();
}

void VeQuan::reset_unsaved() {
  order.setdim(dat.nrow(), 1);
  order.setrows(dat.nrow(), 0);
  order.setidx(0, 0, 1);
  // A store keeps its matrices when its size does not change, so it is emptied first.
  lvor.setdim(0);
  dvor.setdim(0);
  lvor.setdim(2 * prot.nrow());
  dvor.setdim(2 * prot.nrow());
  pairs.forget();
}

int VeQuan::prot_bmu(long i, double r) {
  const long before = bmu(i, 0);
  double bound = r;
  if (before >= 0 && before < prot.nrow()) {
    const double d = prot.sdas(before, dat, i, no_bound);
    if (d < r) bound = d;
  }
  long k = prot.nearest(dat, i, bound);
  if (k == prot.nrow()) {
    k = prot.addrow(dat, i) - 1;
    pval.addrow();
    hits.addrow();
    pval(k, 0) = 0.0;
    hits(k, 0) = 0;
  }
  return CaptureBook{bmu, bmucnt, hits}.capture(i, k);
}

void VeQuan::prot_mov(long i, double a, long k) {
  prot.row(k);  // reports a row number out of range as an index error of the prototypes
  prot.move(k, dat, i, a);
}

double VeQuan::prot_err() const {
  if (!done(pinidone)) return -1.0;
  const long ndata = dat.nrow();
  if (ndata == 0) return 0.0;
  if (prot.nrow() == 0) return -1.0;
  MatFullL nearest;
  assigned_prototypes(dat, prot, bmu, nearest);
  const long* k = nearest.data();
  double sum = 0.0;
  for (long i = ndata - 1; i >= 0; --i) {
    const double d = prot.sdas(k[i], dat, i, no_bound);
    sum += d * d;
  }
  return 0.5 * sum / static_cast<double>(ndata);
}

long VeQuan::prot_rep(int replace) {
  const long threshold = integers["vglpmaxp"];
  const bool redraw = replace != 0 && integers["vgrepl_p"] != 0;
  long dead = 0;
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    if (hits(k, 0) <= threshold) {
      ++dead;
      if (redraw) prot.raseli(dat, k, 1);
    }
    hits(k, 0) = 0;
  }
  return dead;
}

long VeQuan::protdel(long h) {
  if (!done(pfindone)) return -1;
  const bool grid = lwork.nrow() == prot.nrow();
  std::vector<long> was(static_cast<std::size_t>(prot.nrow()));  // the number that each row had before
  for (std::size_t k = 0; k < was.size(); ++k) was[k] = static_cast<long>(k);
  const std::size_t before = was.size();
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    if (hits(k, 0) != h) continue;
    std::swap(was[static_cast<std::size_t>(k)], was.back());
    was.pop_back();
    drop_row(prot, k);
    drop_row(pval, k);
    drop_row(hits, k);
    link.delrow(k);  // exchanges the nodes in the same way
    if (grid) drop_row(lwork, k);
  }
  const long deleted = static_cast<long>(before - was.size());
  if (deleted == 0) return 0;
  renumber(bmu, was, before);
  if (verbose) os.ow(prefix).ow("protdel: ").ow(deleted).ow(" units removed").nl();
  prot_fin(method, 1);
  return deleted;
}

long VeQuan::protnbr(long h) const { return done(pfindone) ? hits.count(0, h, h) : -1; }

}  // namespace qvtx
