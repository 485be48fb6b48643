// How well a mapping keeps neighbourhoods and distances.

#include <algorithm>
#include <vector>

#include "mapping/kernels/stress_kernels.h"
#include "mapping/pair_rows.h"
#include "mapping/tomapp.h"
#include "matrix/distance/all_neighbours.h"
#include "matrix/distance/neighbour_search.h"

namespace qvtx {

namespace {

/// Largest number of unit spheres that touch a unit sphere in d dimensions (the best known arrangement), as
/// many neighbours as a point can have at equal distances; from 8 dimensions on that of 8.
long kissing_number(long d) {
  constexpr long known[] = {0, 2, 6, 12, 24, 40, 72, 126, 240};
  return known[std::min(d, 8L)];
}

/// How many of the first rows of a list, `count` at most, do not occur among these.
long missing(const NearestList& list, long count, const long* begin, const long* end) {
  long misses = 0;
  for (long r = std::min(count, list.size()) - 1; r >= 0; --r)
    misses += std::find(begin, end, list[r].row) == end;
  return misses;
}

/// Share of the nearest images of each prototype that are not among its nearest prototypes.
double lost_neighbours(const MatFullD& prototypes, const MatFullD& images) {
  const long wanted = kissing_number(images.ncol());
  MatFullL near(prototypes.nrow(), wanted);  // -1 behind the last
  near.setrows(prototypes.nrow(), -1);
  AllNeighbours(prototypes).search(wanted, [&](long i, const NearestList& list) {
    for (long r = 0; r < list.size(); ++r) near(i, r) = list[r].row;
  });
  long misses = 0;
  AllNeighbours(images).search(wanted, [&](long i, const NearestList& list) {
    misses += missing(list, wanted, near.row(i), near.row(i) + wanted);
  });
  const double total = static_cast<double>(wanted * prototypes.nrow());
  return total > 0 ? static_cast<double>(misses) / total : 0;
}

/// Share of the nearest images of each prototype, as many as it has links, that it is not linked with.
double lost_links(const MatLinkD& link, const MatFullD& images) {
  constexpr long most = 64;  // nearest images of all prototypes; the few with more links search by themselves
  long wanted = 1;
  for (long i = images.nrow() - 1; i >= 0; --i) wanted = std::max(wanted, std::min(link.degree(i), most));
  MatFullL linked;
  NeighbourSearch single(images);
  long misses = 0;
  AllNeighbours(images).search(wanted, [&](long i, const NearestList& list) {
    const long degree = link.degree(i, linked);
    if (degree > wanted) single.search(images.row(i), i, degree);
    misses += missing(degree > wanted ? single.list() : list, degree, linked.data(), linked.data() + degree);
  });
  const long total = 2 * link.nlive();
  return total > 0 ? static_cast<double>(misses) / static_cast<double>(total) : 0;
}

}  // namespace

double ToMapp::mapr_err(int mode) {
  if (!done(minidone)) return -1;
  const bool against_graph = wants_links() && mode != 0;
  return against_graph ? lost_links(link, mprot) : lost_neighbours(prot, mprot);
}

double ToMapp::mapr_err() {
  if (!done(minidone) || !rows_ready(balance())) return -1;
  return stress().value_or(0);
}

std::optional<double> ToMapp::stress() {
  if (!done(minidone) || !rows_ready(balance())) return {};
  const long n = prot.nrow();
  PairRows rows(*this, balance(), true, mprot, memory);
  StressSums sums{};
  for (long i = n - 1; i >= 0; --i)
    stress_kernels().add(rows.row(i, std::max(i - 1, 0L)), rows.view(), &sums);
  double error = 0;
  double scale = 0;
  for (long l = 0; l < stress_lanes; ++l) {
    error += sums.error[l];
    scale += sums.scale[l];
  }
  if (!(scale > 0)) return {};
  return error / scale;
}

}  // namespace qvtx
