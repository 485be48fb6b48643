#include "mapping/map_ranks.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "mapping/input_distances.h"
#include "matrix/distance/row_distances.h"

namespace qvtx {

namespace {

bool finite_row(const MatFullD& m, long i) {
  return std::all_of(m.row(i), m.row(i) + m.ncol(), [](double x) { return std::isfinite(x); });
}

/// The distances between the rows of a matrix, row by row.
class OwnDistances {
 public:
  explicit OwnDistances(const MatFullD& points)
      : points_(points),
        prepared_(Metric::in_force(), points.data(), points.nrow(), points.ncol()),
        row_(static_cast<std::size_t>(points.nrow())) {}

  const double* row(long i) {
    prepared_.distances(points_.row(i), points_.nrow(), row_.data());
    return row_.data();
  }

 private:
  const MatFullD& points_;
  const distance::PreparedRows prepared_;
  std::vector<double> row_;
};

template <class Distances>
RowOfDistances rows_of(Distances& distances) {
  return [&distances](long i) { return distances.row(i); };
}

}  // namespace

std::optional<MapRanks> map_ranks(const VeQuan& prototypes, const MatFullD& images, double w) try {
  const long n = images.nrow();
  if (n < 3 || n != prototypes.getprot().nrow()) return {};
  for (long i = 0; i < n; ++i)
    if (!finite_row(images, i)) return {};
  RowRoom rooms[3];
  InputDistances space(prototypes, 0.0, true, rooms[0]);
  InputDistances graph(prototypes, w > 0 ? 1.0 : 0.0, true, rooms[1]);
  InputDistances mixed(prototypes, w, true, rooms[2]);
  if (w > 0) graph.ask_in_order(nullptr);
  if (w > 0 && w < 1) mixed.ask_in_order(nullptr);
  OwnDistances shown(images);
  std::vector<RowOfDistances> spaces = {rows_of(space)};
  if (w > 0) spaces.push_back(rows_of(graph));
  if (w > 0 && w < 1) spaces.push_back(rows_of(mixed));
  std::vector<RankQuality> found = rank_quality(n, spaces, rows_of(shown));
  MapRanks ranks{{}, {}, found.back().trustworthiness, found.back().continuity, Metric::in_force(), w};
  if (w > 0) ranks.graph = std::move(found[1]);
  ranks.space = std::move(found[0]);
  return ranks;
} catch (const std::bad_alloc&) {
  return {};
}

std::optional<RankQuality> data_ranks(const MatFullD& data, const MatFullD& positions, long step) try {
  MatFullL chosen;
  for (long i = 0; i < std::min(data.nrow(), positions.nrow()); i += step) {
    if (!finite_row(data, i) || !finite_row(positions, i)) continue;
    chosen.addrow();
    chosen(chosen.nrow() - 1, 0) = i;
  }
  const long n = chosen.nrow();
  if (n < 3) return {};
  MatFullD samples, places;
  samples.copy(data, chosen, 0);
  places.copy(positions, chosen, 0);
  if (samples.nrow() != n || places.nrow() != n) return {};
  OwnDistances space(samples), shown(places);
  return rank_quality(n, {rows_of(space)}, rows_of(shown)).front();
} catch (const std::bad_alloc&) {
  return {};
}

void show_ranks(Ostr& o, const MapRanks& ranks) {
  o.ow("rank quality: space = ").ow(ranks.space.area, 1, 3);
  if (ranks.graph) o.ow(", graph = ").ow(ranks.graph->area, 1, 3);
  o.ow(", trustworthiness = ").ow(ranks.trustworthiness, 1, 3);
  o.ow(", continuity = ").ow(ranks.continuity, 1, 3).nl();
}

MatFullD rank_curves(const MapRanks& ranks) {
  const long rows = static_cast<long>(ranks.space.curve.size());
  MatFullD curves(rows, ranks.graph ? 3 : 2);
  curves.setrows(rows, 0.0);
  for (long k = 0; k < curves.nrow(); ++k) {
    curves(k, 0) = static_cast<double>(k + 1);
    curves(k, 1) = ranks.space.curve[static_cast<std::size_t>(k)];
    if (ranks.graph) curves(k, 2) = ranks.graph->curve[static_cast<std::size_t>(k)];
  }
  return curves;
}

}  // namespace qvtx
