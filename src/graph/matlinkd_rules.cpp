// Linking rules: which rows of a point matrix become neighbours.

#include <algorithm>
#include <vector>

#include "graph/matlinkd.h"
#include "matrix/distance/all_neighbours.h"
#include "matrix/distance/neighbour_search.h"

namespace qvtx {

void MatLinkD::strengthen(long col, long i, long j) {
  long k = get_link(i, j);
  if (k < 0) k = add_link(i, j);
  if (k >= 0) setvalue(k, col, getvalue(k, col) + 1.0);
}

void MatLinkD::check_rule(int code, long col, const MatFullD& points) const {
  if (col < 0 || col >= nvalue()) ermessage('l', code, 1, col);
  if (points.nrow() != nnode()) ermessage('l', code, 2, points.nrow());
}

void MatLinkD::e_link(long col, const MatFullD& points, double eps) {
  check_rule(91, col, points);
  if (!(eps > 0.0)) return;
  MatFullD dist;
  for (long i = points.nrow() - 1; i > 0; --i) {
    points.sdav(i, dist, no_bound);  // row by row: the same numbers as pair by pair, in wide vectors
    const double* d = dist.data();
    for (long j = i - 1; j >= 0; --j) {
      if (d[j] >= 0.0 && d[j] <= eps) strengthen(col, i, j);
    }
  }
}

void MatLinkD::n_link(long col, const MatFullD& points, long k) {
  check_rule(92, col, points);
  const long n = points.nrow();
  if (n < 2) return;
  k = std::clamp(k, 1L, n - 1);
  MatFullL near(n, k);  // -1: no neighbour, the distance is NaN
  near.setrows(n, -1);
  AllNeighbours(points).search(k, [&](long i, const NearestList& list) {
    for (long r = 0; r < list.size(); ++r)
      if (list[r].distance >= 0.0) near(i, r) = list[r].row;
  });
  for (long i = n - 1; i >= 0; --i) {
    for (long r = k - 1; r >= 0; --r)
      if (near(i, r) >= 0) strengthen(col, i, near(i, r));
  }
}

void MatLinkD::r_link(long col, const MatFullD& points, double tol) {
  check_rule(93, col, points);
  const long n = points.nrow();
  MatFullD dist;
  for (long i = n - 1; i >= 0; --i) {
    points.sdav(i, dist, no_bound);
    const double* d = dist.data();
    double reference = no_bound;
    for (long j = n - 1; j >= 0; --j) {
      if (d[j] > 0.0 && d[j] < reference) reference = d[j];
    }
    // Without any positive distance the limit is 0, so that duplicates alone are linked.
    const double limit = reference < no_bound ? (1.0 + tol) * reference : 0.0;
    for (long j = n - 1; j >= 0; --j) {
      if (j != i && d[j] >= 0.0 && d[j] <= limit) strengthen(col, i, j);
    }
  }
}

void MatLinkD::d_link(long col, const MatFullD& points, const MatFullD& data, long k, double tol) {
  check_rule(94, col, points);
  if (data.ncol() != points.ncol()) ermessage('l', 94, 3, data.ncol());
  if (points.nrow() < 2) return;
  k = std::clamp(k, 1L, points.nrow() - 1);
  NeighbourSearch near(points);
  for (long i = data.nrow() - 1; i >= 0; --i) {
    const long found = near.search(data.row(i), &data == &points ? i : -1, k + 1);
    long first = 1;  // the runner-up whose distance is the reference
    while (first < found - 1 && near.distance(first) == 0.0) ++first;
    for (long r = 1; r < found && near.distance(r) <= (1.0 + tol) * near.distance(first); ++r)
      strengthen(col, near.row(0), near.row(r));
  }
}

void MatLinkD::h_link(long col, const MatFullD& points, const MatFullD& data, double tol) {
  check_rule(96, col, points);
  if (data.ncol() != points.ncol()) ermessage('l', 96, 3, data.ncol());
  if (points.nrow() < 2) return;
  NeighbourSearch near(points);
  for (long i = data.nrow() - 1; i >= 0; --i) {
    const long found = near.search(data.row(i), &data == &points ? i : -1, 2);
    if (found == 2 && near.distance(1) >= 0.0) strengthen(col, near.row(0), near.row(1));
  }
  // All strengths are weighed before any link is removed: the order of removal must not matter.
  std::vector<double> strongest(static_cast<std::size_t>(nnode()), 0.0);
  const auto limit = [&](long i) -> double& { return strongest[static_cast<std::size_t>(i)]; };
  for (long k = nslot() - 1; k >= 0; --k) {
    if (!live(k)) continue;
    for (const long end : {end_a(k), end_b(k)}) limit(end) = std::max(limit(end), getvalue(k, col));
  }
  for (long k = nslot() - 1; k >= 0; --k) {
    if (!live(k)) continue;
    const double strength = getvalue(k, col);
    if (strength < tol * limit(end_a(k)) && strength < tol * limit(end_b(k))) del_link(k);
  }
}

void MatLinkD::setgrd(long col, long width, long length, int hex) {
  if (col < 0 || col >= nvalue()) ermessage('l', 95, 1, col);
  if (width < 0 || length < 0 || width * length != nnode()) ermessage('l', 95, 2, width * length);
  for (long k = nnode() - 1; k >= 0; --k) {
    const long row = k / width, column = k % width;
    if (column > 0) strengthen(col, k, k - 1);
    if (row == 0) continue;
    strengthen(col, k, k - width);
    // The second neighbour in the row before: to the left of an even row, to the right of an odd one.
    const long side = column + (row % 2 == 0 ? -1 : 1);
    if (hex != 0 && side >= 0 && side < width) strengthen(col, k, (row - 1) * width + side);
  }
}

void MatLinkD::setpos(const MatFullD& points, long c) {
  if (points.nrow() != nnode()) ermessage('l', 97, 1, points.nrow());
  if (c < 0 || c >= nvalue()) ermessage('l', 97, 2, c);
  for (long k = nslot() - 1; k >= 0; --k) {
    if (live(k)) setvalue(k, c, points.sdas(end_a(k), end_b(k), no_bound));
  }
}

}  // namespace qvtx
