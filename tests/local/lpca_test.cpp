// Local PCA on data of known local dimension, against a plain computation of the same statistics.

#include "local/lpca.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "base/ostr.h"
#include "base/random.h"

namespace qvtx {
namespace {

double uniform() { return 2.0 * static_cast<double>(ul_rand()) / 4294967295.0 - 1.0; }

// n points of region `label`: the first `dimension` coordinates of three random, spread 1, shifted to an own
// place.
void add_patch(MatFullD& data, MatFullL& bmu, long label, long dimension, long n) {
  for (long i = 0; i < n; ++i) {
    const long at = data.addrow() - 1;
    for (long j = 0; j < data.ncol(); ++j) {
      data(at, j) = static_cast<double>(10 * label) + (j < dimension ? uniform() : 0.0);
    }
    bmu(bmu.addrow() - 1, 0) = label;
  }
}

MatLinkD graph(long n, const std::vector<std::pair<long, long>>& links) {
  MatLinkD graph(n, 3);
  graph.addrow(n);
  for (const auto& [i, j] : links) graph.add_link(i, j);
  return graph;
}

// The definition, with the sample of every region collected by `count`.
MatFullD plain_statistics(const MatFullD& data, const MatFullL& bmu, const MatLinkD& links) {
  const long d = data.ncol();
  const long regions = std::max(1L, bmu.get(bmu.maxidx(0), 0) + 1);
  std::vector<std::vector<double>> profiles;
  std::vector<double> weights;
  for (long k = 0; k < regions; ++k) {
    MatFullL neighbours;
    links.degree(k, neighbours);
    MatFullL idx;
    idx.setdim(0, 1);
    for (long n = 0; n < neighbours.nrow(); ++n) bmu.count(0, neighbours(n, 0), neighbours(n, 0), idx, 1);
    bmu.count(0, k, k, idx, 1);
    std::vector<double> profile(static_cast<size_t>(d + 1), 1);
    if (idx.nrow() > d) {
      MatFullD sample, values;
      sample.copy(data, idx, 0);
      sample.pca(values, d, 0);
      double total = 0;
      for (long c = 0; c < d; ++c) profile[static_cast<size_t>(c)] = total, total += values(c, 0);
      profile.back() = total;
      for (double& share : profile) share = total == 0 ? 1 : share / total;
    }
    profiles.push_back(profile);
    weights.push_back(static_cast<double>(idx.nrow()));
  }
  MatFullD stats(5, d + 1);
  stats.setrows(5, 0);
  for (long c = 0; c <= d; ++c) {
    std::vector<double> shares;
    for (const auto& profile : profiles) shares.push_back(profile[static_cast<size_t>(c)]);
    double sum = 0;
    double total = 0;
    for (size_t k = 0; k < shares.size(); ++k) sum += weights[k] * shares[k], total += weights[k];
    const double mean = sum / total;
    double low = 0, low_weight = 0, high = 0, high_weight = 0;
    for (size_t k = 0; k < shares.size(); ++k) {
      if (shares[k] < mean) low += weights[k] * (shares[k] - mean), low_weight += weights[k];
      if (shares[k] > mean) high += weights[k] * (shares[k] - mean), high_weight += weights[k];
    }
    stats(0, c) = *std::min_element(shares.begin(), shares.end());
    stats(1, c) = mean + low / (low_weight == 0 ? 1 : low_weight);
    stats(2, c) = mean;
    stats(3, c) = mean + high / (high_weight == 0 ? 1 : high_weight);
    stats(4, c) = *std::max_element(shares.begin(), shares.end());
  }
  return stats;
}

class LocalPca : public ::testing::Test {
 protected:
  LocalPca() : data_(0, 3), bmu_(0, 1) {
    setseed(5);
    stream_ = os.stream;
    os.stream = &text_;
  }
  ~LocalPca() override { os.stream = stream_; }
  std::string console() const { return text_.str(); }

  MatFullD data_;
  MatFullL bmu_;
  LPCA lpca_;

