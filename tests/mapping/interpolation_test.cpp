// Interpolation and reconstruction against plain forms written from the formulas, and the properties they
// promise.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>

#include "mapping/affine_blend.h"
#include "support/mapping.h"
#include "support/schedule_files.h"

namespace qvtx {
namespace {

using test::fill;
using test::MappingTest;
using test::OpenMapping;
using test::rows_of;
using test::uniform_points;
using Row = std::vector<double>;
using Rows = std::vector<Row>;

Row difference(const Row& a, const Row& b) {
  Row d(a);
  for (std::size_t k = 0; k < d.size(); ++k) d[k] -= b[k];
  return d;
}
double norm(const Row& a) {
  double sum = 0;
  for (const double x : a) sum += x * x;
  return std::sqrt(sum);
}
double euclidean(const Row& a, const Row& b) { return norm(difference(a, b)); }
double city_block(const Row& a, const Row& b) {
  double sum = 0;
  for (const double x : difference(a, b)) sum += std::fabs(x);
  return sum;
}

/// Inverse of a small matrix by Gauss-Jordan elimination with pivots.
Rows inverse(Rows m) {
  const std::size_t n = m.size();
  for (std::size_t i = 0; i < n; ++i) {
    m[i].resize(2 * n, 0.0);
    m[i][n + i] = 1;
  }
  for (std::size_t i = 0; i < n; ++i) {
    std::size_t pivot = i;
    for (std::size_t r = i; r < n; ++r) {
      if (std::fabs(m[r][i]) > std::fabs(m[pivot][i])) pivot = r;
    }
    std::swap(m[i], m[pivot]);
    const double head = m[i][i];
    for (double& x : m[i]) x /= head;
    for (std::size_t r = 0; r < n; ++r) {
      const double factor = r == i ? 0.0 : m[r][i];
      for (std::size_t c = 0; c < 2 * n; ++c) m[r][c] -= factor * m[i][c];
    }
  }
  for (Row& row : m) row.erase(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(n));
  return m;
}

/// sum over r of u_r v_r'.
Rows outer(const Rows& u, const Rows& v) {
  Rows m(u[0].size(), Row(v[0].size(), 0.0));
  for (std::size_t r = 0; r < u.size(); ++r) {
    for (std::size_t i = 0; i < m.size(); ++i) {
      for (std::size_t j = 0; j < m[i].size(); ++j) m[i][j] += u[r][i] * v[r][j];
    }
  }
  return m;
}
Rows product(const Rows& a, const Rows& b) {
  Rows m(a.size(), Row(b[0].size(), 0.0));
  for (std::size_t i = 0; i < m.size(); ++i) {
    for (std::size_t j = 0; j < m[i].size(); ++j) {
      for (std::size_t k = 0; k < b.size(); ++k) m[i][j] += a[i][k] * b[k][j];
    }
  }
  return m;
}
Rows transposed(const Rows& a) {
  Rows m(a[0].size(), Row(a.size()));
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t j = 0; j < a[i].size(); ++j) m[j][i] = a[i][j];
  }
  return m;
}
void add_ridge(Rows& m) {
  double trace = 0;
  for (std::size_t i = 0; i < m.size(); ++i) trace += m[i][i];
  for (std::size_t i = 0; i < m.size(); ++i) m[i][i] += 0.01 * trace / static_cast<double>(m.size());
}

/// The blend once more: ranks, affine maps, shares and weights from their definitions.
class PlainBlend {
 public:
  using Metric = double (*)(const Row&, const Row&);
  struct Mixed {
    std::vector<std::size_t> row;
    Row weight;
    bool exact = false;
  };

  PlainBlend(const Rows& prototypes, const Rows& images, const std::vector<std::vector<std::size_t>>& graph,
             Metric metric)
      : x(prototypes), y(images), graph_(graph), metric_(metric), share(x.size(), 1.0) {
    trust_x_ = trust_of(x, metric);
    trust_y_ = trust_of(y, euclidean);
    for (std::size_t i = 0; i < x.size(); ++i) fit(i);
  }

  Row position(const Row& q, Mixed& mixed) const {
    return carry(q, x, y, metric_, trust_y_, inverse_, share, reach_y, mixed);
  }
  Row sample(const Row& q, Mixed& mixed) const {
    return carry(q, y, x, euclidean, trust_x_, forward_, Row(x.size(), 1.0), reach_x, mixed);
  }

  void shrink(const Rows& data) {
    const Row shares{1, 0.7, 0.4, 0.2, 0};
    Rows error(x.size(), Row(shares.size(), 0.0));
    Mixed mixed, back;
    for (std::size_t s = 0; s < shares.size(); ++s) {
      std::fill(share.begin(), share.end(), shares[s]);
      for (const Row& datum : data) {
        const Row rebuilt = sample(position(datum, mixed), back);
        error[mixed.row[0]][s] += std::pow(euclidean(datum, rebuilt), 2);
      }
    }
    for (std::size_t i = 0; i < x.size(); ++i) {
      const auto least = std::min_element(error[i].begin(), error[i].end());
      share[i] = shares[static_cast<std::size_t>(least - error[i].begin())];
    }
  }

