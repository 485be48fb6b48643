#include "quant/link_diameter.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

#include "base/interrupt.h"

namespace qvtx {

namespace {

/// Breadth-first walks over a flat copy of the links.
class Walker {
 public:
  explicit Walker(const MatLinkD& links) : hops(static_cast<std::size_t>(links.nnode()), -1) {
    first_.push_back(0);
    for (long i = 0; i < links.nnode(); ++i) {
      for (long k = links.head(i); k >= 0; k = links.next(k, i)) {
        neighbours_.push_back(static_cast<int>(links.other(k, i)));
      }
      first_.push_back(neighbours_.size());
    }
  }

  /// Fills `hops` and `reached` from node src; returns the largest number of hops.
  int walk(int src) {
    for (int v : reached) hops[static_cast<std::size_t>(v)] = -1;
    reached.assign(1, src);
    hops[static_cast<std::size_t>(src)] = 0;
    for (std::size_t next = 0; next < reached.size(); ++next) {
      const std::size_t u = static_cast<std::size_t>(reached[next]);
      for (std::size_t e = first_[u]; e < first_[u + 1]; ++e) {
        int& h = hops[static_cast<std::size_t>(neighbours_[e])];
        if (h >= 0) continue;
        h = hops[u] + 1;
        reached.push_back(neighbours_[e]);
      }
    }
    return hops[static_cast<std::size_t>(reached.back())];
  }

  std::vector<int> hops;     // per node: links from the source of the last walk, -1 where it did not come
  std::vector<int> reached;  // nodes of the last walk in the order of discovery

 private:
  std::vector<std::size_t> first_;  // n + 1: where the neighbours of each node begin
  std::vector<int> neighbours_;
};

/// What is known of the eccentricity of a node: the links to the node that is the farthest from it.
struct Bounds {
  int lower = 0;
  int upper = std::numeric_limits<int>::max();
};

}  // namespace

long link_diameter(const MatLinkD& links) {
  Walker walker(links);
  std::vector<Bounds> bounds(static_cast<std::size_t>(links.nnode()));
  std::vector<int> open(bounds.size());  // nodes that may be farther from some node than `diameter`
  std::iota(open.begin(), open.end(), 0);
  const auto at = [&bounds](int v) -> Bounds& { return bounds[static_cast<std::size_t>(v)]; };
  int diameter = 0;
  // Turn by turn a node at the rim, which raises the diameter, and one in the middle, which lowers the bounds
  // of others.
  for (bool rim = true; !open.empty(); rim = !rim) {
    interruption_point();
    const int u = *std::min_element(open.begin(), open.end(), [&](int a, int b) {
      return rim ? at(a).upper > at(b).upper : at(a).lower < at(b).lower;
    });
    const int far = walker.walk(u);
    diameter = std::max(diameter, far);
    for (int v : walker.reached) {
      const int hops = walker.hops[static_cast<std::size_t>(v)];
      at(v).lower = std::max(at(v).lower, std::max(hops, far - hops));
      at(v).upper = std::min(at(v).upper, far + hops);
    }
    at(u).upper = far;
    std::erase_if(open, [&](int v) { return at(v).upper <= diameter; });
  }
  return diameter;
}

}  // namespace qvtx
