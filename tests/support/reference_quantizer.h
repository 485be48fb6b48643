#pragma once
// The iterative quantization methods once more, as plain loops over vectors with a generator of their own:
// what the quantizer's epochs must equal bit for bit. Slow on purpose; shares the elementary functions alone
// with the program.

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

#include "base/elementary.h"
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
  template <class Vector>
  static auto& at(Vector& v, long i) {
    return v.at(static_cast<std::size_t>(i));
  }

 public:
  using Row = std::vector<double>;
  using Rows = std::vector<Row>;
  static constexpr double infinity = std::numeric_limits<double>::infinity();

  bool shuffled = true;  ///< "vgswap_d"
  bool replace = true;   ///< "vgrepl_p"
  long dead_below = 0;   ///< "vglpmaxp"
  double p = 2.0;        ///< Minkowski exponent below 8
  ReferenceDraws draws;

  Rows dat, prot;
  std::vector<long> bmu, changes, stays, order, hits;
  std::vector<double> pval, ddis;
  long chgd = 0, lost = 0, adapted = 0, shortcuts = 0, errors = 0;  ///< what the last epoch counted

  long ndata() const { return static_cast<long>(dat.size()); }
  long nprot() const { return static_cast<long>(prot.size()); }
  long dim() const { return static_cast<long>(dat[0].size()); }

  /// n prototypes, 0 or (how = 0) data drawn at random, and all bookkeeping reset.
  void init(long n, int how) {
    prot.clear();
    pval.clear();
    hits.clear();
    while (nprot() < n) add_prototype(Row(dat[0].size(), 0.0));
    if (how == 0) draw_rows(0, n);
    ddis.assign(dat.size(), 0.0);
    bmu.assign(dat.size(), -1);
    changes.assign(dat.size(), 0);
    stays.assign(dat.size(), 0);
    order.resize(dat.size());
    std::iota(order.begin(), order.end(), 0L);
  }

  bool lbg_epoch(long maxchg) {
    each_datum([this](long d) { capture(d); });
    sum_cells();
    for (long k = nprot() - 1; k >= 0; --k) divide_cell(k);
    count_dead();
    return chgd > maxchg;
  }

  bool dlbg_epoch(double r, long maxchg) {
    shuffle();
    each_datum([this](long d) {
      const long k = capture(d);
      at(pval, k) += distance(at(prot, k), at(dat, d));
    });
    sum_cells();
    for (long k = nprot() - 1; k >= 0; --k) {
      divide_cell(k);
      if (at(hits, k) > 0 && at(pval, k) > std::fabs(r) * static_cast<double>(at(hits, k))) {
        add_prototype(Row(at(prot, k)));
        const long j = draws.index(dim());
        at(at(prot, k), j) *= 1.000001;
        at(prot.back(), j) /= 1.000001;
      }
      at(pval, k) = 0.0;
    }
    count_dead();
    return chgd > maxchg;
  }

  void cl_epoch(double a) {
    nw_epoch(infinity, a);
    count_dead();
  }
  void nw_epoch(double r, double a) {
    shuffle();
    each_datum([=, this](long d) { move(capture(d, r), d, a); });
  }
  void xn_epoch(double r) {
    shuffle();
    each_datum([=, this](long d) {
      const long k = capture(d, r);
      move(k, d, 1.0 / static_cast<double>(at(hits, k)));
    });
  }

  void fcl_epoch(double a, bool fast) {
    shuffle();
    shortcuts = errors = 0;
    each_datum([=, this](long d) {
      if (at(stays, d) <= 8) {
        capture(d);
      } else {
        ++shortcuts;
        if (!fast && nearest(d, infinity) != at(bmu, d)) ++errors, ++chgd;
        ++at(stays, d);
        ++at(hits, at(bmu, d));
      }
      Row& x = at(prot, at(bmu, d));
      for (long j = dim() - 1; j >= 0; --j) at(x, j) += a * (at(at(dat, d), j) - at(x, j));
      at(ddis, d) = distance(x, at(dat, d));
      at(pval, at(bmu, d)) += 0.03 * (at(ddis, d) - at(pval, at(bmu, d)));
    });
    count_dead();
  }

  void ng_epoch(double a, double l) {
    std::vector<long> ranks(prot.size());
    std::iota(ranks.begin(), ranks.end(), 0L);
    shuffle();
    adapted = 0;
    const float lim = 3.0F * static_cast<float>(l);
    each_datum([&](long d) {
      const long winner = capture(d);
      if (lim < 1.0F) return move(winner, d, a), void(++adapted);
      Row distances;
      for (const Row& row : prot) distances.push_back(distance(row, at(dat, d)));
      const auto nearer = [&](long x, long y) { return at(distances, x) < at(distances, y); };
      for (long r = 0; r < nprot() && (r == 0 || static_cast<float>(r) <= lim); ++r, ++adapted) {
        std::iter_swap(ranks.begin() + r, std::min_element(ranks.begin() + r, ranks.end(), nearer));
        move(at(ranks, r), d, a * fixed_exp(-static_cast<double>(r) / l));
      }
    });
    count_dead();
  }

  /// Self-organizing map; h: the neighbourhood function by winner and node.
  void som_epoch(double a, const Rows& h) {
    shuffle();
    each_datum([&](long d) {
      const long winner = capture(d);
      for (long j = 0; j < nprot(); ++j) {
        if (at(at(h, winner), j) > 0.0) move(j, d, a * at(at(h, winner), j));
      }
    });
    count_dead();
  }

  /// Its batch rule; the data in order.
  void som_batch_epoch(const Rows& h) {
    each_datum([this](long d) { capture(d); });
    for (long j = 0; j < nprot(); ++j) {
      Row sum(dat[0].size(), 0.0);
      double total = 0.0;
      for (long i = ndata() - 1; i >= 0; --i) {
        const double weight = at(at(h, at(bmu, i)), j);
        total += weight;
        for (long c = 0; c < dim(); ++c) at(sum, c) += weight * at(at(dat, i), c);
      }
      for (long c = 0; c < dim() && total > 0.0; ++c) at(at(prot, j), c) = at(sum, c) / total;
    }
    count_dead();
  }

 private:
  template <class Visit>
  void each_datum(Visit visit) {
    chgd = 0;
    for (long i = ndata() - 1; i >= 0; --i) visit(at(order, i));
  }

  void shuffle() {
    for (long i = ndata() - 1; i >= 0 && shuffled; --i) {
      std::swap(at(order, i), at(order, draws.index(ndata())));
    }
  }

  void add_prototype(Row row) {
    prot.push_back(std::move(row));
    pval.push_back(0.0);
    hits.push_back(0);
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

  /// Powers with the exponents 1.5 and 3, and of their derivatives.
  static double power(double t, double y) {
    return y == 3.0 ? t * (t * t) : y == 2.0 ? t * t : fixed_pow(t, y);
  }
  double term(const Row& x, const Row& y, long j) const {
    const double t = std::fabs(at(x, j) - at(y, j));
    return p == 2.0 ? t * t : power(t, p);
  }
  /// Sum of the terms, from the last coordinate to the first.
  double terms(const Row& x, const Row& y) const {
    double s = 0.0;
    for (long j = dim() - 1; j >= 0; --j) s += term(x, y, j);
    return s;
  }
  double distance(const Row& x, const Row& y) const {
    return p == 2.0 ? std::sqrt(terms(x, y)) : fixed_pow(terms(x, y), 1.0 / p);
  }

  long nearest(long d, double bound) const {
    double threshold = 1.001 * (p == 2.0 ? bound * bound : power(bound, p));
    long found = nprot();
    for (long k = nprot() - 1; k >= 0; --k) {
      const double s = terms(at(prot, k), at(dat, d));
      if (s <= threshold) threshold = s, found = k;
    }
    return found;
  }

  /// Books the datum at the nearest prototype, made on the datum where none lies within r, and returns it.
  long capture(long d, double r = infinity) {
    long& winner = at(bmu, d);
    const long k = nearest(d, winner < 0 ? r : std::min(r, distance(at(prot, winner), at(dat, d))));
    if (k == nprot()) add_prototype(at(dat, d));
    ++at(hits, k);
    const bool stayed = winner == k;
    at(stays, d) = stayed ? at(stays, d) + 1 : 0;
    at(changes, d) += !stayed;
    chgd += !stayed;
    return winner = k;
  }

  /// Along the derivative of half the squared distance, every coordinate on the row as already moved, or
  /// straight where that does not lead nearer.
  void move(long k, long d, double a) {
    const Row old = at(prot, k), &datum = at(dat, d);
    Row& row = at(prot, k);
    for (long j = dim() - 1; j >= 0; --j) at(row, j) -= a * derivative(row, datum, j);
    if (p == 2.0 || terms(row, datum) < terms(old, datum)) return;
    row = old;
    for (long j = 0; j < dim(); ++j) at(row, j) -= a * (at(row, j) - at(datum, j));
  }
  /// The distance is that of the coordinates moved, last to first, and of the others, first to last.
  double derivative(const Row& x, const Row& y, long j) const {
    const double difference = at(x, j) - at(y, j), t = std::fabs(difference);
    if (p == 2.0 || t == 0.0) return difference;
    double moved = 0.0, others = 0.0;
    for (long m = dim() - 1; m > j; --m) moved += term(x, y, m);
    for (long m = 0; m <= j; ++m) others += term(x, y, m);
    const double total = fixed_pow(moved + others, 1.0 / p);
    return std::copysign(total * power(t / total, p - 1.0), difference);
  }

  void sum_cells() {
    for (Row& row : prot) std::fill(row.begin(), row.end(), 0.0);
    for (long i = ndata() - 1; i >= 0; --i) {
      for (long j = 0; j < dim(); ++j) at(at(prot, at(bmu, i)), j) += at(at(dat, i), j);
    }
  }
  void divide_cell(long k) {
    if (at(hits, k) == 0) return;
    for (double& x : at(prot, k)) x /= static_cast<double>(at(hits, k));
  }

  void count_dead() {
    lost = 0;
    for (long k = nprot() - 1; k >= 0; --k) {
      if (at(hits, k) <= dead_below) {
        ++lost;
        if (replace) draw_rows(k, 1);
      }
      at(hits, k) = 0;
    }
  }
};

