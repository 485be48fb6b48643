#pragma once
// The link store of the prototypes: linking rules, tearing and graph distances.

#include <vector>

#include "graph/matlink.h"
#include "matrix/matfulld.h"

namespace qvtx {

/// Links between the rows of a point matrix, which are the nodes. Distances are those of the distance class
/// and exponent in force.
class MatLinkD : public MatLinkT<double> {
 public:
  using MatLinkT<double>::MatLinkT;

  // ---- Linking rules (matlinkd_rules.cpp) ----
  // Each strengthens pairs of nodes: the link between them, added when there is none, gains 1 in value column
  // col. Rows of points and data are visited from the last to the first. Links that exist stay and gain
  // strength. Rows whose distance is NaN are not linked. Fatal (l and the rule's number): argument 1, col is
  // no value column; argument 2, another number of points than nodes; argument 3, data of other width than
  // the points.

  /// Every pair at most eps apart; none for eps <= 0. Fatal: l 91.
  void e_link(long col, const MatFullD& points, double eps);
  /// Every row and the k rows nearest to it, farthest first; k is clamped to 1 .. n - 1. Fatal: l 92.
  void n_link(long col, const MatFullD& points, long k);
  /// Every row and the rows within (1 + tol) times its distance to the nearest row that is not a duplicate;
  /// its duplicates count as within. Fatal: l 93.
  void r_link(long col, const MatFullD& points, double tol);
  /// For every datum the nearest row q0 and each of the k rows q1, q2, ... that follow in distance, as long
  /// as they lie within (1 + tol) times the distance of q1 (or of the first of them that is not at 0); k is
  /// clamped to 1 .. n - 1. With k = 1 competitive Hebbian learning (Martinetz and Schulten, "Topology
  /// representing networks", 1994). Fatal: l 94.
  void d_link(long col, const MatFullD& points, const MatFullD& data, long k, double tol);
  /// For every datum its two nearest rows; afterwards links weaker than tol times the strongest link of their
  /// one end and of their other end are removed, all at once. Fatal: l 96.
  void h_link(long col, const MatFullD& points, const MatFullD& data, double tol);
  /// Every node of a grid (node = row * width + column) and its neighbours at distance 1: 4 on a square grid,
  /// 6 on a hexagonal one (hex != 0), whose odd rows are shifted right by half a step. Fatal (l 95): col (1),
  /// or width x length is not the number of nodes (2).
  void setgrd(long col, long width, long length, int hex);
  /// Value column c of every link becomes the distance between its two rows of points. Fatal (l 97): another
  /// number of points than nodes (1), c is no value column (2).
  void setpos(const MatFullD& points, long c);

  // ---- Tearing (matlinkd_tear.cpp) ----
  /// Links on the shortest cycle through link k, 0 when none has at most max, or when k is no link.
  long cycles(long k, long max) const;
  /// Opens long loops. Of every component a tree is kept, with value column 1 as length: tree 1 the minimum
  /// spanning tree, 2 the shortest paths from its root, which is node `root` or, in the other components, the
  /// node whose point is nearest to root's (ties: the lowest number). Among links of equal length the lower
  /// number wins. The other links are taken out and come back when a path of at most c - 1 links joins their
  /// ends, in passes until one brings none back. c is `cycle` or two fifths of the component's length in
  /// links, whichever is more: single holes of a fine mesh are longer than any fixed loop, and one of them
  /// would keep a whole seam open. Components stay whole, though `connex` may number them
  /// in another order; links that stay keep their numbers and values. Returns the number of links cut; 0 for
  /// tree 0. shortest: unless null, becomes the length of the shortest of them; unchanged without any. Fatal
  /// (l 98): no value column 1 (1), root (3), another number of points than nodes (4).
  long tear(int tree, long cycle, long root, const MatFullD& points, double* shortest = nullptr);

  // ---- Graph distances (matlinkd_distance.cpp) ----
  /// Shortest paths from node src with value column col, which holds no negative number, as length (Dijkstra,
  /// "A note on two problems in connexion with graphs", 1959).
  /// dist becomes n x 1: distances, -1 where no path leads. pred becomes n x 2: (v, 0) the node before v on
  /// its path, (s, 1) the node settled after s others, -1 elsewhere. Of the nodes queued, those at equal
  /// distance are settled by increasing number; of two paths of equal length the one found first is kept. The
  /// search stops at the first node, src apart, at bound * 1.0005 or beyond: nodes reached by then, but not
  /// settled, keep a provisional distance and predecessor. Returns the number of settled nodes.
  /// Not reentrant: the heap nodes are kept between calls. Fatal (l 1001): src (1), col (2).
  long gdav(long src, long col, MatFullL& pred, MatFullD& dist, double bound) const;
  long gdav(long src, long col, MatFullD& dist, double bound) const;
  /// Lengths of the links of node i: dist becomes n x 1 with value column col of the link to each direct
  /// neighbour (of several the smallest), 0 for i and -1 elsewhere. Returns the degree of i. Fatal (l 1005):
  /// i (1), col (2).
  long gdnv(long i, long col, MatFullD& dist) const;
  /// Largest / smallest positive graph distance between connected pairs, with the pair (i > j; among equals
  /// the one that visiting i and then j downwards meets first); 0 and -1, -1 for none. The distance is that
  /// of the search from i. Fatal (l 1002): col (1).
  double gdamax(long col, long& i, long& j) const;
  double gdamin(long col, long& i, long& j) const;

 private:
  void strengthen(long col, long i, long j);
  void check_rule(int code, long col, const MatFullD& points) const;
  /// Per link slot: whether the link belongs to the tree of its component.
  std::vector<char> tree_links(bool paths, const std::vector<long>& roots) const;
};

}  // namespace qvtx
