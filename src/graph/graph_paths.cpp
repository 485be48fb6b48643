#include "graph/graph_paths.h"

#include <algorithm>

namespace qvtx {

namespace {

constexpr int arity = 4;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

}  // namespace

GraphPaths::GraphPaths(const MatLinkD& links, long col) {
  if (col < 0 || col >= links.nvalue()) links.ermessage('l', 1003, 1, col);
  const long n = links.nnode();
  first_.assign(static_cast<std::size_t>(n) + 1, 0);
  edges_.reserve(static_cast<std::size_t>(2 * links.nlive()));
  for (long i = 0; i < n; ++i) {
    for (long k = links.head(i); k >= 0; k = links.next(k, i)) {
      edges_.push_back({links.getvalue(k, col), static_cast<int>(links.other(k, i))});
    }
    first_[static_cast<std::size_t>(i) + 1] = static_cast<int>(edges_.size());
  }
  key_.resize(static_cast<std::size_t>(n));
  heap_.resize(static_cast<std::size_t>(n));
  place_.resize(static_cast<std::size_t>(n));
}

/// Puts an entry at a place or above it.
void GraphPaths::sift_up(int place, ReachedNode entry) {
  while (place > 0) {
    const int parent = (place - 1) / arity;
    if (!entry.before(heap_[at(parent)])) break;
    heap_[at(place)] = heap_[at(parent)];
    place_[at(heap_[at(place)].node)] = place;
    place = parent;
  }
  heap_[at(place)] = entry;
  place_[at(entry.node)] = place;
}

/// Puts an entry at the free root or below it.
void GraphPaths::sift_down(ReachedNode entry) {
  int place = 0;
  for (int child = 1; child < queued_; child = arity * place + 1) {
    const int end = std::min(child + arity, queued_);
    int best = child;
    for (int c = child + 1; c < end; ++c) {
      if (heap_[at(c)].before(heap_[at(best)])) best = c;
    }
    if (!heap_[at(best)].before(entry)) break;
    heap_[at(place)] = heap_[at(best)];
    place_[at(heap_[at(place)].node)] = place;
    place = best;
  }
  heap_[at(place)] = entry;
  place_[at(entry.node)] = place;
}

int GraphPaths::pop() {
  const int node = heap_[0].node;
  if (--queued_ > 0) sift_down(heap_[at(queued_)]);
  return node;
}

long GraphPaths::row(long src, double* dist, long* pred) {
  const long n = nnode();
  std::fill_n(dist, n, -1.0);
  if (pred != nullptr) std::fill_n(pred, 2 * n, -1L);
  std::fill(key_.begin(), key_.end(), no_bound);
  key_[static_cast<std::size_t>(src)] = 0.0;
  dist[src] = 0.0;
  queued_ = 1;
  sift_up(0, {0.0, static_cast<int>(src)});
  long settled = 0;
  for (; queued_ > 0; ++settled) {
    const int u = pop();
    const double d = key_[at(u)];
    key_[at(u)] = -no_bound;  // no length reaches it again
    if (pred != nullptr) pred[2 * settled + 1] = u;
    for (int e = first_[at(u)]; e < first_[at(u) + 1]; ++e) {
      const int v = edges_[at(e)].to;
      const double length = d + edges_[at(e)].length;
      if (!(length < key_[at(v)])) continue;
      const int place = key_[at(v)] < no_bound ? place_[at(v)] : queued_++;
      key_[at(v)] = length;
      dist[v] = length;
      if (pred != nullptr) pred[2L * v] = u;
      sift_up(place, {length, v});
    }
  }
  return settled;
}

}  // namespace qvtx
