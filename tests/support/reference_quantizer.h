#pragma once
// The iterative quantization methods once more, as plain loops over vectors with a generator of their own:
// what the quantizer's epochs must equal bit for bit. Slow on purpose; shares fixed_exp alone with the
// program.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "support/quantizer.h"

namespace qvtx::test {

/// Draws predicted from the rules: the standard library's Mersenne Twister on the state that the seeding of
/// the generator's first publication gives.
class ReferenceDraws {
 public:
  explicit ReferenceDraws(std::uint32_t seed = 4357) : engine_(make(seed)) {}

  std::uint32_t next() { return static_cast<std::uint32_t>(engine_()); }
  double uniform() { return next() / 4294967295.0; }
  long index(long n) { return std::labs(static_cast<std::int32_t>(next()) % n); }

 private:
  /// A seed sequence that hands out the state itself.
  struct State {
    using result_type = std::uint32_t;
    std::uint32_t word;
    template <class Iterator>
    void generate(Iterator first, Iterator last) {
      for (; first != last; ++first, word *= 69069U) *first = word;
    }
  };
  static std::mt19937 make(std::uint32_t seed) {
    State state{seed};
    return std::mt19937(state);
  }

  std::mt19937 engine_;
};

class ReferenceQuantizer {
  static std::size_t size(long i) { return static_cast<std::size_t>(i); }
  template <class Vector>
  static auto& at(Vector& v, long i) {
    return v.at(size(i));
  }

 public:
  using Row = std::vector<double>;
  using Rows = std::vector<Row>;
  static constexpr double infinity = std::numeric_limits<double>::infinity();

  bool shuffled = true;  ///< "vgswap_d"
  bool replace = true;   ///< "vgrepl_p"
  long dead_below = 0;   ///< "vglpmaxp"
  double p = 2.0;        ///< Minkowski exponent
  ReferenceDraws draws;

  Rows dat, prot;
  std::vector<long> bmu, changes, stays, order, hits;
  std::vector<double> pval, ddis;
  long chgd = 0, lost = 0, adapted = 0, shortcuts = 0, errors = 0;  ///< what the last epoch counted

  long ndata() const { return static_cast<long>(dat.size()); }
  long nprot() const { return static_cast<long>(prot.size()); }
  long dim() const { return static_cast<long>(dat[0].size()); }

  /// The prototypes of `prot_ini(n, how)`, none being kept, and all bookkeeping reset.
  void init(long n, int how) {
    prot.assign(size(n), Row(dat[0].size(), 0.0));
    if (how == 1) {
      for (long k = n - 1; k >= 0; --k) {
        for (long j = dim() - 1; j >= 0; --j) at(prot, k)[size(j)] = 0.0 + 1.0 * draws.uniform();
      }
    } else if (how == 4) {
      prot = dat;
    } else if (how == 0) {
      draw_rows(0, n);
    }
    pval.assign(prot.size(), 0.0);
    hits.assign(prot.size(), 0);
    ddis.assign(dat.size(), 0.0);
    bmu.assign(dat.size(), -1);
    changes.assign(dat.size(), 0);
    stays.assign(dat.size(), 0);
    order.resize(dat.size());
    std::iota(order.begin(), order.end(), 0L);
  }

  double error() const {
    double sum = 0.0;
    for (long i = ndata() - 1; i >= 0; --i) {
      const long k = at(bmu, i) >= 0 ? at(bmu, i) : nearest(i, infinity);
      const double d = distance(at(prot, k), at(dat, i));
      sum += d * d;
    }
    return 0.5 * sum / static_cast<double>(ndata());
  }

  bool lbg_epoch(long maxchg) {
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) chgd += capture(at(order, i), infinity);
    sum_cells();
    for (long k = nprot() - 1; k >= 0; --k) divide_cell(k);
    lost = count_dead();
    return chgd > maxchg;
  }

