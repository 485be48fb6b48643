#pragma once
// What the tests of the graph folder share: graphs made in memory and a generator of their own.

#include "base/support.h"
#include "graph/matlinkd.h"

namespace qvtx::test {

/// Small whole numbers from a fixed seed.
class Numbers {
 public:
  explicit Numbers(unsigned long seed) : engine_(seed) {}
  /// 0 .. n - 1.
  long below(long n) { return static_cast<long>(engine_() % static_cast<unsigned long>(n)); }
  /// A number in [0, 1) with 53 random bits.
  double real() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }

 private:
  std::mt19937_64 engine_;
};

struct Edge {
  long a, b;
  double length;
};

/// n nodes, three values per link, the length in column 1.
inline void build(MatLinkD& links, long n, const std::vector<Edge>& edges) {
  links.setdim(n, 3);
  links.addrow(n);
  for (const Edge& e : edges) links.setvalue(links.add_link(e.a, e.b), 1, e.length);
}

/// A graph with deleted slots, double links, and whole-numbered lengths that tie often, zero included.
inline void build_random(MatLinkD& links, long n, long count, long longest, Numbers& numbers) {
  build(links, n, {});
  for (long k = 0; k < count; ++k) {
    const long a = numbers.below(n), b = numbers.below(n);
    if (a == b) continue;
    links.setvalue(links.add_link(a, b), 1, static_cast<double>(numbers.below(longest + 1)));
    if (numbers.below(5) == 0) links.del_link(numbers.below(links.nslot()));
  }
}

/// Live links as (smaller end, larger end, length), in link order.
inline std::vector<Edge> edges_of(const MatLinkD& links) {
  std::vector<Edge> edges;
  for (long k = 0; k < links.nslot(); ++k) {
    if (links.live(k)) edges.push_back({links.end_a(k), links.end_b(k), links.getvalue(k, 1)});
  }
  return edges;
}

/// m becomes n uniform points of d coordinates in 0..1.
inline void uniform_points(MatFullD& m, long n, long d, Numbers& numbers) {
  m.setdim(n, d);
  m.setrows(n, 0.0);
  for (long c = 0; c < n * d; ++c) m.data()[c] = numbers.real();
}

}  // namespace qvtx::test
