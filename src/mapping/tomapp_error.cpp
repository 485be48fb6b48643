// How well a mapping keeps neighbourhoods and distances.

#include <algorithm>

#include "mapping/input_distances.h"
#include "mapping/kernels/stress_kernels.h"
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

}  // namespace

double ToMapp::mapr_err(int mode) {
  if (!done(minidone)) return -1;
  const bool against_graph = lpref.getval(keys.vglink_p) != 0 && mode != 0;
  return against_graph ? lost_links() : lost_neighbours();
}

double ToMapp::lost_neighbours() const {
  const long wanted = kissing_number(mprot.ncol());
  MatFullD distances;
  MatFullL near_prototype;
  MatFullL near_image;
  long misses = 0;
  for (long i = prot.nrow() - 1; i >= 0; --i) {
    prot.nearest(prot, i, distances, near_prototype, wanted);
    mprot.nearest(mprot, i, distances, near_image, wanted);
    misses += missing(near_image, near_prototype);
  }
  const double total = static_cast<double>(wanted * prot.nrow());
  return total > 0 ? static_cast<double>(misses) / total : 0;
}

double ToMapp::lost_links() const {
  MatFullD distances;
  MatFullL near_image;
  MatFullL linked;
  long misses = 0;
  for (long i = prot.nrow() - 1; i >= 0; --i) {
    const long degree = link.degree(i, linked);
    if (degree == 0) continue;
    mprot.nearest(mprot, i, distances, near_image, degree);
    misses += missing(near_image, linked);
  }
  const long total = 2 * link.nlive();
  return total > 0 ? static_cast<double>(misses) / static_cast<double>(total) : 0;
}

PairRow ToMapp::pair_row(InputDistances& input, long i, long next) {
  PairRow row{i, input.row(i), nullptr, input.stored(next)};
  if (!row.soon) row.soon = row.input;
  if (!euclidean_images()) {
    images.store(mprot);
    mprot.sdav(i, plain_distances, no_bound);
    std::copy_n(plain_distances.data(), mprot.nrow(), images.distance());  // where there is padding
    row.d = images.distance();
  }
  return row;
}

PairRow ToMapp::pair_row_at(InputDistances& input, long position) {
  return pair_row(input, mpidx.get(position, 0), mpidx.get(std::max(position - 1, 0L), 0));
}

double ToMapp::mapr_err() {
  if (!done(minidone)) return -1;
  const long n = prot.nrow();
  InputDistances input(*this, balance(), true, memory.distances);
  StressSums sums{};
  images.load(mprot);
  const ImageView view = images.view();
  for (long i = n - 1; i >= 0; --i)
    stress_kernels().add(pair_row(input, i, std::max(i - 1, 0L)), view, &sums);
  double error = 0;
  double scale = 0;
  for (long l = 0; l < stress_lanes; ++l) {
    error += sums.error[l];
    scale += sums.scale[l];
  }
  return scale > 0 ? error / scale : 0;
}

}  // namespace qvtx
