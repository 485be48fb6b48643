#pragma once
// What the plain loops of the projection methods share: the images and the distances of a mapping as vectors,
// the frame of an epoch, and its comparison with the program's.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "base/exponential.h"
#include "support/mapping.h"
#include "support/reference_quantizer.h"

namespace qvtx::test {

/// A mapping's state, and a generator of its own. Nothing here is shared with the program.
struct ReferenceMapping {
  long n = 0;
  std::vector<long> label;
  Rows space, graph;  ///< distances between prototypes; graph: -1 where no path leads
  Rows y;
  std::vector<long> order;
  ReferenceDraws draws;
  double w = 0;          ///< weight of the graph distances
  double gap = 0;        ///< between components
  bool shuffled = true;  ///< "tgswap_p"

  explicit ReferenceMapping(const OpenMapping& mapping, double weight = 0)
      : n(mapping.prot.nrow()), y(rows_of(mapping.mprot)), order(y.size()), w(weight) {
    const Rows x = rows_of(mapping.prot);
    MatFullD scratch;
    for (long i = 0; i < n; ++i) {
      label.push_back(mapping.pidx.get(i, 0));
      space.emplace_back();
      for (long j = 0; j < n; ++j) space.back().push_back(distance(x[at(i)], x[at(j)]));
      const double* row = mapping.graph_row(i, scratch);
      graph.emplace_back(row, row + n);
    }
    std::iota(order.begin(), order.end(), 0L);
    if (w > 0) gap = mapping.real("tdxm") * mapping.real("tdccsfac");
  }

  static std::size_t at(long i) { return static_cast<std::size_t>(i); }
  std::size_t axes() const { return y[0].size(); }
  bool joined(long i, long j) const { return label[at(i)] == label[at(j)]; }

  /// Under exponent 2, or else 1.
  static double distance(const std::vector<double>& a, const std::vector<double>& b) {
    const bool euclidean = MatFullD::miex == 2;
    double sum = 0;
    for (std::size_t k = a.size(); k-- > 0;) {
      const double t = a[k] - b[k];
      sum += euclidean ? t * t : std::fabs(t);
    }
    return euclidean ? std::sqrt(sum) : sum;
  }

  /// The mixed distance of two prototypes; with graph distances -1 for different components.
  double input(long i, long j) const {
    const double e = space[at(i)][at(j)], g = graph[at(i)][at(j)];
    if (w == 0) return e;
    if (!joined(i, j)) return -1;
    return w == 1 ? g : (1 - w) * e + w * g;
  }

  /// One epoch of pivot(i) in the order of the images.
  template <class Pivot>
  void epoch(Pivot pivot) {
    for (long p = n - 1; shuffled && p >= 0; --p) std::swap(order[at(p)], order[at(draws.index(n))]);
    for (long p = n - 1; p >= 0; --p) pivot(order[at(p)]);
    separate(gap);
  }

  /// Components centred and put side by side.
  void separate(double between) {
    if (between == 0) return;
    for (long c = *std::max_element(label.begin(), label.end()); c >= 0; --c) {
      const double members = static_cast<double>(std::count(label.begin(), label.end(), c));
      for (std::size_t k = 0; k < axes(); ++k) {
        double sum = 0;
        for (long i = n - 1; i >= 0; --i) sum += label[at(i)] == c ? y[at(i)][k] : 0.0;
        for (long i = n - 1; i >= 0; --i) {
          if (label[at(i)] != c) continue;
          y[at(i)][k] -= sum / members;
          if (k == 0) y[at(i)][k] += static_cast<double>(c) * between;
        }
      }
    }
  }
};

class ReferenceMappingTest : public MappingTest {
 protected:
  /// Nine prototypes, some in the same place, and images, some in the same place.
  void prepare_coincident() {
    MatFullD points;
    fill(points, {{0, 0}, {0, 0}, {1, 0}, {0, 1}, {1, 1}, {1, 1}, {2, 0}, {2, 1}, {0, 2}});
    prototypes(tm, points, 0);
    start_mapping(2);
    fill(tm.mprot, {{0, 0}, {3, 1}, {1, 1}, {1, 1}, {1, 1}, {2, 2}, {0, 0}, {0.5, 0}, {0, 0}});
  }

  /// The program's epochs from the present images must give those of the reference, their order and the
  /// report with every instruction set. The images are put back at the end.
  template <class Epochs>
  void expect_same(const ReferenceMapping& r, const std::string& report, Epochs epochs) {
    MatFullD start;
    start.copy(tm.mprot);
    tm.setkey("tgswap_p", r.shuffled ? 1 : 0);
    for (const Isa isa : instruction_sets()) {
      SCOPED_TRACE(::testing::Message() << "w " << r.w << ", n " << r.n << ", axes " << r.axes() << ", set "
                                        << static_cast<int>(isa));
      set_isa_level(isa);
      setseed(default_seed);
      tm.mprot.copy(start);
      for (long i = 0; i < r.n; ++i) tm.mpidx(i, 0) = i;
      console.take();
      tm.verbose = 1;
      epochs();
      tm.verbose = 0;
      ASSERT_EQ(r.y, rows_of(tm.mprot));
      ASSERT_EQ(r.order, std::vector<long>(tm.mpidx.data(), tm.mpidx.data() + r.n));
      ASSERT_EQ(report, console.take());
    }
    tm.mprot.copy(start);
  }

  static void expect_near(const Rows& expected, const Rows& found, double tolerance) {
    ASSERT_EQ(expected.size(), found.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      for (std::size_t k = 0; k < expected[i].size(); ++k)
        EXPECT_NEAR(expected[i][k], found[i][k], tolerance) << i << " " << k;
    }
  }
};

}  // namespace qvtx::test
