// Short cycles, and the tearing of long ones.

#include <algorithm>
#include <vector>

#include "graph/matlinkd.h"

namespace qvtx {

namespace {

/// Looks for short paths between two nodes: a breadth-first search from both ends, one whole level of the
/// side with fewer nodes to expand at a time. Before every level no path of at most the levels' sum exists,
/// so that the first contact ends a shortest path. Marks carry the number of the search, which spares
/// clearing them.
class ShortPaths {
 public:
  /// Uses the links k of `links` with present[k] != 0.
  ShortPaths(const MatLinkD& links, const std::vector<char>& present)
      : links_(links), present_(present), mark_(static_cast<std::size_t>(links.nnode()), 0) {}

  /// Links on the shortest path between a and b, -1 when none has at most `limit`.
  long find(long a, long b, long limit) {
    if (a == b) return limit >= 0 ? 0 : -1;
    search_ += 2;
    sides_[0].assign(1, a);
    sides_[1].assign(1, b);
    mark(a) = search_;
    mark(b) = search_ + 1;
    for (long levels = 1; levels <= limit; ++levels) {
      const int side = sides_[0].size() <= sides_[1].size() ? 0 : 1;
      if (expand(side)) return levels;
      if (sides_[side].empty()) return -1;
    }
    return -1;
  }

 private:
  long& mark(long i) { return mark_[static_cast<std::size_t>(i)]; }

  /// Replaces the outermost level of a side by the next one; true when that touches the other side.
  bool expand(int side) {
    const long own = search_ + side, opposite = search_ + 1 - side;
    level_.clear();
    for (const long u : sides_[side]) {
      for (long k = links_.head(u); k >= 0; k = links_.next(k, u)) {
        if (present_[static_cast<std::size_t>(k)] == 0) continue;
        long& v = mark(links_.other(k, u));
        if (v == opposite) return true;
        if (v == own) continue;
        v = own;
        level_.push_back(links_.other(k, u));
      }
    }
    sides_[side].swap(level_);
    return false;
  }

  const MatLinkD& links_;
  const std::vector<char>& present_;
  std::vector<long> mark_;      ///< side that reached a node, offset by the number of the search
  std::vector<long> sides_[2];  ///< outermost level of either side
  std::vector<long> level_;
  long search_ = 0;
};

/// The node of every component from which its tree grows: root, or the one whose point is nearest to root's.
std::vector<long> tree_roots(const MatLinkD& links, long root, const MatFullD& points) {
  MatFullL comp;
  MatFullD dist;
  std::vector<long> roots(static_cast<std::size_t>(links.connex(comp)), -1);
  points.sdav(root, dist, no_bound);
  const double* d = dist.data();
  for (long i = 0; i < links.nnode(); ++i) {
    long& best = roots[static_cast<std::size_t>(comp.data()[i])];
    if (best < 0 || d[i] < d[best]) best = i;
  }
  roots[static_cast<std::size_t>(comp.data()[root])] = root;
  return roots;
}

/// Lengths of components in links, by breadth-first sweeps.
class Sweeps {
 public:
  explicit Sweeps(const MatLinkD& links)
      : links_(links), depth_(static_cast<std::size_t>(links.nnode()), -1) {}

  /// The depth of the third of three sweeps, each from the deepest node of the one before (ties: the lowest
  /// number), the first from `start`: a lower bound of the longest shortest path, which it seldom misses.
  long length(long start) {
    long far = start;
    for (int sweep = 0; sweep < 3; ++sweep) far = deepest(far);
    return depth(far);
  }

  /// The component of the node that the last length was asked for, each of its nodes once.
  const std::vector<long>& component() const { return reached_; }

 private:
  long& depth(long i) { return depth_[static_cast<std::size_t>(i)]; }