  bool dlbg_epoch(double r, long maxchg) {
    shuffle();
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      chgd += capture(d, infinity);
      at(pval, at(bmu, d)) += distance(at(prot, at(bmu, d)), at(dat, d));
    }
    sum_cells();
    for (long k = nprot() - 1; k >= 0; --k) {
      divide_cell(k);
      if (at(hits, k) > 0 && at(pval, k) > std::fabs(r) * static_cast<double>(at(hits, k))) {
        prot.push_back(Row(at(prot, k)));
        pval.push_back(0.0);
        hits.push_back(0);
        const std::size_t j = size(draws.index(dim()));
        at(prot, k)[j] *= 1.000001;
        prot.back()[j] /= 1.000001;
      }
      at(pval, k) = 0.0;
    }
    lost = count_dead();
    return chgd > maxchg;
  }

  void cl_epoch(double a) {
    shuffle();
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      chgd += capture(d, infinity);
      move(at(bmu, d), d, a);
    }
    lost = count_dead();
  }

  void fcl_epoch(double a, bool fast) {
    shuffle();
    chgd = shortcuts = errors = 0;
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      if (at(stays, d) <= 8) {
        const long before = at(bmu, d);
        chgd += book(d, nearest(d, before >= 0 ? distance(at(prot, before), at(dat, d)) : infinity));
      } else {
        ++shortcuts;
        if (!fast && nearest(d, infinity) != at(bmu, d)) ++errors, ++chgd;
        ++at(stays, d);
        ++at(hits, at(bmu, d));
      }
      const long k = at(bmu, d);
      for (long j = dim() - 1; j >= 0; --j) {
        double& x = at(prot, k)[size(j)];
        x += a * (at(dat, d)[size(j)] - x);
      }
      at(ddis, d) = distance(at(prot, k), at(dat, d));
      at(pval, k) += 0.03 * (at(ddis, d) - at(pval, k));
    }
    lost = count_dead();
  }

  void ng_epoch(double a, double l) {
    std::vector<long> ranks(prot.size());
    std::iota(ranks.begin(), ranks.end(), 0L);
    shuffle();
    chgd = adapted = 0;
    const float lim = 3.0F * static_cast<float>(l);
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      chgd += capture(d, infinity);
      if (lim < 1.0F) {
        move(at(bmu, d), d, a);
        ++adapted;
        continue;
      }
      std::vector<double> distances;
      for (const Row& row : prot) distances.push_back(distance(row, at(dat, d)));
      for (long r = 0; r < nprot() && (r == 0 || static_cast<float>(r) <= lim); ++r) {
        long best = r;
        for (long q = r + 1; q < nprot(); ++q) {
          if (at(distances, at(ranks, q)) < at(distances, at(ranks, best))) best = q;
        }
        std::swap(at(ranks, r), at(ranks, best));
        move(at(ranks, r), d, a * fixed_exp(-static_cast<double>(r) / l));
        ++adapted;
      }
    }
    lost = count_dead();
  }

  /// Self-organizing map; h: the neighbourhood function by winner and node.
  void som_epoch(double a, const Rows& h) {
    shuffle();
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      chgd += capture(d, infinity);
      for (long j = 0; j < nprot(); ++j) {
        const double weight = at(h, at(bmu, d))[size(j)];
        if (weight > 0.0) move(j, d, a * weight);
      }
    }
    lost = count_dead();
  }

  /// Its batch rule.
  void som_batch_epoch(const Rows& h) {
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) chgd += capture(i, infinity);
    for (long j = 0; j < nprot(); ++j) {
      Row sum(dat[0].size(), 0.0);
      double weight = 0.0;
      for (long i = ndata() - 1; i >= 0; --i) {
        weight += at(h, at(bmu, i))[size(j)];
        for (std::size_t c = 0; c < sum.size(); ++c) sum[c] += at(h, at(bmu, i))[size(j)] * at(dat, i)[c];
      }
      for (std::size_t c = 0; c < sum.size() && weight > 0.0; ++c) at(prot, j)[c] = sum[c] / weight;
    }
    lost = count_dead();
  }

  void xn_epoch(double r) {
    shuffle();
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      capture(d, r);
      move(at(bmu, d), d, 1.0 / static_cast<double>(at(hits, at(bmu, d))));
    }
  }

  void nw_epoch(double r, double a) {
    shuffle();
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) {
      const long d = at(order, i);
      chgd += capture(d, r);
      move(at(bmu, d), d, a);
    }
  }

 private:
  void shuffle() {
    if (!shuffled) return;
    for (long i = ndata() - 1; i >= 0; --i) std::swap(at(order, i), at(order, draws.index(ndata())));
  }

  /// Data picked at random without replacement into n rows.
  void draw_rows(long first, long n) {
    std::vector<long> pool;
    for (long r = first; r < first + n; ++r) {
      if (pool.empty()) {
        pool.resize(dat.size());
        std::iota(pool.begin(), pool.end(), 0L);
      }
      long& picked = at(pool, draws.index(static_cast<long>(pool.size())));
      at(prot, r) = at(dat, picked);
      picked = pool.back();
      pool.pop_back();
    }
  }

  /// Sum of the terms, from the last coordinate to the first.
  double terms(const Row& x, const Row& y) const {
    double s = 0.0;
    for (long j = dim() - 1; j >= 0; --j) {
      const double t = std::fabs(x[size(j)] - y[size(j)]);
      s = p == 2.0 ? s + t * t : p == 1.0 ? s + t : p >= 8.0 ? std::max(s, t) : s + std::pow(t, p);
    }
    return s;
  }
  bool simple() const { return p == 1.0 || p >= 8.0; }
  double distance(const Row& x, const Row& y) const {
    const double s = terms(x, y);
    return p == 2.0 ? std::sqrt(s) : simple() ? s : std::pow(s, 1.0 / p);
  }

  long nearest(long d, double bound) const {
    double threshold = 1.001 * (p == 2.0 ? bound * bound : simple() ? bound : std::pow(bound, p));
    long found = nprot();
    for (long k = nprot() - 1; k >= 0; --k) {
      const double s = terms(at(prot, k), at(dat, d));
      if (s > threshold) continue;
      threshold = s;
      found = k;
    }
    return found;
  }

  long book(long d, long k) {
    ++at(hits, k);
    if (at(bmu, d) == k) {
      ++at(stays, d);
      return 0;
    }
    at(bmu, d) = k;
    ++at(changes, d);
    at(stays, d) = 0;
    return 1;
  }

  long capture(long d, double r) {
    double bound = r;
    if (at(bmu, d) >= 0) bound = std::min(r, distance(at(prot, at(bmu, d)), at(dat, d)));
    const long k = nearest(d, bound);
    if (k == nprot()) {
      prot.push_back(Row(at(dat, d)));
      pval.push_back(0.0);
      hits.push_back(0);
    }
    return book(d, k);
  }

  /// Along the derivative of half the squared distance, every coordinate on the row as already moved.
  void move(long k, long d, double a) {
    Row& x = at(prot, k);
    const Row& y = at(dat, d);
    for (long j = dim() - 1; j >= 0; --j) x[size(j)] -= a * derivative(x, y, size(j));
  }
  double derivative(const Row& x, const Row& y, std::size_t j) const {
    const double difference = x[j] - y[j];
    if (p == 2.0) return difference;
    const double total = distance(x, y);
    const double t = std::fabs(difference);
    if (total == 0.0 || t == 0.0) return 0.0;
    double size = p == 1.0 ? total : total * std::pow(t / total, p - 1.0);
    if (p >= 8.0) {
      std::size_t largest = 0;
      for (std::size_t c = 1; c < x.size(); ++c) {
        if (std::fabs(x[c] - y[c]) > std::fabs(x[largest] - y[largest])) largest = c;
      }
      size = j == largest ? total : 0.0;
    }
    return difference > 0.0 ? size : -size;
  }

  void sum_cells() {
    for (Row& row : prot) std::fill(row.begin(), row.end(), 0.0);
    for (long i = ndata() - 1; i >= 0; --i) {
      for (long j = 0; j < dim(); ++j) at(prot, at(bmu, i))[size(j)] += at(dat, i)[size(j)];
    }
  }
  void divide_cell(long k) {
    if (at(hits, k) == 0) return;
    for (double& x : at(prot, k)) x /= static_cast<double>(at(hits, k));
  }

  long count_dead() {
    long dead = 0;
    for (long k = nprot() - 1; k >= 0; --k) {
      if (at(hits, k) <= dead_below) {
        ++dead;
        if (replace) draw_rows(k, 1);
      }
      at(hits, k) = 0;
    }
    return dead;
  }
};

