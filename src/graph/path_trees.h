#pragma once
// The shortest paths between all nodes in half a byte a pair.

#include <cstddef>
#include <memory>
#include <vector>

#include "graph/path_rows.h"

namespace qvtx {

/// Which link leads to each node on the shortest path from each other one, found once by PathRows. A row of
/// distances is added up from that, with the bits of the search: several times as fast, for callers that need
/// all rows again and again, in any order, and have no room for them. Memory: half a byte a pair of nodes, a
/// whole one where a node has more than 14 links, and three copies of the links.
class PathTrees {
 public:
  /// Lengths come from value column col, which holds no negative number. Null when that would take more than
  /// most_bytes, or when a node has more than 254 links. Throws std::bad_alloc. Fatal (l 1003): col (1).
  static std::unique_ptr<PathTrees> plant(const MatLinkD& links, long col, std::size_t most_bytes);
  PathTrees(const PathTrees&) = delete;
  PathTrees& operator=(const PathTrees&) = delete;

  /// n distances from a node, -1 where no path leads. REQUIRES: 0 <= source < n.
  void row(long source, double* dist);

 private:
  /// What leads to each place from one source.
  struct Tree {
    const unsigned char* halves;  ///< two places a byte
    const unsigned char* whole;   ///< for places with many links
  };

  PathTrees(const MatLinkD& links, long col) : paths_(links, col), graph_(paths_.graph()) {}
  bool measure(std::size_t most_bytes);
  void grow();
  void keep(long source_place, const unsigned char* step);
  void keep_sequence(long block);
  int step(const Tree& tree, long place) const;
  void add_up(const Tree& tree, long place, const PathEdge& last);
  void climb(const Tree& tree, long place);
  const PathEdge& edge(long place, int step) const { return graph_.edges[graph_.first[place] + step]; }

  PathRows paths_;
  const PathGraph graph_;
  std::vector<int> many_links_;             ///< n: number among the places with many links, or -1
  std::size_t row_bytes_ = 0, wide_ = 0;    ///< of a tree in halves_; places with many links
  std::vector<unsigned char> halves_;       ///< n trees of row_bytes_
  std::vector<unsigned char> whole_;        ///< n trees of wide_ bytes
  std::vector<bool> searched_;              ///< n: by place of the source, links of no length spoil the tree
  std::vector<std::vector<int>> sequence_;  ///< per block of sources: places by their distance, roughly
  std::vector<double> distance_;            ///< n: by place, negative while not known
  std::vector<long> way_;                   ///< places still to be added up
};

}  // namespace qvtx