 private:
  std::ostringstream text_;
  std::ostream* stream_ = nullptr;
};

TEST_F(LocalPca, DimensionsOfLinesPlanesAndVolumes) {
  add_patch(data_, bmu_, 0, 1, 40);
  add_patch(data_, bmu_, 1, 2, 60);
  add_patch(data_, bmu_, 2, 3, 100);
  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  EXPECT_EQ(lpca_.nregion(), 3);
  EXPECT_EQ(lpca_.nunder(), 0);
  EXPECT_EQ(lpca_.getdim(0.999, 0), 3);  // of the volume
  EXPECT_EQ(lpca_.getdim(0.999, 4), 1);  // of the line
  EXPECT_NEAR(lpca_.getpct(2, 2), (40 + 60 + 100 * lpca_.getpct(2, 0)) / 200, 1e-12);
  EXPECT_EQ(console(), "LPCA.init: computing LPCA ... done!\n");
}

TEST_F(LocalPca, StatisticsAreThoseOfThePlainComputation) {
  for (long label = 0; label < 12; ++label) add_patch(data_, bmu_, label, 1 + label % 3, 2 + 3 * label);
  for (long i = data_.nrow() - 1; i > 0; --i) {  // regions scattered over the rows
    const long j = static_cast<long>(ul_rand() % static_cast<unsigned long>(i + 1));
    data_.swaprows(i, j);
    bmu_.swaprows(i, j);
  }
  const MatLinkD links = graph(12, {{0, 1}, {1, 2}, {5, 1}, {7, 8}, {8, 7}, {3, 11}, {10, 4}});
  ASSERT_EQ(lpca_.init(data_, bmu_, links), 1);
  const MatFullD expected = plain_statistics(data_, bmu_, links);
  ASSERT_EQ(lpca_.stats().nrow(), 5);
  ASSERT_EQ(lpca_.stats().ncol(), 4);
  for (long r = 0; r < 5; ++r) {
    // The summation order is free for the means only.
    for (long c = 0; c < 4; ++c) EXPECT_NEAR(lpca_.stats()(r, c), expected(r, c), r % 4 == 0 ? 0 : 1e-14);
  }
}

TEST_F(LocalPca, LinksWidenTheRegions) {
  add_patch(data_, bmu_, 0, 1, 50);
  add_patch(data_, bmu_, 1, 1, 50);
  for (long i = 0; i < 50; ++i) data_(i, 1) = 100;  // two parallel lines
  lpca_.verbose = 0;
  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  EXPECT_EQ(lpca_.getdim(1 - 1e-9, 0), 1);
  ASSERT_EQ(lpca_.init(data_, bmu_, graph(2, {{0, 1}})), 1);
  EXPECT_EQ(lpca_.getdim(1 - 1e-9, 0), 2);
  EXPECT_EQ(console(), "");
}

TEST_F(LocalPca, OneRegionGivesTheGlobalProfileInEveryRow) {
  add_patch(data_, bmu_, 0, 2, 30);
  add_patch(data_, bmu_, 1, 2, 30);
  ASSERT_EQ(lpca_.init(data_), 1);
  MatFullD values;
  data_.pca(values, 3, 0);
  const double total = values(0, 0) + values(1, 0) + values(2, 0);
  double sum = 0;
  for (long c = 0; c <= 3; ++c) {
    for (long r = 0; r < 5; ++r) EXPECT_NEAR(lpca_.getpct(c, r), sum / total, 1e-15) << r << ' ' << c;
    if (c < 3) sum += values(c, 0);
  }
  EXPECT_EQ(lpca_.getpct(0, 2), 0);
  EXPECT_EQ(lpca_.getpct(3, 0), 1);
}

TEST_F(LocalPca, UnderdeterminedAndConstantRegionsAreFullyExplained) {
  add_patch(data_, bmu_, 0, 3, 3);  // as many samples as columns
  add_patch(data_, bmu_, 2, 0, 9);  // no variance; region 1 has no sample
  bmu_(0, 0) = -1;                  // unassigned: belongs nowhere
  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  EXPECT_EQ(lpca_.nregion(), 3);
  EXPECT_EQ(lpca_.nunder(), 2);
  for (long r = 0; r < 5; ++r) {
    EXPECT_EQ(lpca_.getpct(0, r), 1);
    EXPECT_EQ(lpca_.getdim(1, r), 0);
  }
  EXPECT_EQ(console(), "LPCA.init: computing LPCA ... done!\nLPCA.init: there were 2 underdeterminacies\n");
}

TEST_F(LocalPca, NoDataIsOneEmptyRegion) {
  ASSERT_EQ(lpca_.init(data_), 1);
  EXPECT_EQ(lpca_.nregion(), 1);
  EXPECT_EQ(lpca_.getpct(0, 0), 1);
  EXPECT_EQ(lpca_.getpct(0, 2), 0);  // no weight
}

TEST_F(LocalPca, NothingIsAnsweredUnlessReady) {
  MatFullD out;
  EXPECT_EQ(lpca_.getdim(0, 0), -1);
  EXPECT_EQ(lpca_.getpct(0, 0), -1);
  EXPECT_EQ(lpca_.getstats(out), 0);
  EXPECT_EQ(lpca_.save_asc("never"), 0);
  EXPECT_EQ(out.nrow(), 0);
  add_patch(data_, bmu_, 0, 2, 10);
  MatFullL shorter(9, 1);
  shorter.setrows(9, 0);
  EXPECT_EQ(lpca_.init(data_, shorter), 0);
  EXPECT_EQ(lpca_.ready(), 0);
  EXPECT_EQ(console(), "");

  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  EXPECT_EQ(lpca_.getdim(0, 3), 0);
  EXPECT_EQ(lpca_.getdim(1.5, 3), -1);
  EXPECT_EQ(lpca_.getpct(-1, 0), -1);
  EXPECT_EQ(lpca_.getpct(4, 0), -1);
  EXPECT_EQ(lpca_.getstats(out), 0);
  EXPECT_EQ(out.nrow(), 5);
  EXPECT_EQ(out(2, 3), 1);
  EXPECT_EQ(lpca_.init(data_, shorter), 0);  // a failed analysis forgets the earlier one
  EXPECT_EQ(lpca_.getdim(0, 0), -1);
  ASSERT_EQ(lpca_.init(data_, bmu_), 1);
  lpca_.clear();
  EXPECT_EQ(lpca_.ready(), 0);
}

TEST_F(LocalPca, SavesTheStatisticsAsText) {
  add_patch(data_, bmu_, 0, 2, 10);
  lpca_.verbose = 0;
  lpca_.init(data_, bmu_);
  lpca_.verbose = 1;
  const std::string name = (std::filesystem::temp_directory_path() / "qvtx_lpca_stats.txt").string();
  EXPECT_EQ(lpca_.save_asc(name.c_str()), 1);
  EXPECT_EQ(console(), "LPCA.lpcasave: saving ASCII-file " + name + " ... done!\n");
  MatFullD back;
  ASSERT_EQ(back.load_asc(name.c_str(), 0), 1);
  ASSERT_EQ(back.nrow(), 5);
  ASSERT_EQ(back.ncol(), 4);
  EXPECT_NEAR(back(2, 1), lpca_.getpct(1, 2), 1e-6);
  std::filesystem::remove(name);
}

}  // namespace
}  // namespace qvtx
