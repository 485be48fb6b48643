// Saving and loading of the analysis state, everything but the data, the distances and the local PCA.
//
// A load reads everything into a Snapshot, looks at it as a whole, and only then takes it over: a damaged
// file never leaves half of an old and half of a new state.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <tuple>
#include <utility>
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

template <class... Field>
void exchange(std::tuple<Field&...> a, std::tuple<Field&...> b) {
  const auto each = [&]<std::size_t... i>(std::index_sequence<i...>) {
    (std::get<i>(a).swap(std::get<i>(b)), ...);
  };
  each(std::index_sequence_for<Field...>());
}

/// Components are numbered as they were `saved` (nprot x 1) when these numbers tell the same components.
void keep_labels(MatFullL& saved, MatFullL& pidx, MatFullL& compsize) {
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

/// A state that was read, until it is known to be sound.
struct Snapshot : QuantizerState {
  long verbose = 0;

  bool read(std::FILE* f) {
    return read_int32(f, verbose) && std::apply([f](auto&... field) { return (field.load_bin(f) && ...); },
                                                fields<QuantizerState>(*this));
  }

  /// Keeps what was booked for the data in use. False when it was not booked for all data.
  bool pick(const RowsInUse& in_use, long ndata) {
    if (!flag(VeQuan::pinidone)) return true;
    if (ddis.nrow() != ndata || bmu.nrow() != ndata || bmucnt.nrow() != ndata) return false;
    DatumColumns used;
    in_use.pick(ddis, used.ddis);
    in_use.pick(bmu, used.bmu);
    in_use.pick(bmucnt, used.bmucnt);
    exchange(std::tie(ddis, bmu, bmucnt), std::tie(used.ddis, used.bmu, used.bmucnt));
    return true;
  }

  /// Whether a quantizer with these data and this present state can go on from here.
  bool fits(const MatFullD& dat, const QuantizerState& present) const {
    if (!present.state.same_steps(state) || !grid_fits()) return false;
    if (flag(VeQuan::pinidone) && !initialised_fits(dat.nrow(), dat.ncol())) return false;
    if (flag(VeQuan::pfindone) && !finished_fits()) return false;
    return has_keys_of(lpref, present.lpref) && has_keys_of(dpref, present.dpref);
  }

 private:
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

}  // namespace

int VeQuan::save_vbf(std::FILE* f) const {
  if (f == nullptr) return 0;
  DatumColumns spread;  // data that are left out stand as data without prototype
  const DatumColumns* columns = this;
  if (!in_use.all() && done(pinidone)) {
    columns = &spread;
    in_use.spread(ddis, 0.0, spread.ddis);
    in_use.spread(bmu, -1L, spread.bmu);
    in_use.spread(bmucnt, 0L, spread.bmucnt);
  }
  return write_int32(f, getdat().nrow()) && write_int32(f, dat.ncol()) && write_int32(f, verbose) &&
         std::apply([f](const auto&... field) { return (field.save_bin(f) && ...); },
                    fields<const QuantizerState>(*this, *columns));
}

int VeQuan::load_vbf(std::FILE* f) {
  if (f == nullptr) return 0;
  long ndata = 0, dim = 0;
  const bool sized = read_int32(f, ndata) && read_int32(f, dim);
  if (sized && (ndata != getdat().nrow() || dim != dat.ncol())) {
    say_piece("size mismatch ... ");
    return 0;
  }
  Snapshot saved;
  const bool sound = sized && saved.read(f) && (in_use.all() || saved.pick(in_use, ndata));
  if (!sound || !saved.fits(dat, *this)) {
    state.shutflag(step(pinidone));
    pairs.forget();
    return 0;
  }
  verbose = saved.verbose;
  exchange(fields<QuantizerState>(*this), fields<QuantizerState>(saved));
  find_keys();
  derive_unsaved();
  return 1;
}

void VeQuan::derive_unsaved() {
  origin = has_grid() ? Origin::map : Origin::other;  // no other method leaves a trace
  std::strcpy(method, origin == Origin::map ? som_name : "");
  torn = {};
  linkmetric = Metric::in_force();
  reset_unsaved();
  compsize.setdim(0, 1);
  lpca.clear();
  if (done(dinidone) && !pairs.make_room()) state.shutflag(step(dinidone));
  if (!done(pfindone)) return;
  MatFullL saved;
  saved.swap(pidx);
  label_components();
  keep_labels(saved, pidx, compsize);
  name_links();
  if (!integers["vgdimloc"]) return;
  lpca.verbose = 0;  // it works in the middle of the loader's line
  lpca.init(dat, bmu, link);
}

int VeQuan::save_vbf(const char* file) const {
  if (file == nullptr) return 0;
  SafeFile target(file);
  if (!target.is_open()) {
    if (verbose) os.ow(prefix).ow("save_vbf: file ").ow(file).ow(" not found!").nl();
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
    if (verbose) os.ow(prefix).ow("load_vbf: file ").ow(file).ow(" not found!").nl();
    return 0;
  }
  const bool report = verbose != 0;  // the load replaces `verbose`
  if (report) os.ow(prefix).ow("load_vbf: loading binary file ").ow(file).ow(" ... ").flush();
  const int loaded = load_vbf(f.get());
  if (report) os.ow(loaded ? "done!" : "failed!").nl();
  return loaded;
}

int VeQuan::dgrasave(const char* file, int binary) const {
  if (!done(pfindone) || file == nullptr) return 0;
  say("dgrasave: ");
  const int verbosity = verbose ? 1 : 0;
  return binary ? link.save_bin(file, verbosity) : link.save_asc(file, verbosity, 1);
}

}  // namespace qvtx
