#pragma once
// Shortest paths from several sources side by side, one copy per instruction set.

#include "base/kernel_choice.h"

namespace qvtx {

inline constexpr int path_sources = 16;  ///< searched together, one in each lane
inline constexpr int no_step = 255;

/// A link as seen from one end.
struct PathEdge {
  double length;
  int to;
};

/// A graph in flat arrays, its nodes in an order that keeps neighbours near each other.
struct PathGraph {
  long n;
  const int* first;       ///< n + 1: where the edges of each node begin
  const PathEdge* edges;  ///< of one node: by increasing number of the other end
  const long* number;     ///< n: the numbers that the nodes have outside
};

/// A sequence of all nodes.
struct PathSequence {
  const int* node;  ///< n: the node at each rank
  const int* rank;  ///< n: where each node stands
  /// The edges that lead from each node to one of a lower rank, rank by rank; those of rank r end at end[r].
  const PathEdge* back;
  const int* end;
};

/// Room for the nodes that wait for their turn, n places each.
struct PathWorkspace {
  int* near;  ///< the first `waiting` hold the sources
  int* far;
  unsigned char* queued;  ///< 1 for the sources, else 0
  double* reach;          ///< distance from the nearest source, roughly: 0 for the sources, else +infinity
  long waiting;
  double step;  ///< nodes that far apart may take their turns in any order, not negative
};

struct PathKernels {
  /// Shortens tentative distances (n x path_sources; +infinity for none) along the edges between nodes of
  /// rank[v] <= last, until none can be shortened. All flags of the workspace are 0 afterwards. Returns how
  /// often a node took its turn.
  long (*shorten)(const PathGraph& graph, const int* rank, long last, double* distance,
                  const PathWorkspace& work);
  /// Goes on with nodes of rank `first` and above, whose distances need not be set, when those of all others
  /// cannot be shortened along the edges between them; then no distance can. Quick when most shortest paths
  /// follow the sequence. Gives up, with 0 and with distances that mean nothing, when few do; otherwise 1.
  /// The workspace: nobody waits.
  int (*spread)(const PathGraph& graph, const PathSequence& sequence, long first, double* distance,
                PathWorkspace work);
  /// pred[s][2 i] = number of the node before node number i on the path from source s, the first settled of
  /// several, -1 for none, for all lanes. Returns the lanes in which an edge adds nothing to a distance, as
  /// bits: there the order of settling is not that of the distances, and pred may be wrong.
  unsigned (*predecessors)(const PathGraph& graph, const double* distance, long* const* pred);
  /// step[v path_sources + s] = which of the edges of node v, counted from its first, leads to it on a
  /// shortest path from source s, no_step for the source and out of reach. ends[s] counts the nodes within
  /// reach without a step; when it is not the source alone, there are edges that add nothing to a distance,
  /// and the steps are of no use. No node has more than no_step edges.
  void (*steps)(const PathGraph& graph, const double* distance, unsigned char* step, long* ends);
  /// dist[s][v] = the distance of the node at place[v] from source s (-1 where it is infinite or NaN), for n
  /// nodes and the first `count` sources.
  void (*collect)(const double* distance, const int* place, long n, double* const* dist, long count);
};

/// The loops of the instruction set in use.
const PathKernels& path_kernels();
QVTX_DECLARE_KERNEL(PathKernels, path_kernels)

}  // namespace qvtx
