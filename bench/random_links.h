#pragma once
// The graph that the benchmarks of shortest paths share.

#include <benchmark/benchmark.h>

#include "base/random.h"
#include "graph/matlinkd.h"
#include "matrix/matfulld.h"

/// n nodes uniform in a square, each linked with its 5 nearest: about 6 links a node. Returns
/// the points.
inline qvtx::MatFullD link_random_points(qvtx::MatLinkD& links, long n) {
  qvtx::setseed(qvtx::default_seed);
  qvtx::MatFullD points(n, 2);
  points.setrows(n, 0.0);
  points.random(0, 0.0, 1.0, 0, -1, 0, -1);
  links.setdim(n, 2);
  links.addrow(n);
  links.n_link(0, points, 5);
  links.setpos(points, 1);
  return points;
}
