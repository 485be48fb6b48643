// The linking step: what every quantization method ends with.
//
// The step reports on one line, each piece when its part of the work begins, as in
//   VeQuan.prot_fin: centring ... linking ... computing connex components ... tearing ... 12 links cut, done!

#include <algorithm>
#include <cstring>
#include <string>

#include "quant/centroids.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// Gives every datum a prototype and counts what each prototype gets.
void count_hits(const MatFullD& dat, const MatFullD& prot, MatFullL& bmu, MatFullL& hits) {
  MatFullL assigned;
  assigned_prototypes(dat, prot, bmu, assigned);
  std::copy_n(assigned.data(), assigned.nrow(), bmu.data());
  std::fill_n(hits.data(), hits.nrow(), 0L);
  for (long i = 0; i < bmu.nrow(); ++i) ++hits.data()[bmu.data()[i]];
}

/// Moves every prototype with data to their mean.
void centre(const MatFullD& dat, const MatFullL& bmu, const MatFullL& hits, MatFullD& prot) {
  MatFullD means;
  means.copy(prot);
  sum_by_prototype(dat, bmu, means);
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    if (hits(k, 0) == 0) continue;
    divide_row(means, k, hits(k, 0));
    prot.copy(k, means, k);
  }
}

/// The rule that stands for the one asked for. Rules that count data leave the prototypes in pieces when
/// these are the data themselves or nearly so, and holes between them while there are few data for each.
LinkRule usable_rule(LinkRule rule, long ndata, long nprot) {
  const bool counts_data = rule == LinkRule::d_link || rule == LinkRule::h_link;
  return counts_data && ndata < 4 * nprot ? LinkRule::n_link : rule;
}

/// Neighbours that "n_link" links. Where it stands in for another rule, raw data get as many as asked for,
/// and prototypes, which quantization has spread evenly, want fewer.
long neighbours_linked(long asked, bool stands_in, long ndata, long nprot) {
  const bool spread = stands_in && ndata >= 2 * nprot;
  return spread ? std::max(1L, (4 * asked + 3) / 6) : asked;  // two thirds, rounded
}

/// Neighbours on the grid are at distance 1, whatever the distance class of the data.
void measure_grid_links(MatLinkD& link) {
  for (long k = link.nslot() - 1; k >= 0; --k)
    if (link.live(k)) link.setvalue(k, 2, 1.0);
}

/// The prototype nearest to the data's mean.
long central_prototype(const MatFullD& dat, const MatFullD& prot) {
  if (dat.nrow() == 0) return 0;
  MatFullD mean;
  dat.avg(mean);
  const long k = prot.nearest(mean, 0, no_bound);
  return k < prot.nrow() ? k : 0;
}

}  // namespace

int VeQuan::prot_fin(const char* label, int flag) {
  const long k = step(pfindone);
  lpca.clear();
  if (!state.shutflag(k)) return 0;
  pairs.forget();
  if (prot.nrow() == 0) return 0;
  const std::string name(label,
                         std::min(std::strlen(label), sizeof method - 1));  // label may be `method` itself
  std::strcpy(method, name.c_str());
  origin = origin_of(method);
  say("prot_fin: ");
  count_hits(dat, prot, bmu, hits);
  // A map's prototypes are held back by their neighbours on the grid, a cluster's are where the method put
  // them.
  if (lkey("vgcent_p") && !has_grid() && origin != Origin::clusters) {
    say_piece("centring ... ");
    centre(dat, bmu, hits, prot);
  }
  link_prototypes(flag == 0);
  if (wants_links()) say_piece("computing connex components ... ");
  label_components();
  tear_links();
  say_end("done!");
  if (lkey("vgdimloc")) lpca_init();
  return state.setflag(k);
}

bool VeQuan::has_grid() const { return prot.nrow() > 0 && lwork.nrow() == prot.nrow(); }

void VeQuan::link_prototypes(bool keep) {
  const LinkRule rule{lkey("vglink_p")};
  name_links();
  if (rule == LinkRule::none) {
    say_piece("checking links ... ");
    clear_links();
    return;
  }
  const bool grid = has_grid();
  if (grid || (keep && link.nnode() == prot.nrow())) {
    say_piece("keeping links ... ");
    if (grid) restore_grid();
  } else {
    say_piece("linking ... ");
    clear_links();
    apply_rule(rule);
  }
  link.setpos(prot, 1);
  linkmetric = Metric::in_force();
  if (grid) measure_grid_links(link);
}

void VeQuan::clear_links() {
  link.setdim(prot.nrow(), 3);
  if (prot.nrow() > 0) link.addrow(prot.nrow());
}

void VeQuan::restore_grid() {
  // The links are gone when the rule was 0 for a while; a map that lost prototypes since cannot get them
  // back.
  if (link.nnode() == prot.nrow() && link.nlive() > 0) return;
  clear_links();
  if (lwork2.nrow() == 0 || lwork2(0, 0) * lwork2(0, 1) != prot.nrow()) return;
  link.setgrd(0, lwork2(0, 0), lwork2(0, 1), static_cast<int>(lwork2(0, 2)));
}

void VeQuan::apply_rule(LinkRule rule) {
  const LinkRule usable = usable_rule(rule, dat.nrow(), prot.nrow());
  if (usable != rule && verbose) os.ow("few data, ").ow(name_of(usable)).ow(" ... ").flush();
  switch (usable) {
    case LinkRule::e_link:
      link.e_link(0, prot, dkey("vleeps"));
      break;
    case LinkRule::n_link:
      link.n_link(0, prot, neighbours_linked(lkey("vlnnbr"), usable != rule, dat.nrow(), prot.nrow()));
      break;
    case LinkRule::r_link:
      link.r_link(0, prot, dkey("vlrtol"));
      break;
    case LinkRule::d_link:
      link.d_link(0, prot, dat, lkey("vldnbr"), dkey("vldtol"));
      break;
    case LinkRule::h_link:
      link.h_link(0, prot, dat, dkey("vlhtol"));
      break;
    default:
      break;
  }
}

void VeQuan::name_links() {
  const LinkRule usable = usable_rule(link_rule(), dat.nrow(), prot.nrow());
  linkname = has_grid() && wants_links() ? "grid" : name_of(usable);
}

void VeQuan::label_components() {
  long count = 1;  // without links the prototypes are not told apart
  if (wants_links()) {
    count = link.connex(pidx);
  } else {
    pidx.setdim(prot.nrow(), 1);
    pidx.setrows(prot.nrow(), 0);
  }
  compsize.setdim(count, 1);
  compsize.setrows(count, 0);
  for (long k = 0; k < pidx.nrow(); ++k) ++compsize(pidx(k, 0), 0);
}

void VeQuan::tear_links() {
  torn = {};
  const long tree = lkey("vgteartt");
  const long cycle = lkey("vgtearcl");
  if (tree == 0 || has_grid() || !wants_links()) return;
  say_piece("tearing ... ");
  torn.links = link.tear(static_cast<int>(tree), cycle, central_prototype(dat, prot), prot, &torn.shortest);
  if (verbose) os.ow(torn.links).ow(" links cut, ");
}

long VeQuan::lpca_init() {
  lpca.verbose = verbose;
  return lpca.init(dat, bmu, link);
}

bool VeQuan::links_outdated() const {
  return done(pfindone) && link.nlive() > 0 && !has_grid() && !(linkmetric == Metric::in_force());
}

}  // namespace qvtx