/// A quantizer and its reference with the same data, settings and prototypes, one epoch after the other.
class ReferenceTest : public QuantizerTest {
 protected:
  struct Case {
    const char* name;
    bool lattice =
        false;  ///< small integers, full of equal distances and duplicates, instead of uniform numbers
    long ndata = 150;
    long dim = 3;
    long n = 20;
    int how = 0;
    bool shuffled = true;
    bool replace = true;
    long dead_below = 0;
    double p = 2.0;
  };

  void start(const Case& c) {
    MatFullD::miex = c.p;
    setseed(default_seed);
    MatFullD m;
    uniform_points(m, c.ndata, c.dim, 7);
    if (c.lattice) {
      for (long i = 0; i < c.ndata * c.dim; ++i) m.data()[i] = std::floor(4.0 * m.data()[i]);
    }
    reference = ReferenceQuantizer();
    reference.dat = rows_of(m);
    ASSERT_EQ(1, vq.dataload(m, 0));
    vq.setkey("vgswap_d", reference.shuffled = c.shuffled);
    vq.setkey("vgrepl_p", reference.replace = c.replace);
    vq.setkey("vglpmaxp", static_cast<double>(reference.dead_below = c.dead_below));
    reference.p = c.p;
    ASSERT_EQ(1, vq.prot_ini(c.n, c.how));
    reference.init(c.n, c.how);
    expect_same();
  }

  void expect_same() const {
    ASSERT_EQ(reference.prot, rows_of(vq.prot));
    EXPECT_EQ(reference.bmu, column(vq.bmu, 0));
    EXPECT_EQ(reference.changes, column(vq.bmucnt, 0));
    EXPECT_EQ(reference.stays, column(vq.bmucnt, 1));
    EXPECT_EQ(reference.order, column(vq.order, 0));
    EXPECT_EQ(reference.hits, column(vq.hits, 0));
    EXPECT_EQ(reference.pval, column(vq.pval, 0));
    EXPECT_EQ(reference.ddis, column(vq.ddis, 0));
  }

  /// What an epoch printed, against a printf of what the reference counted.
  template <class... Counts>
  void expect_report(const char* format, Counts... counts) {
    char expected[160];
    std::snprintf(expected, sizeof expected, format, counts...);
    EXPECT_EQ(expected, console.take());
  }

  ReferenceQuantizer reference;

 private:
  template <class Matrix>
  static std::vector<typename Matrix::value_type> column(const Matrix& m, long c) {
    std::vector<typename Matrix::value_type> values;
    for (long i = 0; i < m.nrow(); ++i) values.push_back(m(i, c));
    return values;
  }
};

}  // namespace qvtx::test
