// Saving and loading of the analysis state, everything but the data, the distances and the local PCA.
//
// A load reads everything into a Snapshot, looks at it as a whole, and only then takes it over: a damaged
// file never leaves half of an old and half of a new state.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "base/files.h"
#include "quant/vequan.h"

namespace qvtx {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

template <class T>
bool has_shape(const MatFullT<T>& m, long rows, long cols) {
  return m.nrow() == rows && m.ncol() == cols;
}

bool all_within(const MatFullL& m, long lo, long hi) {
  const long* end = m.data() + m.nrow() * m.ncol();
  return std::all_of(m.data(), end, [lo, hi](long v) { return v >= lo && v <= hi; });
}

/// Tables without a key that is known now would end the program at its first use.
template <class T>
bool has_keys_of(const MatPrefT<T>& loaded, const MatPrefT<T>& present) {
  for (long k = present.count() - 1; k >= 0; --k)
    if (loaded.getkey(present.getlabel(k)) < 0) return false;
  return true;
}

}  // namespace

struct VeQuan::Snapshot {
  long verbose = 0;
  Gauge state{0};
  MatPrefT<long> lpref{64};
  MatPrefT<double> dpref{64};
  MatFullD ddis;
  MatFullL bmu, bmucnt;
  MatFullD prot, pval;
  MatFullL hits, pidx;
  MatLinkD link;
  MatFullD lwork;
  MatFullL lwork2;

  bool read(std::FILE* f) {
    return read_int32(f, verbose) && state.load_bin(f) && lpref.load_bin(f) && dpref.load_bin(f) &&
           ddis.load_bin(f) && bmu.load_bin(f) && bmucnt.load_bin(f) && prot.load_bin(f) &&
           pval.load_bin(f) && hits.load_bin(f) && pidx.load_bin(f) && link.load_bin(f) &&
           lwork.load_bin(f) && lwork2.load_bin(f);
  }

  bool flag(const char* name) const { return state.getflag(state.getstep(name)) != 0; }

  /// What "prot_ini" promises. Before it the columns may be those of other data: nothing reads them.
  bool initialised_fits(long ndata, long dim) const {
    const long n = prot.nrow();
    return has_shape(ddis, ndata, 1) && has_shape(bmu, ndata, 1) && has_shape(bmucnt, ndata, 2) &&
           prot.ncol() == dim && has_shape(pval, n, 1) && has_shape(hits, n, 1) && all_within(bmu, -1, n - 1);
  }

  /// What "prot_fin" adds.
  bool finished_fits() const {
    const long n = prot.nrow();
    return n > 0 && link.nnode() == n && link.nvalue() == 3 && has_shape(pidx, n, 1) &&
           all_within(bmu, 0, n - 1) && (lwork.nrow() == 0 || lwork.nrow() == n) && !any_negative_length();
  }

  /// Shortest paths do not exist with lengths below 0.
  bool any_negative_length() const {
    for (long k = 0; k < link.nslot(); ++k) {
      if (link.live(k) && link.getvalue(k, 1) < 0.0) return true;
    }
    return false;
  }

  bool grid_fits() const {
    if (lwork.ncol() != 2 || lwork2.ncol() != 3 || lwork2.nrow() > 1) return false;
    return lwork2.nrow() == 0 || (lwork2(0, 0) >= 1 && lwork2(0, 1) >= 1);
  }
};

int VeQuan::save_vbf(std::FILE* f) const {
  if (f == nullptr) return 0;
  return write_int32(f, dat.nrow()) && write_int32(f, dat.ncol()) && write_int32(f, verbose) &&
         state.save_bin(f) && lpref.save_bin(f) && dpref.save_bin(f) && ddis.save_bin(f) && bmu.save_bin(f) &&
         bmucnt.save_bin(f) && prot.save_bin(f) && pval.save_bin(f) && hits.save_bin(f) && pidx.save_bin(f) &&
         link.save_bin(f) && lwork.save_bin(f) && lwork2.save_bin(f);
}

int VeQuan::load_vbf(std::FILE* f) {
  if (f == nullptr) return 0;
  long ndata = 0, dim = 0;
  const bool sized = read_int32(f, ndata) && read_int32(f, dim);
  if (sized && (ndata != dat.nrow() || dim != dat.ncol())) {
    say_piece("size mismatch ... ");
    return 0;
  }
  Snapshot loaded;
  if (!sized || !loaded.read(f) || !accepts(loaded)) {
    state.shutflag(step(pinidone));
    pairs.forget();
    return 0;
  }
  take(loaded);
  return 1;
}