  long deepest(long start) {
    for (const long i : reached_) depth(i) = -1;
    reached_.assign(1, start);
    depth(start) = 0;
    for (std::size_t next = 0; next < reached_.size(); ++next) {
      const long u = reached_[next];
      for (long k = links_.head(u); k >= 0; k = links_.next(k, u)) {
        const long v = links_.other(k, u);
        if (depth(v) >= 0) continue;
        depth(v) = depth(u) + 1;
        reached_.push_back(v);
      }
    }
    // The nodes stand in levels, so that the last one is of the deepest level.
    long far = reached_.back();
    for (const long i : reached_) {
      if (depth(i) == depth(reached_.back())) far = std::min(far, i);
    }
    return far;
  }

  const MatLinkD& links_;
  std::vector<long> depth_;    ///< links from the start of the last sweep, -1 where it did not come
  std::vector<long> reached_;  ///< nodes of the last sweep in the order of discovery
};

/// Per node, the longest loop (in links) that tearing leaves in its component.
std::vector<long> longest_loops(const MatLinkD& links, long cycle, const std::vector<long>& roots) {
  std::vector<long> longest(static_cast<std::size_t>(links.nnode()), cycle);
  Sweeps sweeps(links);
  for (const long root : roots) {
    const long loop = std::max(cycle, 2 * sweeps.length(root) / 5);
    for (const long i : sweeps.component()) longest[static_cast<std::size_t>(i)] = loop;
  }
  return longest;
}

}  // namespace

long MatLinkD::cycles(long k, long max) const {
  if (k < 0 || k >= nslot() || !live(k)) return 0;
  std::vector<char> present(static_cast<std::size_t>(nslot()), 1);
  present[static_cast<std::size_t>(k)] = 0;
  return ShortPaths(*this, present).find(end_a(k), end_b(k), max - 1) + 1;
}

std::vector<char> MatLinkD::tree_links(bool paths, const std::vector<long>& roots) const {
  std::vector<TreeNode> nodes(static_cast<std::size_t>(nnode()));
  for (long i = 0; i < nnode(); ++i) nodes[static_cast<std::size_t>(i)].index = i;
  for (const long start : roots) grow_tree(start, 1, paths, nodes);
  std::vector<char> chosen(static_cast<std::size_t>(nslot()), 0);
  for (const TreeNode& i : nodes) {
    if (i.link >= 0) chosen[static_cast<std::size_t>(i.link)] = 1;
  }
  return chosen;
}

long MatLinkD::tear(int tree, long cycle, long root, const MatFullD& points, double* shortest) {
  if (nvalue() < 2) ermessage('l', 98, 1, nvalue());
  if (tree < 1 || nnode() == 0) return 0;
  checknode(root, 'l', 98, 3);
  if (points.nrow() != nnode()) ermessage('l', 98, 4, points.nrow());

  const std::vector<long> roots = tree_roots(*this, root, points);
  const std::vector<long> longest = longest_loops(*this, cycle, roots);
  std::vector<char> present = tree_links(tree > 1, roots);
  std::vector<long> absent;
  for (long k = 0; k < nslot(); ++k) {
    if (live(k) && present[static_cast<std::size_t>(k)] == 0) absent.push_back(k);
  }
  // A link that comes back can only shorten paths, and another one that could come back before still can: the
  // links left out in the end are the same whatever the order of the visits, by increasing length or by
  // number.
  ShortPaths paths(*this, present);
  std::size_t before = 0;
  do {
    before = absent.size();
    std::size_t left = 0;
    for (const long k : absent) {
      const long limit = longest[static_cast<std::size_t>(end_a(k))] - 1;
      if (paths.find(end_a(k), end_b(k), limit) >= 0) {
        present[static_cast<std::size_t>(k)] = 1;
      } else {
        absent[left++] = k;
      }
    }
    absent.resize(left);
  } while (absent.size() < before);

  const auto shorter = [this](long a, long b) { return getvalue(a, 1) < getvalue(b, 1); };
  if (shortest && !absent.empty())
    *shortest = getvalue(*std::min_element(absent.begin(), absent.end(), shorter), 1);
  for (auto k = absent.rbegin(); k != absent.rend(); ++k) del_link(*k);
  return static_cast<long>(before);
}

}  // namespace qvtx
