#pragma once
// Shortest paths from many sources over one flat copy of the links.

#include <span>
#include <vector>

#include "graph/matlinkd.h"

namespace qvtx {

/// A node and its distance from the source. Nodes settle in this order: nearest first, the lower number among
/// equals.
struct ReachedNode {
  double distance;
  int node;
  bool before(const ReachedNode& other) const {
    return distance < other.distance || (distance == other.distance && node < other.node);
  }
};

/// What `MatLinkD::gdav` tells without a bound, for callers that want a row per node: the links are copied
/// once, in list order, into flat arrays, and the queue is a heap on arrays too. Distances, predecessors and
/// settling order are those of `gdav`, ties included, since both take nodes in the order of (distance,
/// number) and links in list order. The graph may change after the construction; the copy does not.
class GraphPaths {
 public:
  /// A link as seen from one end.
  struct Edge {
    double length;
    int to;
  };

  /// Lengths come from value column col, which holds no negative number. Fatal (l 1003): col (1).
  GraphPaths(const MatLinkD& links, long col);

  long nnode() const { return static_cast<long>(first_.size()) - 1; }
  /// Shortest paths from node src: dist gets n distances, -1 where no path leads; pred, unless null, n x 2
  /// numbers as `gdav` defines them. Returns the number of settled nodes. REQUIRES: 0 <= src < nnode().
  long row(long src, double* dist, long* pred);
  /// The links of node i in list order. REQUIRES: 0 <= i < nnode().
  std::span<const Edge> edges(long i) const {
    const auto k = static_cast<std::size_t>(i);
    return {edges_.data() + first_[k], edges_.data() + first_[k + 1]};
  }

 private:
  void sift_up(int place, ReachedNode entry);
  void sift_down(ReachedNode entry);
  int pop();

  std::vector<int> first_;         ///< n + 1: where the edges of each node begin
  std::vector<Edge> edges_;        ///< two per link, in list order
  std::vector<double> key_;        ///< n: tentative distance; +infinity not reached, -infinity settled
  std::vector<ReachedNode> heap_;  ///< 4-ary heap
  std::vector<int> place_;         ///< n: where a node stands in the heap
  int queued_ = 0;                 ///< entries of the heap
};

}  // namespace qvtx