bool VeQuan::accepts(const Snapshot& loaded) const {
  if (!state.same_steps(loaded.state) || !loaded.grid_fits()) return false;
  if (loaded.flag(pinidone) && !loaded.initialised_fits(dat.nrow(), dat.ncol())) return false;
  if (loaded.flag(pfindone) && !loaded.finished_fits()) return false;
  return has_keys_of(loaded.lpref, lpref) && has_keys_of(loaded.dpref, dpref);
}

void VeQuan::take(Snapshot& loaded) {
  verbose = loaded.verbose;
  state.swap(loaded.state);
  lpref.swap(loaded.lpref);
  dpref.swap(loaded.dpref);
  find_keys();
  ddis.swap(loaded.ddis);
  bmu.swap(loaded.bmu);
  bmucnt.swap(loaded.bmucnt);
  prot.swap(loaded.prot);
  pval.swap(loaded.pval);
  hits.swap(loaded.hits);
  pidx.swap(loaded.pidx);
  link.swap(loaded.link);
  lwork.swap(loaded.lwork);
  lwork2.swap(loaded.lwork2);
  derive_unsaved();
}

void VeQuan::derive_unsaved() {
  std::strcpy(method, has_grid() ? som_name : "");  // no other method leaves a trace
  torn = 0;
  reset_order();
  reset_caches();
  compsize.setdim(0, 1);
  lpca.clear();
  if (done(dinidone) && !pairs.make_room()) state.shutflag(step(dinidone));
  if (!done(pfindone)) return;
  MatFullL saved;
  saved.swap(pidx);
  label_components();
  keep_labels(saved);
  name_links();
  if (!lpref.getval(keys.vgdimloc)) return;
  lpca.verbose = 0;  // it works in the middle of the loader's line
  lpca.init(dat, bmu, link);
}

void VeQuan::keep_labels(MatFullL& saved) {
  // Components are numbered in an order that tearing can change although the components stay what they are.
  const long count = compsize.nrow();
  std::vector<long> number(static_cast<std::size_t>(count), -1);  // saved number of each component
  std::vector<bool> taken(static_cast<std::size_t>(count), false);
  for (long k = 0; k < pidx.nrow(); ++k) {
    long& known = number[static_cast<std::size_t>(pidx(k, 0))];
    const long label = saved(k, 0);
    if (label < 0 || label >= count || (known >= 0 && known != label)) return;
    if (known < 0 && taken[static_cast<std::size_t>(label)]) return;
    known = label;
    taken[static_cast<std::size_t>(label)] = true;
  }
  MatFullL sizes;
  sizes.copy(compsize);
  for (long c = 0; c < count; ++c) compsize(number[static_cast<std::size_t>(c)], 0) = sizes(c, 0);
  pidx.swap(saved);
}

int VeQuan::save_vbf(const char* file) const {
  if (file == nullptr) return 0;
  SafeFile target(file);
  if (!target.is_open()) {
    report_missing("save_vbf: file ", file);
    return 0;
  }
  if (verbose) os.ow(prefix).ow("save_vbf: saving binary file ").ow(file).ow(" ... ").flush();
  const bool saved = save_vbf(target.file()) && target.commit();
  say_end(saved ? "done!" : "failed!");
  return saved ? 1 : 0;
}

int VeQuan::load_vbf(const char* file) {
  if (!done(datadone) || file == nullptr) return 0;
  const std::unique_ptr<std::FILE, FileCloser> f(std::fopen(file, "rb"));
  if (!f) {
    report_missing("load_vbf: file ", file);
    return 0;
  }
  const bool report = verbose != 0;  // the load replaces `verbose`
  if (report) os.ow(prefix).ow("load_vbf: loading binary file ").ow(file).ow(" ... ").flush();
  const int loaded = load_vbf(f.get());
  if (report) os.ow(loaded ? "done!" : "failed!").nl();
  return loaded;
}

void VeQuan::report_missing(const char* text, const char* file) const {
  if (verbose) os.ow(prefix).ow(text).ow(file).ow(" not found!").nl();
}

int VeQuan::dgrasave(const char* file, int binary) const {
  if (!done(pfindone) || file == nullptr) return 0;
  say("dgrasave: ");
  const int verbosity = verbose ? 1 : 0;
  return binary ? link.save_bin(file, verbosity) : link.save_asc(file, verbosity, 1);
}

}  // namespace qvtx
