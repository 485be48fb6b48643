#pragma once
// How well a map keeps the ranks of the distances: figures that do not depend on the scale of the map, nor on
// the metric of the data.

#include <functional>
#include <vector>

namespace qvtx {

/// The distances from row i to all rows, n numbers; the own is not looked at. Where two rows have no distance
/// there is a negative number or a NaN: such rows come last. The numbers need to last until any row is asked
/// for again.
using RowOfDistances = std::function<const double*(long i)>;

/// A map against one space. Ranks are by increasing distance, from 1 to n - 1, ties by the lower number. Q(K)
/// is the share of the K nearest in the space that are among the K nearest in the map, over all rows.
struct RankQuality {
  /// R_NX(K) = ((n - 1) Q(K) - K) / (n - 1 - K) at index K - 1, K = 1 ... n - 2: 1 for neighbourhoods kept, 0
  /// for chance. Lee, Renard, Bernard, Dupont and Verleysen, "Type 1 and 2 mixtures of Kullback-Leibler
  /// divergences as cost functions in dimensionality reduction based on similarity preservation",
  /// Neurocomputing 112, 2013.
  std::vector<double> curve;
  /// The mean of the curve weighted with 1 / K: the area under it over a logarithmic axis. Lee,
  /// Peluffo-Ordonez and Verleysen, "Multi-scale similarities in stochastic neighbour embedding: Reducing
  /// dimensionality while preserving both local and global structure", Neurocomputing 169, 2015.
  double area;
  /// For k = `trusted_neighbours`: 1 when the k nearest of every row in the map are so in the space too
  /// (trustworthiness), or the other way round (continuity); else less by how far in rank they are, down to
  /// 0. Venna and Kaski, "Neighborhood preservation in nonlinear projection methods: An experimental study",
  /// ICANN 2001, LNCS 2130.
  double trustworthiness;
  double continuity;
};

/// min(12, (n - 1) / 2).
long trusted_neighbours(long n);

/// The figures of a map of n rows against every space, in their order; NaN, and an empty curve, for n < 3.
/// Exact. Memory: of the order of n for each space; time: of n^2 log n for the map and each space.
/// REQUIRES: n <= NumberOrder::largest_count.
std::vector<RankQuality> rank_quality(long n, const std::vector<RowOfDistances>& spaces,
                                      const RowOfDistances& map);

}  // namespace qvtx