  /// Numbers by increasing distance from q.
  static std::vector<std::size_t> by_distance(const Row& q, const Rows& points, Metric metric) {
    std::vector<std::size_t> order(points.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return metric(q, points[a]) < metric(q, points[b]);
    });
    return order;
  }

  Rows x, y;
  std::vector<std::vector<std::size_t>> graph_;
  Metric metric_;
  Row share;
  Row reach_x, reach_y;

 private:
  std::size_t p() const { return y[0].size(); }

  /// Place of j among the other points by distance from i, the nearest being 1.
  static std::size_t rank(const Rows& points, Metric metric, std::size_t i, std::size_t j) {
    std::size_t place = 1;
    for (std::size_t k = 0; k < points.size(); ++k) {
      if (k == i || k == j) continue;
      const double d = metric(points[i], points[k]), own = metric(points[i], points[j]);
      place += d < own || (d == own && k < j);
    }
    return place;
  }
  std::vector<std::vector<bool>> trust_of(const Rows& points, Metric metric) const {
    std::vector<std::vector<bool>> trust(x.size(), std::vector<bool>(x.size(), true));
    for (std::size_t i = 0; i < x.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j)
        trust[i][j] = trust[j][i] =
            std::min(rank(points, metric, i, j), rank(points, metric, j, i)) <= 4 * p();
    }
    return trust;
  }

  std::vector<std::size_t> neighbours(std::size_t i) const {
    std::vector<bool> in(x.size(), false);
    for (const std::size_t j : graph_[i]) in[j] = trust_y_[i][j];
    const std::vector<bool> first = in;
    if (static_cast<std::size_t>(std::count(in.begin(), in.end(), true)) < p() + 1) {
      for (std::size_t r = 0; r < x.size(); ++r) {
        if (!first[r]) continue;
        for (const std::size_t j : graph_[r]) in[j] = in[j] || (j != i && trust_y_[i][j]);
      }
    }
    std::vector<std::size_t> near;
    for (std::size_t j = 0; j < x.size(); ++j) {
      if (in[j] && y[j] != y[i]) near.push_back(j);
    }
    return near;
  }

  void fit(std::size_t i) {
    const std::size_t d = x[0].size();
    forward_.emplace_back(d, Row(p(), 0.0));
    inverse_.emplace_back(p(), Row(d, 0.0));
    reach_x.push_back(0);
    reach_y.push_back(0);
    Rows a, c;
    for (const std::size_t r : neighbours(i)) {
      a.push_back(difference(y[r], y[i]));
      c.push_back(difference(x[r], x[i]));
      const double l = norm(a.back());
      reach_y[i] = std::max(reach_y[i], l);
      reach_x[i] = std::max(reach_x[i], norm(c.back()));
      for (double& v : a.back()) v /= l;
      for (double& v : c.back()) v /= l;
    }
    if (a.empty()) return;
    Rows gram = outer(a, a);
    add_ridge(gram);
    const Rows m = product(outer(c, a), inverse(gram));
    Rows square = product(transposed(m), m);
    double size = 0;
    for (std::size_t k = 0; k < p(); ++k) size += square[k][k];
    if (size == 0) return;
    add_ridge(square);
    forward_[i] = m;
    inverse_[i] = product(inverse(square), transposed(m));
  }

  Row carry(const Row& q, const Rows& a, const Rows& b, Metric metric,
            const std::vector<std::vector<bool>>& trust, const std::vector<Rows>& maps, const Row& shares,
            const Row& reach, Mixed& mixed) const {
    const std::vector<std::size_t> o = by_distance(q, a, metric);
    const std::size_t k_last = std::min(p() + 1, a.size() - 1);
    mixed = {{o[0]}, {1.0}, true};
    if (a.size() == 1 || metric(q, a[o[0]]) == 0) return b[o[0]];
    const double end = metric(q, a[o[k_last]]);
    mixed = {{}, {}, false};
    double sum = 0;
    for (std::size_t k = 0; k < k_last; ++k) {
      const double d = metric(q, a[o[k]]);
      const bool counts = trust[o[0]][o[k]];
      mixed.row.push_back(o[k]);
      mixed.weight.push_back(counts ? std::pow((end - d) / (end * d), 2) : 0.0);
      sum += mixed.weight.back();
    }
    if (sum == 0) mixed.weight[0] = sum = 1;
    Row result(b[0].size(), 0.0);
    for (std::size_t k = 0; k < k_last; ++k) {
      mixed.weight[k] /= sum;
      const Row away = difference(q, a[o[k]]);
      Row step(result.size(), 0.0);
      for (std::size_t i = 0; i < step.size(); ++i) {
        for (std::size_t j = 0; j < away.size(); ++j) step[i] += shares[o[k]] * maps[o[k]][i][j] * away[j];
      }
      const double taken = norm(step);
      const double cut = taken > reach[o[k]] ? reach[o[k]] / taken : 1.0;
      for (std::size_t i = 0; i < step.size(); ++i)
        result[i] += mixed.weight[k] * (b[o[k]][i] + cut * step[i]);
    }
    return result;
  }

  std::vector<Rows> forward_, inverse_;
  std::vector<std::vector<bool>> trust_x_, trust_y_;
};

