// Saving and loading of the analysis state, everything but the data, the distances and the local PCA.
//
// A load reads everything into a state of its own, looks at it as a whole, and only then takes it over: a
// damaged file changes nothing.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
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

/// The place of the first field that cannot be read, or the number of fields.
std::size_t unreadable_field(std::FILE* f, QuantizerState& state) {
  std::size_t read = 0;
  std::apply([&](auto&... field) { return ((field.load_bin(f) != 0 && ++read != 0) && ...); },
             QuantizerState::fields(state));
  return read;
}

/// Looks at a state that was read.
class Soundness {
 public:
  explicit Soundness(const QuantizerState& state) : s_(state) {}

  /// What is wrong with the state for a quantizer with `ndata` data of `dim` columns; empty when it is sound.
  std::string trouble(long ndata, long dim, const QuantizerState& present) const {
    if (!present.state.same_steps(s_.state)) return "its steps are those of another program";
    if (!has_keys_of(s_.lpref, present.lpref) || !has_keys_of(s_.dpref, present.dpref))
      return "it lacks settings of the preference file";
    if (!grid_fits()) return "its grid has no shape";
    if (flag(VeQuan::pinidone) && !initialised_fits(ndata, dim))
      return "its prototypes do not fit its codes or the data";
    if (flag(VeQuan::pfindone) && !finished_fits()) return "its links do not fit its prototypes";
    return "";
  }

 private:
  bool flag(const char* name) const { return s_.state.getflag(s_.state.getstep(name)) != 0; }

  /// What "prot_ini" promises. Before it the columns may be those of other data: nothing reads them.
  bool initialised_fits(long ndata, long dim) const {
    const long n = s_.prot.nrow();
    return has_shape(s_.ddis, ndata, 1) && has_shape(s_.bmu, ndata, 1) && has_shape(s_.bmucnt, ndata, 2) &&
           s_.prot.ncol() == dim && has_shape(s_.pval, n, 1) && has_shape(s_.hits, n, 1) &&
           all_within(s_.bmu, -1, n - 1);
  }

  /// What "prot_fin" adds.
  bool finished_fits() const {
    const long n = s_.prot.nrow();
    return n > 0 && s_.link.nnode() == n && s_.link.nvalue() == 3 && has_shape(s_.pidx, n, 1) &&
           all_within(s_.bmu, 0, n - 1) && (s_.lwork.nrow() == 0 || s_.lwork.nrow() == n) &&
           !any_negative_length();
  }

  /// Shortest paths do not exist with lengths below 0.
  bool any_negative_length() const {
    for (long k = 0; k < s_.link.nslot(); ++k) {
      if (s_.link.live(k) && s_.link.getvalue(k, 1) < 0.0) return true;
    }
    return false;
  }

  bool grid_fits() const {
    const MatFullL& grid = s_.lwork2;
    if (s_.lwork.ncol() != 2 || grid.ncol() != 3 || grid.nrow() > 1) return false;
    return grid.nrow() == 0 || (grid(0, 0) >= 1 && grid(0, 1) >= 1);
  }

  const QuantizerState& s_;
};

/// Keeps what was booked for the data in use. False when it was not booked for all `ndata`.
bool pick_columns(const RowsInUse& in_use, long ndata, DatumColumns& columns) {
  if (columns.ddis.nrow() != ndata || columns.bmu.nrow() != ndata || columns.bmucnt.nrow() != ndata)
    return false;
  DatumColumns used;
  in_use.pick(columns.ddis, used.ddis);
  in_use.pick(columns.bmu, used.bmu);
  in_use.pick(columns.bmucnt, used.bmucnt);
  exchange(std::tie(columns.ddis, columns.bmu, columns.bmucnt), std::tie(used.ddis, used.bmu, used.bmucnt));
  return true;
}

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

bool VeQuan::read_state(std::FILE* f, SavedState& saved) {
  long ndata = 0, dim = 0;
  if (!read_int32(f, ndata) || !read_int32(f, dim)) return refuse_load("it ends too early");
  if (ndata != getdat().nrow() || dim != dat.ncol()) {
    say_piece("size mismatch ... ");
    return refuse_load("it belongs to other data");
  }
  if (!read_int32(f, saved.verbose)) return refuse_load("it ends too early");
  const std::size_t unreadable = unreadable_field(f, saved);
  if (unreadable < std::size(QuantizerState::contents))
    return refuse_load(std::string("cut off or damaged: ") + QuantizerState::contents[unreadable]);
  const bool booked = saved.state.same_steps(state) && saved.state.getflag(step(pinidone)) != 0;
  if (booked && !in_use.all() && !pick_columns(in_use, ndata, saved))
    return refuse_load("its prototypes do not fit its codes or the data");
  const std::string trouble = Soundness(saved).trouble(dat.nrow(), dat.ncol(), *this);
  return trouble.empty() || refuse_load(trouble);
}

bool VeQuan::refuse_load(const std::string& why) {
  load_trouble = why;
  return false;
}

void VeQuan::take_over(SavedState& saved) {
  verbose = saved.verbose;
  exchange(fields<QuantizerState>(*this), fields<QuantizerState>(saved));
  find_keys();
  derive_unsaved();
}

int VeQuan::load_vbf(std::FILE* f) {
  if (f == nullptr) return 0;
  SavedState saved;
  if (!read_state(f, saved)) return 0;
  take_over(saved);
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
