// How well a mapping keeps neighbourhoods and distances.

#include <algorithm>

#include "mapping/kernels/stress_kernels.h"
#include "mapping/pair_rows.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

/// Largest number of unit spheres that touch a unit sphere in d dimensions (the best known arrangement), as
/// many neighbours as a point can have at equal distances; from 8 dimensions on that of 8.
long kissing_number(long d) {
  constexpr long known[] = {0, 2, 6, 12, 24, 40, 72, 126, 240};
  return known[std::min(d, 8L)];
}

/// Entries of found that do not occur in reference.
long missing(const MatFullL& found, const MatFullL& reference) {
  const long* begin = reference.data();
  const long* end = begin + reference.nrow() * reference.ncol();
  long count = 0;
  for (long r = found.nrow() - 1; r >= 0; --r) count += std::find(begin, end, found.get(r, 0)) == end;
  return count;
}

/// Share of the nearest images of each prototype that are not among its nearest prototypes.
double lost_neighbours(const MatFullD& prototypes, const MatFullD& images) {
  const long wanted = kissing_number(images.ncol());
  MatFullD distances;
  MatFullL near_prototype;
  MatFullL near_image;
  long misses = 0;
  for (long i = prototypes.nrow() - 1; i >= 0; --i) {
    prototypes.nearest(prototypes, i, distances, near_prototype, wanted);
    images.nearest(images, i, distances, near_image, wanted);
    misses += missing(near_image, near_prototype);
  }
  const double total = static_cast<double>(wanted * prototypes.nrow());
  return total > 0 ? static_cast<double>(misses) / total : 0;
}

/// Share of the nearest images of each prototype, as many as it has links, that it is not linked with.
double lost_links(const MatLinkD& link, const MatFullD& images) {
  MatFullD distances;
  MatFullL near_image;
  MatFullL linked;
  long misses = 0;
  for (long i = images.nrow() - 1; i >= 0; --i) {
    const long degree = link.degree(i, linked);
    if (degree == 0) continue;
    images.nearest(images, i, distances, near_image, degree);
    misses += missing(near_image, linked);
  }
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