/// Distances of samples from prototypes in the mix of space and graph, with all pairs by Floyd and Warshall.
struct PlainDistances {
  Rows x, graph;
  std::vector<std::vector<std::size_t>> links;
  double w;

  PlainDistances(const Rows& prototypes, const std::vector<std::vector<std::size_t>>& neighbours,
                 double weight)
      : x(prototypes), graph(x.size(), Row(x.size(), no_bound)), links(neighbours), w(weight) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      graph[i][i] = 0;
      for (const std::size_t j : links[i]) graph[i][j] = euclidean(x[i], x[j]);
    }
    for (std::size_t k = 0; k < x.size(); ++k) {
      for (std::size_t i = 0; i < x.size(); ++i) {
        for (std::size_t j = 0; j < x.size(); ++j)
          graph[i][j] = std::min(graph[i][j], graph[i][k] + graph[k][j]);
      }
    }
  }
  double mixed(double space, double along) const { return w == 0 ? space : (1 - w) * space + w * along; }
  /// +infinity where there is none.
  double stored(std::size_t i, std::size_t j) const { return mixed(euclidean(x[i], x[j]), graph[i][j]); }
  double from(const Row& q, std::size_t nearest, std::size_t j) const {
    double along = euclidean(q, x[nearest]) + graph[nearest][j];
    for (const std::size_t c : links[nearest]) along = std::min(along, euclidean(q, x[c]) + graph[c][j]);
    return mixed(euclidean(q, x[j]), along);
  }
};

struct Target {
  Row at;
  double distance;
};

double target_stress(const std::vector<Target>& targets, const Row& y) {
  double sum = 0;
  for (const Target& t : targets) sum += std::pow(t.distance - euclidean(y, t.at), 2) / t.distance;
  return sum;
}

/// One step towards the targets; the stress against them must not rise.
void plain_step(const std::vector<Target>& targets, double a, Row& y) {
  const double before = target_stress(targets, y);
  Row mean(y.size(), 0.0);
  double total = 0;
  for (const Target& t : targets) {
    const double d = euclidean(y, t.at);
    for (std::size_t k = 0; k < y.size(); ++k)
      mean[k] += (t.at[k] + (d > 0 ? t.distance / d * (y[k] - t.at[k]) : 0.0)) / t.distance;
    total += 1 / t.distance;
  }
  for (std::size_t k = 0; k < y.size(); ++k) y[k] += a * (mean[k] / total - y[k]);
  EXPECT_LE(target_stress(targets, y), before * (1 + 1e-12));
}

class Interpolation : public MappingTest {
 protected:
  static std::vector<std::vector<std::size_t>> graph_of(const OpenMapping& mapping, long p) {
    const Rows x = rows_of(mapping.prot);
    std::vector<std::vector<std::size_t>> graph(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
      if (mapping.link.nlive() > 0) {
        const auto node = static_cast<long>(i);
        for (long k = mapping.link.head(node); k >= 0; k = mapping.link.next(k, node))
          graph[i].push_back(static_cast<std::size_t>(mapping.link.other(k, node)));
      } else {
        for (const std::size_t j : PlainBlend::by_distance(x[i], x, euclidean)) {
          if (j != i && graph[i].size() < static_cast<std::size_t>(2 * (p + 1))) graph[i].push_back(j);
        }
      }
    }
    return graph;
  }

  /// N samples of a roll of two turns and a half, 21 wide. sheet: length along the roll, and width.
  static void roll(long n, unsigned long seed, MatFullD& space, MatFullD& sheet) {
    uniform_points(sheet, n, 2, seed);
    space.setdim(n, 3);
    space.setrows(n, 0.0);
    for (long i = 0; i < n; ++i) {
      const double t = 4.71238898038469 * (1 + 2 * sheet(i, 0));
      space(i, 0) = t * std::cos(t);
      space(i, 1) = 21 * sheet(i, 1);
      space(i, 2) = t * std::sin(t);
      sheet(i, 0) = 0.5 * (t * std::sqrt(1 + t * t) + std::asinh(t));
      sheet(i, 1) = space(i, 1);
    }
  }

  /// A quantized roll of 1500 samples, unrolled: the image of a prototype is the mean sheet position of its
  /// data.
  void map_roll(long n) {
    MatFullD space, sheet;
    roll(1500, 3, space, sheet);
    ASSERT_EQ(1, tm.dataload(space, 1));
    ASSERT_EQ(1, tm.lbg(n));
    ASSERT_EQ(1, tm.dist_ini(0));
    ASSERT_EQ(1, tm.mapr_ini(2, 2));
    for (long i = 0; i < sheet.nrow(); ++i) {
      const long k = tm.getbmu().get(i, 0);
      for (long c = 0; c < 2; ++c) tm.mprot(k, c) += sheet(i, c) / static_cast<double>(tm.hits(k, 0));
    }
    ASSERT_EQ(1, tm.mapr_fin("Unrolled"));
  }

