#pragma once
// Distances between the nodes of a graph from the pseudo-inverse of its Laplacian: the square root of the
// effective resistance (Klein and Randic, "Resistance distance", 1993; Fouss, Pirotte, Renders and Saerens,
// "Random-walk computation of similarities between nodes of a graph", 2007).

#include <functional>
#include <vector>

#include "base/progress.h"
#include "graph/matlinkd.h"

namespace qvtx {

struct LaplacianOptions {
  /// Distance x inside the affinities: 3 along the links (value column 1), anything else between the points.
  long type = 2;
  long weight = 1;    ///< affinity: 0: 1 on links; 1: exp(-x^2 / 2) on links; 2: exp(-x^2 / 2) over all pairs
  bool scale = true;  ///< affinities are divided by the square roots of the degrees (Coifman and Lafon 2006)
  double width = 1.0;  ///< unit of x, in mean link lengths of the component; above 0
};

/// The computation in three steps, so that a caller can report each before it starts. Every connected
/// component stands by itself, since the Laplacian of several would be singular beyond the constant vector.
/// Memory: up to three matrices of the size of the result beside it; every step throws std::bad_alloc
/// without.
class GraphLaplacian {
 public:
  /// points: one row per node; value column 1 of links holds the lengths. Both must stay as they are
  /// until `affinities` has returned. Fatal (l 1004): no value column 1 (1), another number of points than
  /// nodes (2).
  GraphLaplacian(const MatLinkD& links, const MatFullD& points, const LaplacianOptions& options);

  /// Step 1: the affinities; on links not below 1e-10, so that far neighbours do not fall out of the graph.
  void affinities();
  /// Step 2: divides them by sqrt(degree i) sqrt(degree j), when asked. The Laplacian is formed from the
  /// result: dividing the finished Laplacian would take the constant vector out of its kernel.
  void normalize();
  /// Step 3: pseudo-inverts the Laplacian. out becomes n x n (0 x 1 without nodes): the distances, symmetric,
  /// 0 on the diagonal, -1 across components. Returns 0, out undefined, when the width is not above 0, a
  /// pivot is not positive, or a result is not finite; else 1. progress: how far the inversion is.
  int distances(MatFullD& out, const Progress& progress = {});

 private:
  /// Distances from a node to all nodes.
  using DistanceRow = std::function<const double*(long)>;
  void fill_block(const std::vector<long>& members, MatFullD& block, const DistanceRow& row) const;
  double mean_length(const std::vector<long>& members) const;

  const MatLinkD& links_;
  const MatFullD& points_;
  LaplacianOptions options_;
  std::vector<std::vector<long>> members_;  ///< nodes of every component, increasing
  std::vector<long> place_;                 ///< place of a node among the members of its component
  std::vector<MatFullD> blocks_;            ///< per component: affinities, size x size
};

}  // namespace qvtx
