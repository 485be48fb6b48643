#pragma once
// Shortest paths from all nodes, sixteen sources at a time.

#include <vector>

#include "graph/graph_paths.h"
#include "graph/path_kernels.h"

namespace qvtx {

/// The rows of GraphPaths, with the same bits, for callers that want the rows of all nodes: sources that lie
/// near each other are searched together, one in each lane. Memory for three copies of the links and for 30
/// numbers a node. The graph may change after the construction; the copy does not.
class PathRows {
 public:
  static constexpr long group = path_sources;

  /// Lengths come from value column col, which holds no negative number. Fatal (l 1003): col (1).
  PathRows(const MatLinkD& links, long col);
  PathRows(const PathRows&) = delete;
  PathRows& operator=(const PathRows&) = delete;

  /// All nodes, in an order whose neighbours are near each other along the links.
  const std::vector<long>& order() const { return order_; }
  /// The place of a node in it.
  long place(long node) const { return place_[static_cast<std::size_t>(node)]; }
  /// Rows of the `count` nodes sources[0], sources[1], ...: dist[s] gets n distances; pred[s], where pred is
  /// not null, n x 2 numbers, both as GraphPaths::row defines them. Fast for nodes that follow each other in
  /// `order`, and for groups that do. REQUIRES: 1 <= count <= group.
  void rows(const long* sources, long count, double* const* dist, long* const* pred);

  /// As `rows`, but what leads to each node: step and ends as PathKernels::steps gives them, by place, for
  /// `group` lanes of which the first `count` count. REQUIRES: no node has more than no_step links.
  void steps(const long* sources, long count, unsigned char* step, long* ends);
  /// Distance of the node at a place from source s of the last call of `rows` or `steps`; +infinity out of
  /// reach.
  double found(long at_place, long s) const { return distance_[at_place * group + s]; }
  /// The links between places.
  PathGraph graph() const { return {single_.nnode(), first_.data(), edges_.data(), order_.data()}; }

  /// The distances of one node alone.
  void row(long source, double* dist) { single_.row(source, dist, nullptr); }

 private:
  void set_order();
  void collect_near(long seed, std::vector<bool>& ordered, std::vector<int>& frontier);
  void copy_edges(const GraphPaths& links);
  void search(const long* sources, long count);
  long choose_guide(const long* sources, long count) const;
  void arrange(long lane);
  bool search_along(const long* sources, long count);
  void search_anew(const long* sources, long count);
  PathWorkspace enqueue(const long* sources, long count);
  template <class Put>
  long sort_into_buckets(const double* dist, Put put);
  void settle(const double* dist, long* pred);
  long sort_reached(const double* dist);

  GraphPaths single_;            ///< for rows whose order of settling only a search can tell
  std::vector<long> order_;      ///< node number at each place
  std::vector<int> place_;       ///< place of each node
  std::vector<int> first_;       ///< n + 1: by place, where the edges begin
  std::vector<PathEdge> edges_;  ///< between places
  std::vector<double> storage_;
  double* distance_ = nullptr;         ///< n x group by place, from a cache line within the storage on
  std::vector<int> queue_, far_;       ///< n
  std::vector<unsigned char> queued_;  ///< n
  std::vector<double> reach_;          ///< n
  double step_ = 0.0;
  long known_ = 0;                    ///< lanes that hold distances of the group before
  bool guided_ = true;                ///< these have been of use so far
  int sequence_used_ = 0;             ///< times that the present sequence was of use
  std::vector<double> guide_;         ///< n: those in the lane that sets the sequence
  std::vector<int> node_at_, rank_;   ///< n: the sequence of places, and where each of them stands in it
  std::vector<PathEdge> back_;        ///< edges to nodes of a lower rank, rank by rank
  std::vector<int> back_end_;         ///< n: where those of each rank end
  std::vector<long> surplus_;         ///< pred of lanes without a source
  std::vector<ReachedNode> settled_;  ///< n
  std::vector<int> bucket_;           ///< n: the bucket of each node in the sort by distance
  std::vector<int> end_;              ///< n + 3: where each bucket ends
};

}  // namespace qvtx
