// Local PCA on data of known local dimension, against a plain computation of the same statistics.

#include "local/lpca.h"

#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

/// The definition, with the sample of every region collected by `count`.
MatFullD plain_statistics(const MatFullD& data, const MatFullL& bmu, const MatLinkD& links) {
  const long d = data.ncol(), regions = bmu.get(bmu.maxidx(0), 0) + 1;
  MatFullD profiles = matrix(regions, d + 1), weights = matrix(regions, 1), stats = matrix(5, d + 1);
  for (long k = 0; k < regions; ++k) {
    MatFullL neighbours, idx;
    links.degree(k, neighbours);
    idx.setdim(0, 1);
    for (long n = 0; n < neighbours.nrow(); ++n) bmu.count(0, neighbours(n, 0), neighbours(n, 0), idx, 1);
    bmu.count(0, k, k, idx, 1);
    weights(k, 0) = static_cast<double>(idx.nrow());
    MatFullD sample, values = matrix(d, 1);
    sample.copy(data, idx, 0);
    if (idx.nrow() > d) sample.pca(values, d, 0);
    for (long c = 0; c < d; ++c) profiles(k, c + 1) = profiles(k, c) + values(c, 0);
    const double total = profiles(k, d);
    for (long c = 0; c <= d; ++c) profiles(k, c) = total == 0 ? 1 : profiles(k, c) / total;
  }
  for (long c = 0; c <= d; ++c) {
    const auto weighted = [&](double from, int side) {
      double sum = 0, weight = 0;
      for (long k = 0; k < regions; ++k) {
        const double off = profiles(k, c) - from;
        if (side != 0 && off * side <= 0) continue;
        sum += weights(k, 0) * off;
        weight += weights(k, 0);
      }
      return from + sum / (weight == 0 ? 1 : weight);
    };
    stats(0, c) = profiles(profiles.minidx(c), c);
    stats(2, c) = weighted(0, 0);
    stats(1, c) = weighted(stats(2, c), -1);
    stats(3, c) = weighted(stats(2, c), 1);
    stats(4, c) = profiles(profiles.maxidx(c), c);
  }
  return stats;
}

class LocalPca : public LinearAlgebra {
 protected:
  LocalPca() { setseed(5); }

  /// n points of a region: the first `dimension` of three coordinates random, spread 1, at a place of its
  /// own.
  void add_patch(long label, long dimension, long n) {
    for (long i = 0; i < n; ++i) {
      const long at = data_.addrow() - 1;
      for (long j = 0; j < 3; ++j)
        data_(at, j) = static_cast<double>(10 * label) + (j < dimension ? 2 * u_rand() - 1 : 0);
      bmu_(bmu_.addrow() - 1, 0) = label;
    }
  }
  static MatLinkD graph(long n, const std::vector<std::pair<long, long>>& links) {
    MatLinkD graph(n, 3);
    graph.addrow(n);
    for (const auto& [i, j] : links) graph.add_link(i, j);
    return graph;
  }

  MatFullD data_{0, 3};
  MatFullL bmu_{0, 1};
  LPCA lpca_;
};

