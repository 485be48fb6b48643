#pragma once
// The rank figures of a map of prototypes, and of data on a map.

#include <optional>

#include "base/ostr.h"
#include "mapping/rank_quality.h"
#include "matrix/distance/metric.h"
#include "quant/vequan.h"

namespace qvtx {

/// Most prototypes whose ranks take no more time than a report may.
inline constexpr long ranked_at_once = 500;

struct MapRanks {
  RankQuality space;                 ///< against the distances in space
  std::optional<RankQuality> graph;  ///< against those along the links, where these count
  double trustworthiness;            ///< against the distances that the map was made to show
  double continuity;
  Metric metric;   ///< in force when they were measured
  double balance;  ///< weight of the graph distance then

  bool is_current(double w) const { return balance == w && metric == Metric::in_force(); }
};

/// Figures of the images (n x p) of a quantizer's n prototypes; w: weight of the graph distance in what the
/// map shows. None for fewer than 3 prototypes, for an image that is not finite, and when memory is short.
/// REQUIRES: rows of graph distances may be read (`VeQuan::rows_ready`). Time: of the order n^2 log n.
std::optional<MapRanks> map_ranks(const VeQuan& prototypes, const MatFullD& images, double w);

/// Figures of the positions (N x p) of data (N x dim) against their distances in space: of every `step`-th
/// row from row 0 on, as far as data and position are finite.
std::optional<RankQuality> data_ranks(const MatFullD& data, const MatFullD& positions, long step);

/// "rank quality: space = ..., graph = ..., trustworthiness = ..., continuity = ...", a line with an end.
void show_ranks(Ostr& o, const MapRanks& ranks);

/// (n - 2) x 2 or 3: K, R_NX(K) in space and, where they count, along the links.
MatFullD rank_curves(const MapRanks& ranks);

}  // namespace qvtx
