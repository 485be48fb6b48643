#include "mapping/tomapp.h"

#include <algorithm>
#include <cstring>

namespace qvtx {

namespace {

/// Makes dim axes of the images the principal components of the prototypes.
void show_principal_components(const MatFullD& prototypes, long dim, MatFullD& images) {
  MatFullD centred;
  MatFullD mean;
  MatFullD directions;
  MatFullD variances;
  prototypes.pca(mean, directions, variances, dim, 0);
  centred.copy(prototypes);
  centred.center(mean);
  // Directions beyond the number of columns do not exist: those axes stay at 0.
  for (long i = prototypes.nrow() - 1; i >= 0; --i)
    for (long k = directions.nrow() < dim ? directions.nrow() - 1 : dim - 1; k >= 0; --k)
      images(i, k) = centred.dps(i, directions, k);
}

/// n images where `mapr_ini` starts them; reach: where the uniform ones end.
void start_positions(const MatFullD& prototypes, long dim, int how, double reach, MatFullD& images) {
  images.setdim(prototypes.nrow(), dim);
  images.setrows(prototypes.nrow(), 0.0);
  if (how == 1) {
    show_principal_components(prototypes, dim, images);
  } else if (how != 2) {
    images.random(0, 0.0, reach, 0, -1, 0, -1);
  }
}

}  // namespace

const char* const ToMapp::minidone = "mapp_ini";
const char* const ToMapp::mfindone = "mapp_fin";

ToMapp::ToMapp(std::ifstream& prefs) : VeQuan(prefs) {
  prefix = "ToMapp.";
  const long initialised = state.addstep(minidone, step(dinidone));
  state.addstep(mfindone, initialised);
  if (prefs) {
    lpref.load_asc(prefs);
    dpref.load_asc(prefs);
  } else {
    refuse("ToMapp: unable to read preference file");
  }
  find_keys();
}

long ToMapp::mapr_ini(long dim, int how) {
  const long initialised = step(minidone);
  if (!state.shutflag(initialised)) return 0;
  mname[0] = '\0';
  rank_figures.reset();
  say("mapr_ini: initializing projected prototypes ... ");
  const bool keep = lkey("vgkeep_p") != 0;
  const bool exists = mprot.nrow() > 0;
  if (dim > 0 && (!keep || !exists)) {
    start_positions(prot, dim, how, 0.1 * reals["tdxm"], mprot);
  } else if (mprot.nrow() != prot.nrow()) {
    say_end("failed!");
    return 0;
  }
  reset_image_order();
  say_end("done!");
  return state.setflag(initialised);
}

void ToMapp::reset_image_order() {
  mpidx.setdim(prot.nrow(), 1);
  mpidx.setrows(prot.nrow());
  mpidx.setidx(0, 0, 1);
}

void ToMapp::link_images() {
  mlink.setdim(mprot.nrow(), 2);
  mlink.addrow(mprot.nrow());
  switch (link_rule()) {
    case LinkRule::e_link:
      mlink.e_link(0, mprot, dkey("vleeps"));
      break;
    case LinkRule::n_link:
      mlink.n_link(0, mprot, lkey("vlnnbr"));
      break;
    case LinkRule::r_link:
      mlink.r_link(0, mprot, dkey("vlrtol"));
      break;
    case LinkRule::d_link:
      mlink.n_link(0, mprot, link.nlive() / prot.nrow());
      break;
    default:
      break;
  }
  mlink.setpos(mprot, 1);
  // The links of a self-organizing map keep their lengths on the grid.
  if (lwork.nrow() != prot.nrow()) link.setpos(mprot, 2);
}

long ToMapp::mapr_fin(const char* name) {
  rank_figures.reset();
  const long initialised = step(minidone);
  if (!state.shutflag(initialised)) return 0;
  // Images of other prototypes, kept by "vgkeep_p", are no mapping of these.
  if (mprot.nrow() != prot.nrow() || !state.setflag(initialised)) return 0;
  say(wants_links() ? "mapr_fin: linking ... " : "mapr_fin: checking links ... ");
  link_images();
  say_end("done!");
  std::strncpy(mname, name, sizeof mname - 1);
  mname[sizeof mname - 1] = '\0';
  return state.setflag(step(mfindone));
}

long ToMapp::mapr_rep(double factor) {
  if (!done(minidone)) return 0;
  const double space = dkey("tdccsfac");
  const double gap = wants_links() ? factor * space : 0.0;
  if (gap == 0) return 1;
  MatFullD& centre = memory.centre;
  const long p = mprot.ncol();
  centre.setdim(ncomp(), p);
  centre.setrows(ncomp(), 0.0);
  for (long i = mprot.nrow() - 1; i >= 0; --i) {
    const double* y = mprot.row(i);
    double* sum = centre.row(pidx.get(i, 0));
    for (long k = p - 1; k >= 0; --k) sum[k] += y[k];
  }
  for (long c = ncomp() - 1; c >= 0; --c)
    for (long k = p - 1; k >= 0; --k) centre(c, k) /= static_cast<double>(compsize(c, 0));
  for (long i = mprot.nrow() - 1; i >= 0; --i) {
    const long label = pidx.get(i, 0);
    double* y = mprot.row(i);
    for (long k = p - 1; k >= 0; --k) y[k] -= centre(label, k);
    y[0] += static_cast<double>(label) * gap;
  }
  return 1;
}

bool ToMapp::maprsave(MatFullD& out) const {
  if (!done(minidone)) return false;
  say("maprsave: saving in memory ... ");
  out.copy(mprot);
  say_end("done!");
  return out.nrow() == mprot.nrow();
}

long ToMapp::maprsave(const char* file) const {
  if (!done(minidone) || !file) return 0;
  say("maprsave: ");
  return mprot.save_asc(file, static_cast<int>(verbose), 1);
}

long ToMapp::maprload(const char* file) {
  if (!state.shutflag(step(minidone)) || !file) return 0;
  say("maprload: ");
  if (!mprot.load_asc(file, static_cast<int>(verbose))) return 0;
  if (mprot.nrow() != prot.nrow()) {
    say_line("maprload: sizes don't agree!");
    return 0;
  }
  if (!dist_ini(1)) return 0;
  if (!mapr_ini(0, 0)) return 0;
  return mapr_fin("Loaded mapped prototypes");
}

long ToMapp::treesave(long k, const char* file) {
  if (!done(dinidone) || !file || k < 0 || k >= prot.nrow() || !rows_ready(1.0)) return 0;
  MatFullL computed;
  MatFullD distances;
  const long* path = path_row(k, computed, distances);
  MatFullL row(prot.nrow(), 2);
  row.setrows(prot.nrow());
  std::copy_n(path, 2 * prot.nrow(), row.data());
  say("bwaysave: ");
  return row.save_asc(file, static_cast<int>(verbose), 1);
}

const MapRanks* ToMapp::ranks(long most) {
  if (!done(mfindone)) return nullptr;
  const double w = balance();
  if (rank_figures && !rank_figures->is_current(w)) rank_figures.reset();
  if (!rank_figures && mprot.nrow() <= most && rows_ready(w)) rank_figures = map_ranks(*this, mprot, w);
  return rank_figures ? &*rank_figures : nullptr;
}

long ToMapp::ranksave(const char* file) {
  const MapRanks* const known = ranks(ranked_at_once);
  if (!known || !file) return 0;
  say("ranksave: ");
  return rank_curves(*known).save_asc(file, static_cast<int>(verbose), 1);
}

long ToMapp::mgrasave(const char* file) const {
  if (!done(mfindone) || !file) return 0;
  say("linksave: ");
  return mlink.save_asc(file, static_cast<int>(verbose), 1);
}

long ToMapp::sommap() {
  if (origin != Origin::map || lwork.nrow() != prot.nrow() || prot.nrow() == 0) return 0;
  if (!dist_ini(1)) return 0;
  mprot.copy(lwork);
  if (mapr_ini(0, 0) && verbose && integers["vgerrors"] != 0) {
    const Indent indent(os);
    os.fresh().ow(prefix).ow("sommap: E=").ow(mapr_err(1), 7, 4).nl();
  }
  return mapr_fin(som_name);
}

}  // namespace qvtx