  /// A small mapping of a bent surface in three dimensions, by Sammon's method; k links per prototype.
  void map_surface(long n, long p, long k, double w, long clusters = 1) {
    MatFullD points;
    test::clustered_points(points, 8 * n, 3, clusters);
    for (long i = 0; i < points.nrow(); ++i)
      points(i, 2) += std::sin(2 * points(i, 0)) * points(i, 1) - points(i, 2);
    ASSERT_EQ(1, tm.dataload(points, 1));
    tm.setkey("vglink_p", k > 0 ? 2 : 0);
    if (k > 0) tm.setkey("vlnnbr", static_cast<double>(k));
    tm.setkey("tdgb", w);
    tm.setkey("tsmepoq", 10);
    ASSERT_EQ(1, tm.lbg(n));
    ASSERT_EQ(1, tm.sammon(p, nullptr));
  }

  static void expect_near(const Row& expected, const double* found, double tolerance) {
    for (std::size_t k = 0; k < expected.size(); ++k) EXPECT_NEAR(expected[k], found[k], tolerance);
  }

  /// New samples of the same distribution as map_surface's, and some far away.
  static void new_samples(MatFullD& m, long n) {
    test::clustered_points(m, n, 3, 2, 77);
    for (long i = 0; i < n; i += 10) m(i, 1) += 4;
  }

  MatFullD ppr, prj, tmp, jrp;
};

TEST_F(Interpolation, PrototypesGetTheirImagesAndBack) {
  const struct {
    long p, links;
    double w;
  } cases[] = {{2, 4, 0.0}, {2, 4, 0.5}, {3, 0, 0.0}, {1, 3, 1.0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.p << " dimensions, " << c.links << " links, w " << c.w);
    map_surface(30, c.p, c.links, c.w, 2);
    const Rows prototypes = rows_of(tm.prot), images = rows_of(tm.mprot);
    for (const bool sammon : {false, true}) {
      ASSERT_EQ(1, sammon ? tm.sammon_iv(tm.prot, ppr, prj, nullptr) : tm.cda_iv(tm.prot, ppr, prj));
      EXPECT_EQ(images, rows_of(prj));
      EXPECT_EQ(images, rows_of(ppr));
      ASSERT_EQ(1, sammon ? tm.sammon_rd(prj, tmp, jrp, nullptr) : tm.cda_rd(prj, tmp, jrp));
      EXPECT_EQ(prototypes, rows_of(jrp));
      EXPECT_EQ(prototypes, rows_of(tmp));
    }
  }
  MatFullD::mesp = 'c';  // where the distance of equal rows need not be 0
  ASSERT_EQ(1, tm.cda_iv(tm.prot, ppr, prj));
  EXPECT_EQ(rows_of(tm.mprot), rows_of(prj));
}

TEST_F(Interpolation, BlendEqualsThePlainForm) {
  const struct {
    long p, links;
    double exponent;
    bool twins;  // two prototypes in the same place of the map
  } cases[] = {{2, 4, 2, false}, {2, 1, 2, true}, {1, 3, 2, false}, {3, 0, 2, false}, {2, 5, 1, false}};
  long chosen = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << c.p << " dimensions, " << c.links << " links, exponent " << c.exponent);
    map_surface(40, c.p, c.links, 0.5, 2);
    if (c.twins) tm.mprot.copy(5, tm.mprot, tm.link.other(tm.link.head(5), 5));
    MatFullD::miex = c.exponent;
    PlainBlend plain(rows_of(tm.prot), rows_of(tm.mprot), graph_of(tm, c.p),
                     c.exponent == 1 ? city_block : euclidean);
    plain.shrink(rows_of(tm.getdat()));
    MatFullD samples;
    new_samples(samples, 60);
    const Rows sample_rows = rows_of(samples);
    ASSERT_EQ(1, tm.cda_iv(samples, ppr, prj));
    ASSERT_EQ(1, tm.cda_rd(prj, tmp, jrp));
    PlainBlend::Mixed mixed;
    for (long i = 0; i < samples.nrow(); ++i) {
      const Row& x = sample_rows[static_cast<std::size_t>(i)];
      expect_near(plain.position(x, mixed), prj.row(i), 1e-12 * 20);  // the map extends over about 20
      EXPECT_EQ(plain.y[mixed.row[0]], rows_of(ppr)[static_cast<std::size_t>(i)]);
      const Row y(prj.row(i), prj.row(i) + c.p);
      expect_near(plain.sample(y, mixed), jrp.row(i), 1e-12 * 20);
      EXPECT_EQ(plain.x[mixed.row[0]], rows_of(tmp)[static_cast<std::size_t>(i)]);
    }
    chosen += static_cast<long>(
        std::count_if(plain.share.begin(), plain.share.end(), [](double s) { return s < 1; }));
    MatFullD::miex = 2;
  }
  EXPECT_GT(chosen, 0) << "the shares had nothing to choose from";
}

