#pragma once
// What the quantizer's tests share: a quantizer with the default settings whose members can be set and looked
// at, data made in memory, and a console that is caught instead of printed.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "base/random.h"
#include "quant/vequan.h"
#include "support/console.h"
#include "support/early_exit.h"
#include "support/matrices.h"

namespace qvtx::test {

using Rows = std::vector<std::vector<double>>;
using Column = std::vector<std::vector<long>>;

/// The shipped preference file, open for reading.
inline std::ifstream default_preferences() { return std::ifstream(QVTX_SOURCE_DIR "/examples/Qvtx.prf"); }

/// An analysis with the shipped settings, or others, whose inner state is open to tests.
template <class Analysis>
class Open : public Analysis {
 public:
  Open() : Open(default_preferences()) {}
  explicit Open(std::ifstream&& prefs) : Analysis(prefs) {}

  using Analysis::balance, Analysis::bmu, Analysis::bmucnt, Analysis::dat, Analysis::ddis, Analysis::dvor,
      Analysis::dwork, Analysis::hits, Analysis::integers, Analysis::link, Analysis::lwork, Analysis::lvor,
      Analysis::lwork2, Analysis::method, Analysis::order, Analysis::pidx, Analysis::prot, Analysis::pval,
      Analysis::ridx, Analysis::state;

  /// Sets the future value of a key of either table. Fails the test when the key is missing or refuses the
  /// value.
  void setkey(const char* key, double value) {
    const long k = this->lpref.getkey(key);
    const int ok = k >= 0 ? this->lpref.newval(k, static_cast<long>(value))
                          : this->dpref.newval(this->dpref.getkey(key), value);
    EXPECT_EQ(1, ok) << key << " refuses " << value;
  }
  /// Value in use of a real, and of a whole setting.
  double real(const char* key) const { return this->dpref.getval(this->dpref.getkey(key)); }
  long number(const char* key) const { return this->lpref.getval(this->lpref.getkey(key)); }
};

using OpenQuantizer = Open<VeQuan>;

/// m becomes the rows given, all of the same length.
inline void fill(MatFullD& m, const Rows& rows) { m.copy(matrix_of(rows)); }

/// Every link's ends and values, in the order of their ends.
inline Rows links_of(const MatLinkD& store) {
  Rows links;
  for (long k = 0; k < store.nslot(); ++k) {
    if (!store.live(k)) continue;
    links.push_back({static_cast<double>(store.end_a(k)), static_cast<double>(store.end_b(k))});
    for (long c = 0; c < store.nvalue(); ++c) links.back().push_back(store.getvalue(k, c));
  }
  std::sort(links.begin(), links.end());
  return links;
}

/// n points of d coordinates, uniform in 0..1, from a seed of their own; the program's generator is left as
/// it was.
inline void uniform_points(MatFullD& m, long n, long d, unsigned long seed) {
  const RandomState before = getrandom();
  setseed(seed);
  m.setdim(n, d);
  m.setrows(n, 0.0);
  for (long c = 0; c < n * d; ++c) m.data()[c] = u_rand();
  setrandom(before);
}

/// A caught console, the Euclidean distance and a seeded generator for every test.
class AnalysisTest : public ::testing::Test {
 protected:
  AnalysisTest() {
    euclidean_distance();
    setseed(default_seed);
  }
  ~AnalysisTest() override { euclidean_distance(); }

  CaughtConsole console;

 private:
  static void euclidean_distance() {
    MatFullD::mesp = 'm';
    MatFullD::miex = 2.0;
  }
};

/// A silent quantizer for every test.
class QuantizerTest : public AnalysisTest {
 protected:
  /// Loads rows, or n uniform points of d coordinates, as data.
  void load(const std::vector<std::vector<double>>& rows) {
    MatFullD m;
    fill(m, rows);
    ASSERT_EQ(1, vq.dataload(m, 0));
  }
  void load_uniform(long n, long d, unsigned long seed = 1) {
    MatFullD m;
    uniform_points(m, n, d, seed);
    ASSERT_EQ(1, vq.dataload(m, 0));
  }

  OpenQuantizer vq;
};

}  // namespace qvtx::test
