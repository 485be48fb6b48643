// Shortest paths from several sources side by side: a vector lane holds a source.
//
// Why this gives the distances of Dijkstra's search to the last bit: a path's length is the sum of its links
// from the source on, each addition rounded. Rounded addition is monotone and no length is negative, so that
// both methods end at the smallest such sum over all paths, whatever the order in which they try them. A NaN
// length shortens nothing in either.

#include "graph/path_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

constexpr int vectors = path_sources / lanes;

// The nodes waiting for their turn.
class Waiting {
 public:
  Waiting(const PathGraph& graph, const PathWorkspace& work) : n_(graph.n), work_(work) {
    near_ = work.waiting;
    tail_ = near_ % n_;
    limit_ = work.step;
  }

  // The next node, -1 when none waits.
  int next() {
    if (near_ == 0 && !advance()) return -1;
    const int u = work_.near[head_];
    if (++head_ == n_) head_ = 0;
    --near_;
    work_.queued[u] = 0;
    return u;
  }

  void add(int v) {
    if (work_.queued[v] != 0) return;
    work_.queued[v] = 1;
    if (work_.reach[v] <= limit_) {
      push(v);
    } else {
      work_.far[far_++] = v;
    }
  }

 private:
  void push(int v) {
    work_.near[tail_] = v;
    if (++tail_ == n_) tail_ = 0;
    ++near_;
  }

  // Moves the limit on, to the nearest of the far nodes at least.
  bool advance() {
    double nearest = __builtin_inf();
    for (long k = 0; k < far_; ++k)
      nearest = work_.reach[work_.far[k]] < nearest ? work_.reach[work_.far[k]] : nearest;
    limit_ = nearest + work_.step;
    long kept = 0;
    for (long k = 0; k < far_; ++k) {
      const int v = work_.far[k];
      if (work_.reach[v] <= limit_) {
        push(v);
      } else {
        work_.far[kept++] = v;
      }
    }
    far_ = kept;
    return near_ > 0;
  }

  const long n_;
  const PathWorkspace work_;
  long head_ = 0, tail_, near_, far_ = 0;
  double limit_;
};

// Nodes take their turn by their distance from the nearest source, roughly. For near sources that is the
// order of the distances in every lane, and most nodes have to be visited once or twice only.
long shorten(const PathGraph& graph, const int* rank, long last, double* distance,
             const PathWorkspace& work) {
  Waiting waiting(graph, work);
  long turns = 0;
  for (int u = waiting.next(); u >= 0; u = waiting.next(), ++turns) {
    Vec from[vectors];
    for (int i = 0; i < vectors; ++i)
      from[i] = load(distance + static_cast<long>(u) * path_sources + i * lanes);
    const PathEdge* const end = graph.edges + graph.first[u + 1];
    for (const PathEdge* edge = graph.edges + graph.first[u]; edge != end; ++edge) {
      if (rank[edge->to] > last) continue;
      double* to = distance + static_cast<long>(edge->to) * path_sources;
      const Vec length = broadcast(edge->length);
      unsigned shorter = 0;
      for (int i = 0; i < vectors; ++i) {
        const Vec offer = from[i] + length, present = load(to + i * lanes);
        const Mask better = above(present, offer);
        store(to + i * lanes, select(better, offer, present));
        shorter |= mask_of(better);
      }
      if (shorter == 0) continue;
      const double reach = work.reach[u] + edge->length;
      if (reach < work.reach[edge->to]) work.reach[edge->to] = reach;
      waiting.add(edge->to);
    }
  }
  return turns;
}

// The shortest ways to a node over some of its neighbours. Returns whether it in turn shortens the way to one
// of them.
bool meet(const PathEdge* begin, const PathEdge* end, const double* distance, double* here) {
  Vec best[vectors];
  for (int i = 0; i < vectors; ++i) best[i] = broadcast(__builtin_inf());
  for (const PathEdge* edge = begin; edge != end; ++edge) {
    const double* from = distance + static_cast<long>(edge->to) * path_sources;
    for (int i = 0; i < vectors; ++i) {
      const Vec offer = load(from + i * lanes) + broadcast(edge->length);
      best[i] = select(above(best[i], offer), offer, best[i]);
    }
  }
  for (int i = 0; i < vectors; ++i) store(here + i * lanes, best[i]);
  unsigned shorter = 0;
  for (const PathEdge* edge = begin; edge != end; ++edge) {
    const double* to = distance + static_cast<long>(edge->to) * path_sources;
    for (int i = 0; i < vectors; ++i)
      shorter |= mask_of(above(load(to + i * lanes), best[i] + broadcast(edge->length)));
  }
  return shorter != 0;
}