TEST_F(Interpolation, SammonVariantEqualsThePlainForm) {
  const test::WorkingDirectory directory;
  std::ofstream("steps.txt") << "0.9\t\n0.75\t\n0.5\t\n";
  const double steps[] = {0.9, 0.75, 0.5};
  const struct {
    double w;
    bool stored;  // graph distances
    long n, links, clusters;
  } cases[] = {{0.0, true, 30, 3, 2},
               {0.4, true, 30, 3, 2},
               {1.0, true, 30, 3, 2},
               {0.4, false, 80, 3, 2},   // more rows than are kept when they are computed
               {1.0, false, 30, 1, 1}};  // many components that touch
  for (const auto& c : cases) {
    const double w = c.w;
    SCOPED_TRACE(::testing::Message() << "w " << w << ", " << c.n << " prototypes");
    tm.setkey("vgmemory", c.stored ? 2 : 0);
    map_surface(c.n, 2, c.links, w, c.clusters);
    // Components lie apart in the map; here they are brought together, so that samples lie between them.
    for (long i = 0; i < c.n && c.clusters == 1; ++i) {
      for (long k = 0; k < 2; ++k) tm.mprot(i, k) = tm.prot(i, k);
    }
    const std::vector<std::vector<std::size_t>> graph = graph_of(tm, 2);
    PlainBlend blend(rows_of(tm.prot), rows_of(tm.mprot), graph, euclidean);
    blend.shrink(rows_of(tm.getdat()));
    const PlainDistances distances(blend.x, graph, w);
    MatFullD samples;
    new_samples(samples, 40);
    ASSERT_EQ(1, tm.sammon_iv(samples, ppr, prj, "steps.txt"));
    ASSERT_EQ(1, tm.sammon_rd(prj, tmp, jrp, "steps.txt"));
    PlainBlend::Mixed mixed;
    for (long i = 0; i < samples.nrow(); ++i) {
      const Row q = rows_of(samples)[static_cast<std::size_t>(i)];
      Row y = blend.position(q, mixed);
      const auto label = [&](std::size_t k) { return tm.getcomp().get(static_cast<long>(k), 0); };
      double sum = 0;
      for (std::size_t k = 0; k < mixed.row.size(); ++k) {
        if (w > 0 && label(mixed.row[k]) != label(mixed.row[0])) mixed.weight[k] = 0;
        sum += mixed.weight[k];
      }
      for (double& weight : mixed.weight) weight /= sum;
      std::vector<Target> targets;
      for (std::size_t j = 0; j < blend.x.size(); ++j) {
        if (w > 0 && label(j) != label(mixed.row[0])) continue;
        double t = 0;
        for (std::size_t k = 0; k < mixed.row.size(); ++k) {
          const std::size_t o = mixed.row[k];
          if (mixed.weight[k] == 0) continue;
          t += mixed.weight[k] * (euclidean(blend.y[o], blend.y[j]) + distances.from(q, mixed.row[0], j) -
                                  distances.stored(o, j));
        }
        if (t > 0) targets.push_back({blend.y[j], t});
      }
      for (const double a : steps) plain_step(targets, a, y);
      expect_near(y, prj.row(i), 1e-10);

      // And back.
      y.assign(prj.row(i), prj.row(i) + 2);
      Row x = blend.sample(y, mixed);
      std::vector<std::size_t> near = PlainBlend::by_distance(y, blend.y, euclidean);
      near.resize(8);
      targets.clear();
      for (const std::size_t j : near) {
        double t = 0;
        for (std::size_t k = 0; k < mixed.row.size(); ++k) {
          const std::size_t o = mixed.row[k];
          t += mixed.weight[k] * (euclidean(blend.x[o], blend.x[j]) + euclidean(y, blend.y[j]) -
                                  euclidean(blend.y[o], blend.y[j]));
        }
        if (t > 0) targets.push_back({blend.x[j], t});
      }
      for (const double a : steps) plain_step(targets, a, x);
      expect_near(x, jrp.row(i), 1e-10);
    }
  }
}

