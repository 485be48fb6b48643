// Smallest and largest of many distances. Their order does not matter, so lanes and registers share them out.

#include "quant/range_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

constexpr int side_by_side = 4;

// get(j) is the vector of numbers from j on, get.one(j) one that holds number j alone.
template <class Get>
inline __attribute__((always_inline)) void widen_by(const Get& get, long n, double* least, double* most) {
  constexpr long stride = side_by_side * lanes;
  const Vec infinite = broadcast(__builtin_inf());
  Vec low[side_by_side], high[side_by_side];
  for (int i = 0; i < side_by_side; ++i) {
    low[i] = broadcast(*least);
    high[i] = broadcast(*most);
  }
  const auto take = [&](Vec v, int i) __attribute__((always_inline)) {
    const Vec positive = select(above(v, Vec{}), v, infinite);
    low[i] = select(above(low[i], positive), positive, low[i]);
    high[i] = select(above(v, high[i]), v, high[i]);
  };
  long j = 0;
  for (; j + stride <= n; j += stride)
    for (int i = 0; i < side_by_side; ++i) take(get(j + i * lanes), i);
  for (; j < n; ++j) take(get.one(j), 0);
  for (int i = 0; i < side_by_side; ++i) {
    for (int l = 0; l < lanes; ++l) {
      if (low[i][l] < *least) *least = low[i][l];
      if (high[i][l] > *most) *most = high[i][l];
    }
  }
}

struct Numbers {
  const double* numbers;
  Vec operator()(long j) const { return load(numbers + j); }
  Vec one(long j) const { return broadcast(numbers[j]); }
};

struct Mix {
  const double *space, *graph;
  double w;
  Vec operator()(long j) const { return mix(load(space + j), load(graph + j)); }
  Vec one(long j) const { return mix(broadcast(space[j]), broadcast(graph[j])); }
  Vec mix(Vec e, Vec g) const {
    return select(above(g, Vec{}), broadcast(1.0 - w) * e + broadcast(w) * g, Vec{});
  }
};

void widen(const double* numbers, long n, double* least, double* most) {
  widen_by(Numbers{numbers}, n, least, most);
}

void widen_mixed(const double* space, const double* graph, double w, long n, double* least, double* most) {
  widen_by(Mix{space, graph, w}, n, least, most);
}

}  // namespace

const RangeKernels range_kernels = {widen, widen_mixed};

}  // namespace qvtx::QVTX_ISA