// A node takes its distances from those before it, all at once and without a queue. Where one of those is
// better reached over this node, what follows from that is mended before the next node has its turn.
int spread(const PathGraph& graph, const PathSequence& sequence, long first, double* distance,
           PathWorkspace work) {
  work.waiting = 1;
  work.step = __builtin_inf();
  long mended = 0;
  for (long r = first; r < graph.n; ++r) {
    const int v = sequence.node[r];
    const PathEdge* const begin = sequence.back + (r > 0 ? sequence.end[r - 1] : 0);
    if (!meet(begin, sequence.back + sequence.end[r], distance,
              distance + static_cast<long>(v) * path_sources))
      continue;
    work.near[0] = v;
    work.queued[v] = 1;
    mended += shorten(graph, sequence.rank, r, distance, work);
    if (mended > 2 * graph.n) return 0;
  }
  return 1;
}

// One vector of sources of one node.
Bits predecessors_of(const PathGraph& graph, long v, const double* distance, long* number) {
  const Vec infinite = broadcast(__builtin_inf());
  const Vec here = load(distance + v * path_sources);
  Vec nearest = here < infinite ? infinite : -infinite;  // a node out of reach finds none
  Bits found = Bits{} - 1, flat = {};
  for (int e = graph.first[v]; e < graph.first[v + 1]; ++e) {
    const PathEdge& edge = graph.edges[e];
    const Vec there = load(distance + static_cast<long>(edge.to) * path_sources);
    const Vec sum = there + broadcast(edge.length);
    // Nodes settle in the order of (distance, number), and the edges come by number.
    const Bits earlier = (sum == here) & (there < nearest);
    nearest = earlier ? there : nearest;
    found = earlier ? Bits{} + graph.number[edge.to] : found;
    flat |= (sum == there) & (there < infinite);
  }
  __builtin_memcpy(number, &found, sizeof found);
  return flat;
}

unsigned predecessors(const PathGraph& graph, const double* distance, long* const* pred) {
  Bits flat[vectors] = {};
  for (long v = 0; v < graph.n; ++v) {
    long number[path_sources];
    for (int i = 0; i < vectors; ++i)
      flat[i] |= predecessors_of(graph, v, distance + i * lanes, number + i * lanes);
    for (int s = 0; s < path_sources; ++s) pred[s][2 * graph.number[v]] = number[s];
  }
  unsigned lanes_with_flat = 0;
  for (int i = 0; i < vectors; ++i) lanes_with_flat |= mask_of(flat[i]) << (i * lanes);
  return lanes_with_flat;
}

// One vector of sources of one node. Returns 1 in lanes within reach without a step.
Bits step_to(const PathGraph& graph, long v, const double* distance, long long* step) {
  const Vec infinite = broadcast(__builtin_inf());
  const Vec here = load(distance + v * path_sources);
  Bits found = Bits{} + no_step;
  for (int e = graph.first[v + 1] - 1; e >= graph.first[v]; --e) {
    const PathEdge& edge = graph.edges[e];
    const Vec there = load(distance + static_cast<long>(edge.to) * path_sources);
    const Bits leads = (there + broadcast(edge.length) == here) & (there < here) & (here < infinite);
    found = leads ? Bits{} + (e - graph.first[v]) : found;
  }
  __builtin_memcpy(step, &found, sizeof found);
  return (found == no_step) & (here < infinite) & 1;
}

void steps(const PathGraph& graph, const double* distance, unsigned char* step, long* ends) {
  Bits without[vectors] = {};
  for (long v = 0; v < graph.n; ++v) {
    long long found[path_sources];
    for (int i = 0; i < vectors; ++i)
      without[i] += step_to(graph, v, distance + i * lanes, found + i * lanes);
    for (int s = 0; s < path_sources; ++s) step[v * path_sources + s] = static_cast<unsigned char>(found[s]);
  }
  for (int i = 0; i < vectors; ++i)
    for (int l = 0; l < lanes; ++l) ends[i * lanes + l] = without[i][l];
}

// Sixteen rows that begin at the same place of a page share one set of cache lines, so each gets a few lines
// at a time.
void collect(const double* distance, const int* place, long n, double* const* dist, long count) {
  constexpr int together = 32;
  const Vec infinite = broadcast(__builtin_inf());
  double row[path_sources][together];
  const auto turn = [&](long v, int k) {
    const double* from = distance + static_cast<long>(place[v]) * path_sources;
    double node[path_sources];
    for (int i = 0; i < vectors; ++i) {
      const Vec d = load(from + i * lanes);
      store(node + i * lanes, d < infinite ? d : broadcast(-1.0));
    }
    for (int s = 0; s < path_sources; ++s) row[s][k] = node[s];
  };
  long first = 0;
  for (; first + together <= n; first += together) {
    for (int k = 0; k < together; ++k) turn(first + k, k);
    for (long s = 0; s < count; ++s)
      for (int k = 0; k < together; k += lanes) store(dist[s] + first + k, load(row[s] + k));
  }
  for (; first < n; ++first) {
    turn(first, 0);
    for (long s = 0; s < count; ++s) dist[s][first] = row[s][0];
  }
}

}  // namespace

const PathKernels path_kernels = {shorten, spread, predecessors, steps, collect};

}  // namespace qvtx::QVTX_ISA