TEST_F(Interpolation, SammonVariantDoesNotRaiseThePointStress) {
  for (const double w : {0.0, 1.0}) {
    SCOPED_TRACE(w);
    map_surface(60, 2, 4, w);
    const PlainDistances distances(rows_of(tm.prot), graph_of(tm, 2), w);
    const Rows images = rows_of(tm.mprot);
    const Rows data = rows_of(tm.getdat());
    double mean[2] = {};
    for (const bool sammon : {false, true}) {
      ASSERT_EQ(1, sammon ? tm.sammon_iv(tm.getdat(), ppr, prj, nullptr) : tm.cda_iv(tm.getdat(), ppr, prj));
      for (long i = 0; i < prj.nrow(); ++i) {
        const Row& q = data[static_cast<std::size_t>(i)];
        const Row y(prj.row(i), prj.row(i) + 2);
        const auto nearest = static_cast<std::size_t>(tm.prot.nearest(tm.getdat(), i, no_bound));
        double error = 0, scale = 0;
        for (std::size_t j = 0; j < images.size(); ++j) {
          const double d = distances.from(q, nearest, j);
          if (!(d > 0 && d < no_bound)) continue;
          error += std::pow(d - euclidean(y, images[j]), 2) / d;
          scale += d;
        }
        mean[sammon] += error / scale / static_cast<double>(prj.nrow());
      }
    }
    EXPECT_LE(mean[1], 1.02 * mean[0]);
  }
}

TEST_F(Interpolation, ReconstructsAnUnrolledSheet) {
  map_roll(150);
  for (const bool held_out : {false, true}) {
    MatFullD space, sheet;
    roll(1500, held_out ? 9 : 3, space, sheet);
    ASSERT_EQ(1, tm.cda_iv(space, ppr, prj));
    ASSERT_EQ(1, tm.cda_rd(prj, tmp, jrp));
    double misplaced = 0;
    for (long i = 0; i < sheet.nrow(); ++i)
      misplaced = std::max(misplaced, std::hypot(prj(i, 0) - sheet(i, 0), prj(i, 1) - sheet(i, 1)));
    EXPECT_LT(misplaced, 2) << "the sheet is 94 x 21";
    tm.verbose = 1;
    console.take();
    const double error = tm.ir_err(space, jrp);
    tm.verbose = 0;
    const double before = tm.cd_err(space);
    EXPECT_GT((before - error) / before, 0.95);
    char text[200];
    std::snprintf(text, sizeof text,
                  "ToMapp.ir_err:\nError without interpolation = %.6f\nError with    interpolation = %.6f\n"
                  "Gain = %.2f%%\n",
                  before, error, 100 * (before - error) / before);
    EXPECT_EQ(text, console.take());
  }
}

TEST_F(Interpolation, ErrorOfPrototypesHasNoGain) {
  map_surface(10, 2, 3, 0);
  tm.verbose = 1;
  console.take();
  MatFullD samples, moved;
  samples.copy(tm.prot);
  moved.copy(tm.prot);
  moved(3, 1) += 0.5;
  EXPECT_DOUBLE_EQ(0.025, tm.ir_err(samples, moved));
  const std::string text = console.take();
  EXPECT_NE(std::string::npos, text.find("Gain = 0.00%")) << text;
}

TEST_F(Interpolation, PositionsRunWithoutJumps) {
  map_roll(200);
  AffineBlend blend(tm, tm.mprot, true);
  blend.shrink();
  double link = 0;
  long links = 0;
  for (long k = 0; k < tm.link.nslot(); ++k) {
    if (!tm.link.live(k)) continue;
    link += tm.mprot.sdas(tm.link.end_a(k), tm.link.end_b(k), no_bound);
    ++links;
  }
  link /= static_cast<double>(links);
  constexpr long steps = 200;
  const MatFullD& data = tm.getdat();
  MatFullD distances;
  MatFullL near;
  BlendRows rows;
  double largest = 0;
  for (long i = 0; i < data.nrow(); i += 10) {
    data.nearest(data, i, distances, near, 5);
    const double* from = data.row(i);
    const double* to = data.row(near(4, 0));
    double before[2] = {}, y[2];
    for (long s = 0; s <= steps; ++s) {
      double x[3];
      for (long c = 0; c < 3; ++c)
        x[c] = from[c] + (to[c] - from[c]) * (static_cast<double>(s) / static_cast<double>(steps));
      ASSERT_TRUE(blend.position(x, y, rows));
      if (s > 0) largest = std::max(largest, std::hypot(y[0] - before[0], y[1] - before[1]));
      std::copy_n(y, 2, before);
    }
  }
  EXPECT_LE(largest, 0.05 * link);
}

TEST_F(Interpolation, SamplesDoNotInfluenceEachOther) {
  map_surface(30, 2, 4, 0.5, 2);
  MatFullD samples, some;
  new_samples(samples, 40);
  const long picks[] = {7, 39, 0, 7, 20};
  some.setdim(5, 3);
  some.setrows(5);
  for (long i = 0; i < 5; ++i) some.copy(i, samples, picks[i]);
  MatFullD some_ppr, some_prj, some_tmp, some_jrp;
  for (const bool sammon : {false, true}) {
    ASSERT_EQ(1, sammon ? tm.sammon_iv(samples, ppr, prj, nullptr) : tm.cda_iv(samples, ppr, prj));
    ASSERT_EQ(1,
              sammon ? tm.sammon_iv(some, some_ppr, some_prj, nullptr) : tm.cda_iv(some, some_ppr, some_prj));
    ASSERT_EQ(1, sammon ? tm.sammon_rd(prj, tmp, jrp, nullptr) : tm.cda_rd(prj, tmp, jrp));
    ASSERT_EQ(1, sammon ? tm.sammon_rd(some_prj, some_tmp, some_jrp, nullptr)
                        : tm.cda_rd(some_prj, some_tmp, some_jrp));
    for (long i = 0; i < 5; ++i) {
      const auto pick = static_cast<std::size_t>(picks[i]), place = static_cast<std::size_t>(i);
      EXPECT_EQ(rows_of(prj)[pick], rows_of(some_prj)[place]);
      EXPECT_EQ(rows_of(ppr)[pick], rows_of(some_ppr)[place]);
      EXPECT_EQ(rows_of(jrp)[pick], rows_of(some_jrp)[place]);
      EXPECT_EQ(rows_of(tmp)[pick], rows_of(some_tmp)[place]);
    }
  }
}

