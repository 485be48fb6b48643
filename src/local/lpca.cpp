#include "local/lpca.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "base/ostr.h"

namespace qvtx {
namespace {

/// The data rows of every region, counted once: those of region k from the last to the first.
class RegionRows {
 public:
  RegionRows(const MatFullL& bmu, long regions) : begin_(static_cast<size_t>(regions + 1), 0) {
    for (long i = 0; i < bmu.nrow(); ++i) {
      if (bmu.data()[i * bmu.ncol()] >= 0) ++begin_[static_cast<size_t>(bmu.data()[i * bmu.ncol()] + 1)];
    }
    for (size_t k = 1; k < begin_.size(); ++k) begin_[k] += begin_[k - 1];
    rows_.resize(static_cast<size_t>(begin_.back()));
    std::vector<long> next(begin_.begin(), begin_.end() - 1);
    for (long i = bmu.nrow() - 1; i >= 0; --i) {
      const long region = bmu.data()[i * bmu.ncol()];
      if (region >= 0) rows_[static_cast<size_t>(next[static_cast<size_t>(region)]++)] = i;
    }
  }

  /// Appends the rows of region k, if there is one, to the sample.
  void append(long k, std::vector<long>& sample) const {
    if (k + 1 >= static_cast<long>(begin_.size())) return;
    const auto at = rows_.begin();
    sample.insert(sample.end(), at + begin_[static_cast<size_t>(k)], at + begin_[static_cast<size_t>(k + 1)]);
  }

