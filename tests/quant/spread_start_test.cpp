// The start that spreads, against its definition with draws predicted from the generator's rules.

#include "quant/spread_start.h"

#include <cmath>

#include "support/reference_quantizer.h"

namespace qvtx::test {
namespace {

using Points = std::vector<std::vector<double>>;

double plain_square(const std::vector<double>& x, const std::vector<double>& y) {
  double sum = 0;
  for (std::size_t k = x.size(); k-- > 0;) sum += (x[k] - y[k]) * (x[k] - y[k]);
  const double d = std::sqrt(sum);
  return d * d;
}

/// Running sums of the squared distance of every datum to the nearest chosen row.
std::vector<double> running_sums(const Points& data, const std::vector<std::size_t>& chosen) {
  std::vector<double> sums;
  double sum = 0;
  for (const auto& x : data) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const std::size_t row : chosen) nearest = std::min(nearest, plain_square(data[row], x));
    sums.push_back(sum += nearest);
  }
  return sums;
}

/// The rows chosen, up to `n` or until every datum is one of them.
std::vector<std::size_t> plain_spread(const Points& data, long n, ReferenceDraws& draws) {
  std::vector<std::size_t> chosen = {static_cast<std::size_t>(draws.index(std::ssize(data)))};
  const long candidates = 2 + static_cast<long>(std::floor(std::log(static_cast<double>(n))));
  while (std::ssize(chosen) < n) {
    const std::vector<double> sums = running_sums(data, chosen);
    if (sums.back() == 0) break;
    double least = std::numeric_limits<double>::infinity();
    std::size_t best = 0;
    for (long c = 0; c < candidates; ++c) {
      const double reached = draws.uniform() * sums.back();
      std::size_t row = 0;
      while (sums[row] < reached) ++row;
      chosen.push_back(row);
      const double left = running_sums(data, chosen).back();
      chosen.pop_back();
      if (left < least) least = left, best = row;
    }
    chosen.push_back(best);
  }
  return chosen;
}

TEST(SpreadStart, ChoosesTheRowsOfItsDefinition) {
  for (const auto& [ndata, n, levels] :
       {std::tuple{1L, 1L, 9L}, {40L, 2L, 100L}, {60L, 7L, 1000L}, {150L, 8L, 5L}, {200L, 21L, 100000L}}) {
    std::mt19937 engine(static_cast<unsigned>(ndata));
    Points points(static_cast<std::size_t>(ndata), std::vector<double>(3));
    MatFullD data(ndata, 3), prot(n, 3);
    data.setrows(ndata);
    prot.setrows(n);
    for (long i = 0; i < ndata; ++i) {
      for (long k = 0; k < 3; ++k) {
        data(i, k) = points[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)] =
            0.01 * static_cast<double>(engine() % static_cast<unsigned long>(levels));
      }
    }
    setseed(default_seed);
    ReferenceDraws draws;
    const std::vector<std::size_t> expected = plain_spread(points, n, draws);
    ASSERT_TRUE(spread_start(prot, data));
    for (std::size_t k = 0; k < expected.size(); ++k)
      EXPECT_EQ(prot.sdas(static_cast<long>(k), data, static_cast<long>(expected[k]), no_bound), 0)
          << "prototype " << k << " of " << n;
    EXPECT_EQ(ul_rand(), draws.next());
  }
}

/// When every different datum is chosen, the rest is drawn as by a start at random.
TEST(SpreadStart, DrawsTheRestFromFewDifferentData) {
  MatFullD data(6, 1), prot(5, 1);
  data.setrows(6, 2.0);
  prot.setrows(5);
  data(4, 0) = 3.0;
  ASSERT_TRUE(spread_start(prot, data));
  EXPECT_NE(prot(0, 0), prot(1, 0));
  for (long k = 2; k < 5; ++k) EXPECT_GE(prot(k, 0), 2.0);
}

}  // namespace
}  // namespace qvtx::test