TEST_F(Interpolation, FarSamplesStayNearTheMap) {
  map_roll(100);
  double reach = 0;
  for (long k = 0; k < tm.link.nslot(); ++k) {
    if (tm.link.live(k)) reach = std::max(reach, tm.mprot.sdas(tm.link.end_a(k), tm.link.end_b(k), no_bound));
  }
  MatFullD far;
  fill(far, {{60, 10, 0}, {0, 80, 0}, {-1e6, 3, 1e6}, {0, -1e12, 0}});
  ASSERT_EQ(1, tm.cda_iv(far, ppr, prj));
  for (long i = 0; i < far.nrow(); ++i)
    EXPECT_LE(tm.mprot.sdas(tm.mprot.nearest(prj, i, no_bound), prj, i, no_bound), reach) << i;
}

TEST_F(Interpolation, UndefinedSamplesGetUndefinedPositions) {
  map_surface(20, 2, 3, 0.5);
  MatFullD samples;
  fill(samples, {{0.5, 0.5, 0.5}, {std::nan(""), 0, 0}, {0, no_bound, 0}, {0.1, 0.2, 0.3}});
  MatFullD alone;
  fill(alone, {{0.5, 0.5, 0.5}, {0.1, 0.2, 0.3}});
  for (const bool sammon : {false, true}) {
    ASSERT_EQ(1, sammon ? tm.sammon_iv(alone, ppr, prj, nullptr) : tm.cda_iv(alone, ppr, prj));
    const Rows expected = rows_of(prj);
    ASSERT_EQ(1, sammon ? tm.sammon_iv(samples, ppr, prj, nullptr) : tm.cda_iv(samples, ppr, prj));
    EXPECT_EQ(4, prj.nnan());
    EXPECT_EQ(4, ppr.nnan());
    EXPECT_EQ(expected[0], rows_of(prj)[0]);
    EXPECT_EQ(expected[1], rows_of(prj)[3]);
    ASSERT_EQ(1, sammon ? tm.sammon_rd(prj, tmp, jrp, nullptr) : tm.cda_rd(prj, tmp, jrp));
    EXPECT_EQ(6, jrp.nnan());
    EXPECT_EQ(6, tmp.nnan());
  }
}

TEST_F(Interpolation, SmallestMaps) {
  for (const long n : {1L, 2L, 3L}) {
    SCOPED_TRACE(n);
    MatFullD points;
    uniform_points(points, n, 3, 4);
    prototypes(tm, points, 2);
    ASSERT_EQ(1, tm.dist_ini(0));
    ASSERT_EQ(1, tm.mapr_ini(2, 2));
    uniform_points(tm.mprot, n, 2, 5);
    ASSERT_EQ(1, tm.mapr_fin("Test"));
    MatFullD samples;
    uniform_points(samples, 5, 3, 6);
    for (const bool sammon : {false, true}) {
      ASSERT_EQ(1, sammon ? tm.sammon_iv(samples, ppr, prj, nullptr) : tm.cda_iv(samples, ppr, prj));
      ASSERT_EQ(1, sammon ? tm.sammon_rd(prj, tmp, jrp, nullptr) : tm.cda_rd(prj, tmp, jrp));
      EXPECT_EQ(0, prj.nnan());
      EXPECT_EQ(0, jrp.nnan());
      EXPECT_TRUE(n > 1 || rows_of(tm.prot)[0] == rows_of(jrp)[4]);
    }
    MatFullD none(0, 3);
    EXPECT_EQ(1, tm.cda_iv(none, ppr, prj));
    EXPECT_EQ(0, prj.nrow());
    EXPECT_EQ(2, prj.ncol());
    EXPECT_EQ(1, tm.sammon_rd(prj, tmp, jrp, nullptr));
    EXPECT_EQ(3, jrp.ncol());
  }
}