/// A quantizer and its reference with the same data, settings and prototypes, one epoch after the other.
class ReferenceTest : public QuantizerTest {
 protected:
  struct Case {
    const char* name;
    bool lattice = false;  ///< small integers, full of ties and duplicates, instead of uniform numbers
    long ndata = 150;
    long dim = 3;
    long n = 20;
    int how = 0;
    bool shuffled = true;
    bool replace = true;
    long dead_below = 0;
    double p = 2.0;
  };

  /// Epoch after epoch of a method, compared on every kind of data and settings from n prototypes; `epoch`
  /// runs number e on both sides.
  template <class Epoch>
  void expect_equal_epochs(long n, int epochs, Epoch epoch) {
    const Case cases[] = {{.name = "uniform"},
                          {.name = "in order, no replacement", .shuffled = false, .replace = false},
                          {.name = "lattice with ties", .lattice = true, .dead_below = 1},
                          {.name = "one column", .dim = 1},
                          {.name = "many columns", .ndata = 60, .dim = 17},
                          {.name = "few data", .ndata = 11},
                          {.name = "all prototypes zero", .how = 3},
                          {.name = "cubes", .p = 3.0},
                          {.name = "moves too far", .dim = 5, .p = 1.2}};
    for (Case c : cases) {
      SCOPED_TRACE(c.name);
      c.n = n;
      start(c);
      vq.verbose = 1;
      console.take();
      for (int e = 0; e < epochs; ++e) {
        epoch(e);
        expect_same();
      }
      vq.verbose = 0;
      os.fresh();
    }
  }

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
