// Graph distances: shortest paths along the links.

#include <algorithm>
#include <array>
#include <vector>

#include "graph/matlinkd.h"
#include "graph/path_rows.h"

namespace qvtx {

namespace {

/// A node of the search. Nodes with equal keys are ordered by their numbers, so that the order of settling
/// does not hang on the inner state of the heap.
class PathNode final : public HeapNode<double> {
 public:
  using HeapNode<double>::operator=;
  bool operator<(const FibHeapNode& rival) const override {
    const auto& other = static_cast<const PathNode&>(rival);
    if (below_all() != below_all(other) || key != other.key) return HeapNode<double>::operator<(other);
    return index < other.index;
  }
};

/// The nodes of the search, kept between calls and allocated anew only when their number changes.
std::vector<PathNode>& path_nodes(long n) {
  static std::vector<PathNode> nodes;
  if (static_cast<long>(nodes.size()) != n) nodes = std::vector<PathNode>(static_cast<std::size_t>(n));
  for (long i = 0; i < n; ++i) {
    PathNode& node = nodes[static_cast<std::size_t>(i)];
    node = no_bound;
    node.index = i;
  }
  return nodes;
}

void fill_rows(MatFullL& m, long rows, long cols) {
  m.setdim(rows, cols);
  m.setrows(rows, -1);
  std::fill_n(m.data(), rows * cols, -1L);
}

void fill_rows(MatFullD& m, long rows, long cols) {
  m.setdim(rows, cols);
  m.setrows(rows, -1.0);
  std::fill_n(m.data(), rows * cols, -1.0);
}

}  // namespace

long MatLinkD::gdav(long src, long col, MatFullL& pred, MatFullD& dist, double bound) const {
  checknode(src, 'l', 1001, 1);
  if (col < 0 || col >= nvalue()) ermessage('l', 1001, 2, col);
  fill_rows(dist, nnode(), 1);
  fill_rows(pred, nnode(), 2);
  dist.data()[src] = 0.0;

  std::vector<PathNode>& nodes = path_nodes(nnode());
  FibHeap heap;
  nodes[static_cast<std::size_t>(src)] = 0.0;
  heap.Insert(&nodes[static_cast<std::size_t>(src)]);
  long settled = 0;
  while (auto* u = static_cast<PathNode*>(heap.ExtractMin())) {
    const double d = u->key;
    if (settled > 0 && d >= bound * 1.0005) break;  // the margin lets a node exactly at the bound through
    *u = -no_bound;                                 // no length reaches it again
    dist.data()[u->index] = d;
    pred.data()[2 * settled++ + 1] = u->index;
    for (long k = head(u->index); k >= 0; k = next(k, u->index)) {
      PathNode& v = nodes[static_cast<std::size_t>(other(k, u->index))];
      const double length = d + getvalue(k, col);
      if (!(length < v.key)) continue;
      dist.data()[v.index] = length;
      pred.data()[2 * v.index] = u->index;
      if (v.key < no_bound) {
        PathNode offer;
        offer = length;
        offer.index = v.index;
        heap.DecreaseKey(&v, offer);
      } else {
        v = length;
        heap.Insert(&v);
      }
    }
  }
  return settled;
}

long MatLinkD::gdav(long src, long col, MatFullD& dist, double bound) const {
  static MatFullL pred;
  return gdav(src, col, pred, dist, bound);
}

namespace {

/// The pair i > j whose positive distance is the best one by `better`; among equals the one with the largest
/// i, then the largest j, whatever the order in which the rows come.
template <class Better>
double best_pair(const MatLinkD& links, long col, long& i, long& j, Better better) {
  i = j = -1;
  double best = 0.0;
  const long n = links.nnode();
  PathRows paths(links, col);
  std::vector<double> rows(static_cast<std::size_t>(n * PathRows::group));
  std::array<double*, PathRows::group> dist;
  for (std::size_t s = 0; s < dist.size(); ++s) dist[s] = rows.data() + static_cast<long>(s) * n;
  for (long first = 0; first < n; first += PathRows::group) {
    const long count = std::min(PathRows::group, n - first);
    const long* const sources = paths.order().data() + first;
    paths.rows(sources, count, dist.data(), nullptr);
    for (long s = 0; s < count; ++s) {
      const long a = sources[s];
      for (long b = a - 1; b >= 0; --b) {
        const double d = dist[static_cast<std::size_t>(s)][b];
        if (!(d > 0.0) || (i >= 0 && !better(d, best) && (d != best || a < i || (a == i && b < j)))) continue;
        best = d;
        i = a;
        j = b;
      }
    }
  }
  return best;
}

}  // namespace

long MatLinkD::gdnv(long i, long col, MatFullD& dist) const {
  checknode(i, 'l', 1005, 1);
  if (col < 0 || col >= nvalue()) ermessage('l', 1005, 2, col);
  dist.setdim(nnode(), 1);
  dist.setrows(nnode(), -1.0);
  std::fill_n(dist.data(), nnode(), -1.0);
  long links = 0;
  for (long k = head(i); k >= 0; k = next(k, i)) {
    double& length = dist(other(k, i), 0);
    const double x = getvalue(k, col);
    if (length < 0 || x < length) length = x;
    ++links;
  }
  dist(i, 0) = 0;
  return links;
}

double MatLinkD::gdamax(long col, long& i, long& j) const {
  if (col < 0 || col >= nvalue()) ermessage('l', 1002, 1, col);
  return best_pair(*this, col, i, j, [](double d, double best) { return d > best; });
}

double MatLinkD::gdamin(long col, long& i, long& j) const {
  if (col < 0 || col >= nvalue()) ermessage('l', 1002, 1, col);
  return best_pair(*this, col, i, j, [](double d, double best) { return d < best; });
}

}  // namespace qvtx