TEST_F(Interpolation, RefusalsLeaveTheOutputsAsTheyWere) {
  map_surface(20, 2, 3, 0.5);
  MatFullD wide, fit;
  uniform_points(wide, 4, 5, 1);
  uniform_points(fit, 4, 3, 1);
  MatFullD position;
  uniform_points(position, 4, 2, 1);
  for (MatFullD* out : {&ppr, &prj, &tmp, &jrp}) fill(*out, {{1, 2, 3, 4}});
  tm.verbose = 1;
  const auto refused = [&](const MatFullD& data, const MatFullD& positions, const std::string& text) {
    console.take();
    EXPECT_EQ(0, tm.cda_iv(data, ppr, prj));
    EXPECT_EQ(0, tm.cda_rd(positions, tmp, jrp));
    EXPECT_EQ(0, tm.sammon_iv(data, ppr, prj, nullptr));
    EXPECT_EQ(0, tm.sammon_rd(positions, tmp, jrp, nullptr));
    std::string expected;
    for (const char* name : {"cda_iv", "cda_rd", "sammon_iv", "sammon_rd"})
      if (!text.empty()) expected += std::string("ToMapp.") + name + text + "\n";
    EXPECT_EQ(expected, console.take());
    for (const MatFullD* out : {&ppr, &prj, &tmp, &jrp}) EXPECT_EQ((Rows{{1, 2, 3, 4}}), rows_of(*out));
  };
  refused(wide, wide, ": sizes don't agree!");
  const double kept = tm.mprot(7, 1);
  for (const double bad : {std::nan(""), no_bound}) {
    tm.mprot(7, 1) = bad;
    refused(fit, position, ": mapping is not finite!");
  }
  tm.mprot(7, 1) = kept;
  tm.verbose = 0;
  ASSERT_EQ(1, tm.mapr_ini(0, 0));
  tm.verbose = 1;
  refused(fit, position, "");
}

TEST_F(Interpolation, SchedulesOfStepsAreCheckedFirst) {
  const test::WorkingDirectory directory;
  map_surface(20, 2, 3, 0.5);
  MatFullD data;
  uniform_points(data, 4, 3, 1);
  MatFullD position;
  uniform_points(position, 4, 2, 1);
  const auto run = [&](bool back, const char* file) {
    return back ? tm.sammon_rd(position, tmp, jrp, file) : tm.sammon_iv(data, ppr, prj, file);
  };
  for (const bool back : {false, true}) {
    const std::string name = std::string("ToMapp.sammon_") + (back ? "rd" : "iv");
    const char* default_file = back ? "default.rdp" : "default.sam";
    MatFullD& out = back ? jrp : prj;
    // The keys' place is taken by 10 (5) hyperbolic steps.
    MatParaD steps(0, 1);
    steps.additer(back ? 5 : 10);
    steps.set(3, 0, 1.0, back ? 0.2 : 0.1, 0, -1);
    std::ofstream written("same.txt");
    written.precision(17);
    for (long t = 0; t < steps.nrow(); ++t) written << steps(t, 0) << "\t-5\t\n";
    written.close();
    ASSERT_EQ(1, run(back, "same.txt"));
    const Rows expected = rows_of(out);
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, run(back, nullptr));
    EXPECT_NE(std::string::npos, console.take().find(name + ": using default parameters\n"));
    tm.verbose = 0;
    EXPECT_EQ(expected, rows_of(out));
    // The default file counts without a file name, too.
    std::ofstream(default_file) << "0\t\n";
    ASSERT_EQ(1, run(back, nullptr));
    EXPECT_NE(expected, rows_of(out));
    const Rows before = rows_of(out);
    ASSERT_EQ(1, back ? tm.cda_rd(position, tmp, out) : tm.cda_iv(data, ppr, out));
    EXPECT_EQ(before, rows_of(out)) << "steps of 0 go nowhere";
    ASSERT_EQ(1, run(back, "same.txt"));
    console.take();
    for (const auto& [text, message] : std::initializer_list<std::pair<const char*, const char*>>{
             {"0.5\t\n-0.1\t\n", ": a not parametric\n"}, {"0.5\t\n1.5\t\n", ": anow not parametric\n"}}) {
      std::ofstream("own.txt") << text;
      EXPECT_EQ(0, run(back, "own.txt"));
      EXPECT_EQ(name + message, console.take());
      EXPECT_EQ(expected, rows_of(out));
    }
  }
}

TEST_F(Interpolation, ReportsItsProgress) {
  map_surface(20, 2, 3, 0.5);
  MatFullD data;
  uniform_points(data, 4, 3, 1);
  tm.verbose = 1;
  const std::string bar(60, '_');
  const auto expect = [&](const std::string& name, const std::string& text) {
    const std::string found = console.take();
    EXPECT_EQ(0U, found.find("ToMapp." + name + ": " + text + " ... ")) << found;
    EXPECT_NE(std::string::npos, found.find(bar)) << found;
    EXPECT_EQ(found.size() - 6, found.rfind("done!\n")) << found;
  };
  console.take();
  ASSERT_EQ(1, tm.cda_iv(data, ppr, prj));
  expect("cda_iv", "interpolating");
  ASSERT_EQ(1, tm.cda_rd(prj, tmp, jrp));
  expect("cda_rd", "reconstructing");
}

}  // namespace
}  // namespace qvtx
