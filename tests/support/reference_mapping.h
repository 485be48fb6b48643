#pragma once
// What the plain loops of the projection methods share: the images and the distances of a mapping as vectors.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "support/mapping.h"
#include "support/reference_quantizer.h"

namespace qvtx::test {

/// A mapping's state, and a generator of its own. Nothing here is shared with the program.
struct ReferenceMapping {
  using Rows = std::vector<std::vector<double>>;

  long n = 0;
  std::vector<long> label;
  Rows space, graph;  ///< distances between prototypes; graph: -1 where no path leads
  Rows y;
  ReferenceDraws draws;

  explicit ReferenceMapping(const OpenMapping& mapping) : n(mapping.prot.nrow()), y(rows_of(mapping.mprot)) {
    const Rows x = rows_of(mapping.prot);
    MatFullD scratch;
    for (long i = 0; i < n; ++i) {
      label.push_back(mapping.pidx.get(i, 0));
      space.emplace_back();
      for (long j = 0; j < n; ++j) space.back().push_back(distance(x[at(i)], x[at(j)]));
      const double* row = mapping.graph_row(i, scratch);
      graph.emplace_back(row, row + n);
    }
  }

  static std::size_t at(long i) { return static_cast<std::size_t>(i); }
  std::size_t axes() const { return y[0].size(); }

  static double distance(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t k = a.size(); k-- > 0;) sum += (a[k] - b[k]) * (a[k] - b[k]);
    return std::sqrt(sum);
  }

  /// Components centred and put side by side.
  void separate(double gap) {
    if (gap == 0) return;
    for (long c = *std::max_element(label.begin(), label.end()); c >= 0; --c) {
      const double members = static_cast<double>(std::count(label.begin(), label.end(), c));
      for (std::size_t k = 0; k < axes(); ++k) {
        double sum = 0;
        for (long i = n - 1; i >= 0; --i) sum += label[at(i)] == c ? y[at(i)][k] : 0.0;
        for (long i = n - 1; i >= 0; --i) {
          if (label[at(i)] != c) continue;
          y[at(i)][k] -= sum / members;
          if (k == 0) y[at(i)][k] += static_cast<double>(c) * gap;
        }
      }
    }
  }
};

/// N points of a rolled sheet, 90 long and 21 wide, whose turns lie 2 pi apart.
inline void swiss_roll(MatFullD& data, long n, unsigned long seed) {
  MatFullD u;
  uniform_points(u, n, 2, seed);
  data.setdim(n, 3);
  data.setrows(n, 0.0);
  for (long i = 0; i < n; ++i) {
    const double t = 1.5 * 3.14159265358979 * (1 + 2 * u(i, 0));
    data(i, 0) = t * std::cos(t);
    data(i, 1) = 21 * u(i, 1);
    data(i, 2) = t * std::sin(t);
  }
}

/// 200 prototypes of a swiss roll with the shipped settings, quantized and linked.
inline void quantize_swiss_roll(OpenMapping& mapping) {
  MatFullD data;
  swiss_roll(data, 2000, 3);
  ASSERT_EQ(1, mapping.dataload(data, 0));
  ASSERT_EQ(1, mapping.ng(200, static_cast<const char*>(nullptr)));
  ASSERT_EQ(1, mapping.ncomp());
}

}  // namespace qvtx::test
