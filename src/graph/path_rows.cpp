#include "graph/path_rows.h"

#include <algorithm>
#include <cstdint>

namespace qvtx {

namespace {

constexpr std::size_t line_doubles = 8;  // doubles of a cache line

/// Nodes ahead whose edges are called for.
constexpr long far_ahead = 16;

/// Groups that follow each other are near enough for one sequence.
constexpr int groups_of_a_sequence = 2;

/// Nodes of a bucket that an insertion sort can still do with.
constexpr long crowd = 32;

std::size_t at(long i) { return static_cast<std::size_t>(i); }

}  // namespace

PathRows::PathRows(const MatLinkD& links, long col) : single_(links, col) {
  const long n = single_.nnode();
  order_.reserve(at(n));
  queue_.resize(at(n));
  far_.resize(at(n));
  reach_.resize(at(n));
  settled_.resize(at(n));
  bucket_.resize(at(n));
  end_.resize(at(n + 3));
  queued_.assign(at(n), 0);
  set_order();
  copy_edges(single_);
  storage_.resize(at(n * group) + line_doubles);
  const auto over = reinterpret_cast<std::uintptr_t>(storage_.data()) / sizeof(double) % line_doubles;
  distance_ = storage_.data() + (line_doubles - over) % line_doubles;
}

/// Groups that lie near each other; each begins beside one before if it can, so that few of them are far from
/// the next.
void PathRows::set_order() {
  std::vector<bool> ordered(at(single_.nnode()), false);
  std::vector<int> frontier;
  for (long i = 0; i < single_.nnode(); ++i) {
    frontier.push_back(static_cast<int>(i));
    while (!frontier.empty()) {
      const long seed = frontier.back();
      frontier.pop_back();
      if (!ordered[at(seed)]) collect_near(seed, ordered, frontier);
    }
  }
}

/// Appends up to `count` nodes to a list: the seed, and those next to it by the number of links that are not
/// taken yet. The walk also passes through nodes that are, so that few groups end early. What it met beyond
/// is the frontier.
void PathRows::collect_near(long seed, std::vector<bool>& ordered, std::vector<int>& frontier) {
  long found = 0, visited = 0, known = 0;
  const auto meet = [&](long i) {
    if (queued_[at(i)] != 0) return;
    queued_[at(i)] = 1;
    queue_[at(known++)] = static_cast<int>(i);
  };
  for (meet(seed); visited < known && found < group; ++visited) {
    const long i = queue_[at(visited)];
    if (!ordered[at(i)]) {
      ordered[at(i)] = true;
      order_.push_back(i);
      ++found;
    }
    for (const GraphPaths::Edge& edge : single_.edges(i)) meet(edge.to);
  }
  for (long k = 0; k < known; ++k) {
    const int i = queue_[at(k)];
    queued_[at(i)] = 0;
    if (!ordered[at(i)]) frontier.push_back(i);
  }
}

void PathRows::copy_edges(const GraphPaths& links) {
  const long n = links.nnode();
  double total = 0.0;
  place_.resize(at(n));
  for (long p = 0; p < n; ++p) place_[at(order_[at(p)])] = static_cast<int>(p);
  first_.push_back(0);
  for (long p = 0; p < n; ++p) {
    const long begin = static_cast<long>(edges_.size());
    for (const GraphPaths::Edge& edge : links.edges(order_[at(p)]))
      edges_.push_back({edge.length, place_[at(edge.to)]});
    std::sort(edges_.begin() + begin, edges_.end(),
              [this](const PathEdge& a, const PathEdge& b) { return order_[at(a.to)] < order_[at(b.to)]; });
    first_.push_back(static_cast<int>(edges_.size()));
    for (const GraphPaths::Edge& edge : links.edges(order_[at(p)]))
      if (edge.length < no_bound) total += edge.length;
  }
  if (!edges_.empty()) step_ = std::min(total / static_cast<double>(edges_.size()), 1e308);
}

void PathRows::rows(const long* sources, long count, double* const* dist, long* const* pred) {
  const long n = single_.nnode();
  search(sources, count);
  unsigned searched_anew = 0;
  if (pred != nullptr) {
    surplus_.resize(at(2 * n));
    long* every[group];
    for (long s = 0; s < group; ++s) every[s] = s < count ? pred[s] : surplus_.data();
    searched_anew = path_kernels().predecessors(graph(), distance_, every);
  }
  path_kernels().collect(distance_, place_.data(), n, dist, count);
  for (long s = 0; pred != nullptr && s < count; ++s) {
    if ((searched_anew >> s & 1) != 0) {
      single_.row(sources[s], dist[s], pred[s]);
    } else {
      settle(dist[s], pred[s]);
    }
  }
}

void PathRows::steps(const long* sources, long count, unsigned char* step, long* ends) {
  search(sources, count);
  path_kernels().steps(graph(), distance_, step, ends);
}

/// Distances of the sources in the first lanes; the others stay at +infinity. The group before tells in which
/// sequence to visit the nodes, when its sources are not far.
void PathRows::search(const long* sources, long count) {
  const long guide = choose_guide(sources, count);
  known_ = count;
  if (guide >= 0) {
    if (sequence_used_ == 0) arrange(guide);
    sequence_used_ = (sequence_used_ + 1) % groups_of_a_sequence;
    if (search_along(sources, count)) return;
    guided_ = false;
  }
  search_anew(sources, count);
}

/// The lane of the group before whose source is nearest to these, -1 when none reaches them all.
long PathRows::choose_guide(const long* sources, long count) const {
  long nearest = -1;
  double least = no_bound;
  for (long lane = 0; lane < known_ && guided_; ++lane) {
    double sum = 0.0;
    for (long s = 0; s < count; ++s) sum += distance_[place(sources[s]) * group + lane];
    if (!(sum < least)) continue;
    least = sum;
    nearest = lane;
  }
  return nearest;
}

/// Sets the sequence: by the distances in a lane, roughly.
void PathRows::arrange(long lane) {
  const long n = single_.nnode();
  guide_.resize(at(n));
  node_at_.resize(at(n));
  rank_.resize(at(n));
  for (long p = 0; p < n; ++p) {
    const double d = distance_[p * group + lane];
    guide_[at(p)] = d < no_bound ? d : -1.0;
  }
  sort_into_buckets(guide_.data(), [this](long r, long p) {
    node_at_[at(r)] = static_cast<int>(p);
    rank_[at(p)] = static_cast<int>(r);
  });
  back_.resize(edges_.size() + 1);
  back_end_.resize(at(n));
  std::size_t found = 0;
  for (long r = 0; r < n; ++r) {
    if (r + far_ahead < n) {
      const PathEdge* const ahead = edges_.data() + first_[at(node_at_[at(r + far_ahead)])];
      __builtin_prefetch(ahead);
      __builtin_prefetch(ahead + 4);
    }
    const auto p = at(node_at_[at(r)]);
    for (int e = first_[p]; e < first_[p + 1]; ++e) {
      back_[found] = edges_[at(e)];
      if (rank_[at(edges_[at(e)].to)] < r) ++found;
    }
    back_end_[at(r)] = static_cast<int>(found);
  }
}

/// The nodes among the sources first, then all others along the sequence. False, without a result, when that
/// is not the sequence in which shortest paths run.
bool PathRows::search_along(const long* sources, long count) {
  long last = 0;
  for (long s = 0; s < count; ++s) last = std::max<long>(last, rank_[at(place(sources[s]))]);
  for (long r = 0; r <= last; ++r) {
    std::fill_n(distance_ + node_at_[at(r)] * group, group, no_bound);
    reach_[at(node_at_[at(r)])] = no_bound;
  }
  const PathWorkspace sources_wait = enqueue(sources, count);
  path_kernels().shorten(graph(), rank_.data(), last, distance_, sources_wait);
  const PathSequence sequence{node_at_.data(), rank_.data(), back_.data(), back_end_.data()};
  return path_kernels().spread(graph(), sequence, last + 1, distance_, sources_wait) != 0;
}

void PathRows::search_anew(const long* sources, long count) {
  const long n = single_.nnode();
  std::fill_n(distance_, n * group, no_bound);
  std::fill(reach_.begin(), reach_.end(), no_bound);
  path_kernels().shorten(graph(), place_.data(), n, distance_, enqueue(sources, count));
}

PathWorkspace PathRows::enqueue(const long* sources, long count) {
  long waiting = 0;
  for (long s = 0; s < count; ++s) {
    const long p = place(sources[s]);
    distance_[p * group + s] = 0.0;
    if (queued_[at(p)] == 0) queue_[at(waiting++)] = static_cast<int>(p);
    queued_[at(p)] = 1;
    reach_[at(p)] = 0.0;
  }
  return {queue_.data(), far_.data(), queued_.data(), reach_.data(), waiting, step_};
}

/// Lists the nodes within reach in the order of settling, by distance and number, and marks the others.
void PathRows::settle(const double* dist, long* pred) {
  const long n = single_.nnode();
  const long settled = sort_reached(dist);
  for (long r = 0; r < n; ++r) pred[2 * r + 1] = r < settled ? settled_[at(r)].node : -1;
}

/// Calls put(rank, i) for every i, ranks by increasing distance; those of nearly equal distance, one of n
/// parts of the largest, are in any order. dist: n, -1 out of reach, which come last. Returns the number of
/// the others; end_ tells where the parts end.
template <class Put>
long PathRows::sort_into_buckets(const double* dist, Put put) {
  const long n = single_.nnode();
  double farthest = 0.0;
  for (long i = 0; i < n; ++i) farthest = dist[i] > farthest ? dist[i] : farthest;
  const double scale = farthest > 1e-290 ? static_cast<double>(n) / farthest : 0.0;
  // Bucket n + 1, behind the one of the farthest node, takes the nodes out of reach.
  for (long i = 0; i < n; ++i)
    bucket_[at(i)] = static_cast<int>(dist[i] >= 0.0 ? dist[i] * scale : static_cast<double>(n + 1));
  std::fill(end_.begin(), end_.end(), 0);
  for (long i = 0; i < n; ++i) ++end_[at(bucket_[at(i)] + 1)];
  for (std::size_t b = 1; b < end_.size(); ++b) end_[b] += end_[b - 1];
  const long reached = end_[at(n + 1)];
  for (long i = 0; i < n; ++i) put(end_[at(bucket_[at(i)])]++, i);
  return reached;
}

/// Distances along links are spread well enough for as many buckets as there are nodes; an insertion sort
/// over all completes the order. Returns the number of nodes within reach. dist: -1 out of reach.
long PathRows::sort_reached(const double* dist) {
  const long reached = sort_into_buckets(dist, [&](long r, long i) {
    settled_[at(r)] = {dist[i], static_cast<int>(i)};
  });

  long first = 0;
  for (std::size_t b = 0; first < reached; first = end_[b++]) {
    if (end_[b] - first > crowd)
      std::sort(settled_.begin() + first, settled_.begin() + end_[b],
                [](const ReachedNode& a, const ReachedNode& c) { return a.before(c); });
  }
  for (long r = 1; r < reached; ++r) {
    const ReachedNode node = settled_[at(r)];
    long place = r;
    for (; place > 0 && node.before(settled_[at(place - 1)]); --place)
      settled_[at(place)] = settled_[at(place - 1)];
    settled_[at(place)] = node;
  }
  return reached;
}

}  // namespace qvtx