 private:
  std::vector<long> begin_;
  std::vector<long> rows_;
};

// The neighbours' rows first, in the order of the list, the region's own last.
void collect(const RegionRows& rows, const MatLinkD& links, long k, std::vector<long>& sample) {
  sample.clear();
  if (k < links.nnode()) {
    for (long link = links.head(k); link >= 0; link = links.next(link, k))
      rows.append(links.other(link, k), sample);
  }
  rows.append(k, sample);
}

void copy_rows(const MatFullD& data, const std::vector<long>& rows, MatFullD& out) {
  const long d = data.ncol();
  out.setrows(0);  // keeps the block for the next region
  out.setrows(static_cast<long>(rows.size()), 0);
  double* to = out.data();
  for (const long row : rows) to = std::copy_n(data.data() + row * d, d, to);
}

// profile (d + 1 values): the share of the variance in the leading components.
void explained_shares(const MatFullD& sample, double* profile) {
  const long d = sample.ncol();
  MatFullD variances;
  sample.pca(variances, d, 0);
  profile[0] = 0;
  for (long c = 0; c < d; ++c) profile[c + 1] = profile[c] + variances.data()[c];
  const double total = profile[d];
  for (long c = 0; c <= d; ++c) profile[c] = total == 0 ? 1 : profile[c] / total;
}

// Weighted mean of the deviations from `mean` on one side of it (sign -1: below, 1: above), added to the
// mean.
double side_mean(const MatFullD& profiles, const MatFullL& weights, long c, double mean, double sign) {
  double sum = 0;
  double total = 0;
  for (long k = profiles.nrow() - 1; k >= 0; --k) {
    const double deviation = profiles.data()[k * profiles.ncol() + c] - mean;
    if (!(deviation * sign > 0)) continue;
    const double weight = static_cast<double>(weights.data()[k]);
    sum += weight * deviation;
    total += weight;
  }
  return mean + sum / (total == 0 ? 1 : total);
}

double weighted_mean(const MatFullD& profiles, const MatFullL& weights, long c) {
  double sum = 0;
  double total = 0;
  for (long k = profiles.nrow() - 1; k >= 0; --k) {
    const double weight = static_cast<double>(weights.data()[k]);
    sum += weight * profiles.data()[k * profiles.ncol() + c];
    total += weight;
  }
  return sum / (total == 0 ? 1 : total);
}

}  // namespace

long LPCA::init(const MatFullD& data, const MatFullL& bmu, const MatLinkD& links) {
  ready_ = 0;
  if (data.nrow() != bmu.nrow()) return 0;
  if (verbose != 0) os.ow("LPCA.init: computing LPCA ... ").flush();
  MatFullD profiles;
  MatFullL weights;
  analyse(data, bmu, links, profiles, weights);
  if (verbose != 0) {
    os.ow("done!").nl();
    if (nunder_ > 0) os.ow("LPCA.init: there were ").ow(nunder_).ow(" underdeterminacies").nl();
  }
  summarise(profiles, weights);
  ready_ = 1;
  return 1;
}

long LPCA::init(const MatFullD& data, const MatFullL& bmu) { return init(data, bmu, MatLinkD()); }

long LPCA::init(const MatFullD& data) {
  MatFullL bmu(data.nrow(), 1);
  bmu.setrows(data.nrow(), 0);
  return init(data, bmu);
}

void LPCA::analyse(const MatFullD& data, const MatFullL& bmu, const MatLinkD& links, MatFullD& profiles,
                   MatFullL& weights) {
  const long d = data.ncol();
  nregion_ = bmu.nrow() == 0 ? 1 : std::max(1L, bmu.get(bmu.maxidx(0), 0) + 1);
  nunder_ = 0;
  profiles.setdim(nregion_, d + 1);
  profiles.setrows(nregion_, 1);
  weights.setdim(nregion_, 1);
  weights.setrows(nregion_, 0);
  const RegionRows rows(bmu, nregion_);
  std::vector<long> sample_rows;
  MatFullD sample(0, d);
  for (long k = 0; k < nregion_; ++k) {
    collect(rows, links, k, sample_rows);
    const long count = static_cast<long>(sample_rows.size());
    weights.set(k, 0, count);
    if (count <= d) {
      ++nunder_;
      continue;
    }
    copy_rows(data, sample_rows, sample);
    explained_shares(sample, profiles.row(k));
  }
}

void LPCA::summarise(const MatFullD& profiles, const MatFullL& weights) {
  const long columns = profiles.ncol();
  stats_.setdim(5, columns);
  stats_.setrows(5, 0);
  for (long c = 0; c < columns; ++c) {
    double least = std::numeric_limits<double>::infinity();
    double most = 0;
    for (long k = profiles.nrow() - 1; k >= 0; --k) {
      const double share = profiles.data()[k * columns + c];
      least = std::min(least, share);
      most = std::max(most, share);
    }
    const double mean = weighted_mean(profiles, weights, c);
    stats_.set(0, c, least);
    stats_.set(1, c, side_mean(profiles, weights, c, mean, -1));
    stats_.set(2, c, mean);
    stats_.set(3, c, side_mean(profiles, weights, c, mean, 1));
    stats_.set(4, c, most);
  }
}

long LPCA::getdim(double pct, long row) const {
  if (ready_ == 0) return -1;
  for (long c = 0; c < stats_.ncol(); ++c) {
    if (stats_.get(row, c) >= pct) return c;
  }
  return -1;
}

double LPCA::getpct(long c, long row) const {
  if (ready_ == 0 || c < 0 || c >= stats_.ncol()) return -1;
  return stats_.get(row, c);
}

long LPCA::getstats(MatFullD& out) const {
  if (ready_ != 0 && &out != &stats_) out.copy(stats_);
  return 0;
}

long LPCA::save_asc(const char* file) const {
  if (ready_ == 0) return 0;
  if (verbose != 0) os.ow("LPCA.lpcasave: ");
  return stats_.save_asc(file, verbose != 0, 1);
}

void LPCA::clear() { ready_ = 0; }

void LPCA::duplicate(const LPCA& other) {
  stats_.duplicate(other.stats_);
  ready_ = other.ready_;
  nregion_ = other.nregion_;
  nunder_ = other.nunder_;
  verbose = other.verbose;
}

void LPCA::swap(LPCA& other) noexcept {
  stats_.swap(other.stats_);
  std::swap(ready_, other.ready_);
  std::swap(nregion_, other.nregion_);
  std::swap(nunder_, other.nunder_);
  std::swap(verbose, other.verbose);
}

}  // namespace qvtx