TEST_F(LocalPca, StatisticsAreThoseOfThePlainComputation) {
  for (long label = 0; label < 12; ++label) add_patch(label, 1 + label % 3, 2 + 3 * label);
  for (long i = data_.nrow() - 1; i > 0; --i) {  // regions scattered over the rows
    const long j = draw_index(i + 1);
    data_.swaprows(i, j);
    bmu_.swaprows(i, j);
  }
  const MatLinkD links = graph(12, {{0, 1}, {1, 2}, {5, 1}, {7, 8}, {8, 7}, {3, 11}, {10, 4}});
  for (const bool one_region : {false, true}) {
    if (one_region) std::fill(bmu_.data(), bmu_.data() + bmu_.nrow(), 0);
    const MatLinkD unlinked = graph(1, {});
    ASSERT_EQ(one_region ? lpca_.init(data_) : lpca_.init(data_, bmu_, links), 1);
    const MatFullD expected = plain_statistics(data_, bmu_, one_region ? unlinked : links);
    ASSERT_EQ(lpca_.stats().nrow(), 5);
    ASSERT_EQ(lpca_.stats().ncol(), 4);
    for (long r = 0; r < 5; ++r) {
      // The summation order is free for the means only.
      for (long c = 0; c < 4; ++c) EXPECT_NEAR(lpca_.stats()(r, c), expected(r, c), r % 4 == 0 ? 0 : 1e-14);
      const double* const share = expected.row(r);
      EXPECT_EQ(lpca_.getdim(0.9, r),
                std::find_if(share, share + 4, [](double s) { return s >= 0.9; }) - share);
    }
  }
  data_.setrows(0);  // no data make one empty region, without weight
  ASSERT_EQ(lpca_.init(data_), 1);
  EXPECT_EQ(lpca_.nregion(), 1);
  EXPECT_EQ(lpca_.getpct(0, 0), 1);
  EXPECT_EQ(lpca_.getpct(0, 2), 0);
}

TEST_F(LocalPca, UnderdeterminedAndConstantRegionsAreFullyExplained) {
  add_patch(0, 3, 3);  // as many samples as columns
  add_patch(2, 0, 9);  // no variance; region 1 has no sample
  bmu_(0, 0) = -1;     // unassigned: belongs nowhere
  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  EXPECT_EQ(lpca_.nregion(), 3);
  EXPECT_EQ(lpca_.nunder(), 2);
  for (long r = 0; r < 5; ++r) {
    EXPECT_EQ(lpca_.getpct(0, r), 1) << r;
    EXPECT_EQ(lpca_.getdim(1, r), 0) << r;
  }
  EXPECT_EQ(console(), "LPCA.init: computing LPCA ... done!\nLPCA.init: there were 2 underdeterminacies\n");
}

TEST_F(LocalPca, NothingIsAnsweredUnlessReady) {
  add_patch(0, 2, 10);
  lpca_.verbose = 0;
  MatFullL shorter(9, 1);
  shorter.setrows(9, 0);
  MatFullD out;
  for (int way = 0; way < 3; ++way) {  // before the first analysis, after a failed one, after a clear
    SCOPED_TRACE(way);
    if (way > 0) {
      ASSERT_EQ(lpca_.init(data_, bmu_), 1);
    }
    if (way == 1) {
      ASSERT_EQ(lpca_.init(data_, shorter), 0);
    }
    if (way == 2) lpca_.clear();
    EXPECT_EQ(lpca_.ready(), 0);
    EXPECT_EQ(lpca_.getdim(0, 0), -1);
    EXPECT_EQ(lpca_.getpct(0, 0), -1);
    EXPECT_EQ(lpca_.getstats(out), 0);
    EXPECT_EQ(lpca_.save_asc("never"), 0);
    EXPECT_EQ(out.nrow(), 0);
  }
  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  EXPECT_EQ(lpca_.getdim(0, 3), 0);
  EXPECT_EQ(lpca_.getdim(1.5, 3), -1);
  for (const long column : {-1, 4}) EXPECT_EQ(lpca_.getpct(column, 0), -1) << column;
  EXPECT_EQ(lpca_.getstats(out), 0);
  EXPECT_EQ(difference(out, lpca_.stats()), 0);
  lpca_.verbose = 1;
  EXPECT_EQ(lpca_.save_asc("stats"), 1);
  EXPECT_EQ(console(), "LPCA.lpcasave: saving ASCII-file stats ... done!\n");
  MatFullD back;
  ASSERT_EQ(back.load_asc("stats", 0), 1);
  EXPECT_LE(difference(back, out), 1e-6);
}

}  // namespace
}  // namespace qvtx::test
