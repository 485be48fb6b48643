// Classical multidimensional scaling (Torgerson, "Multidimensional scaling: I. Theory and method",
// Psychometrika 17, 1952; Gower 1966) of the prototypes; with graph distances Isomap (Tenenbaum, de Silva,
// Langford, Science 290, 2000).

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "base/interrupt.h"
#include "base/time_left.h"
#include "local/mgceigen.h"
#include "mapping/input_distances.h"
#include "mapping/tomapp.h"

namespace qvtx {

const char* const ToMapp::scaling_name = "Multidimensional Scaling";

long ToMapp::mds(long dim) {
  if (dim < 1 || prot.nrow() < 2) return 0;
  if (!dist_ini(0)) return 0;
  mapr_ini(dim, 0);
  say("mds: mapping ... ");
  const bool solved = mds_cor() != 0;
  say_end(solved ? "done!" : "failed!");
  if (!solved) return 0;
  return mapr_fin(scaling_name);
}

namespace {

/// Both roundings to single precision belong to the method.
double single(double x) { return static_cast<double>(static_cast<float>(x)); }

/// Fills a with -D^2 / 2 of the pairs that have a distance, and returns the mean squared distance of each
/// row.
std::vector<double> squared_distances(InputDistances& input, double** a, long n, const Progress& progress) {
  std::vector<double> mean(static_cast<std::size_t>(n), 0.0);
  for (long i = n - 1; i >= 0; --i) {
    interruption_point();
    const double* distance = input.row(i);
    double sum = 0;
    for (long j = n - 1; j >= 0; --j) {
      const bool counts = j != i && !(distance[j] < 0);
      a[i][j] = counts ? single(-0.5 * (distance[j] * distance[j])) : -0.0;
      if (counts) sum += distance[j] * distance[j];
    }
    mean[static_cast<std::size_t>(i)] = sum / static_cast<double>(n);
    tell_share(progress, static_cast<double>(n - i) / static_cast<double>(n));
  }
  return mean;
}

void double_centre(double** a, const std::vector<double>& mean) {
  const std::size_t n = mean.size();
  double sum = 0;
  for (std::size_t i = n; i-- > 0;) sum += mean[i];
  const double overall = sum / static_cast<double>(n);
  for (std::size_t i = n; i-- > 0;)
    for (std::size_t j = n; j-- > 0;) a[i][j] -= single(0.5 * (overall - mean[i] - mean[j]));
}

/// diag: n eigenvalues, the largest first as far as axes go.
Spectrum spectrum_of(const double* diag, long n, long axes) {
  Spectrum found;
  double shown = 0, positive = 0;
  for (long k = 0; k < n; ++k) {
    if (!(diag[k] > 0)) continue;
    positive += diag[k];
    if (k < axes) shown += diag[k];
  }
  for (long k = 0; k < axes; ++k) found.missing += k >= n || diag[k] < 0 ? 1 : 0;
  if (positive > 0) found.share = shown / positive;
  return found;
}

}  // namespace

long ToMapp::mds_cor() {
  const long n = prot.nrow();
  if (n < 2 || mprot.nrow() != n || !rows_ready(balance())) return 0;
  const Interruptible scope;
  const auto waiting = [this](const char* what) { return verbose ? time_left_of(what) : Progress(); };
  mgcEigenD problem(static_cast<int>(n));
  if (!problem.mat) return 0;
  InputDistances input(*this, balance(), true, memory.distances);
  double_centre(problem.mat, squared_distances(input, problem.mat, n, waiting("distances: ")));
  const long axes = mprot.ncol();
  const long known = std::min(axes, n);
  problem.progress = waiting("eigenvalues: ");
  problem.DecrSortEigenStuff(static_cast<int>(known));
  problem.progress = nullptr;
  if (verbose) {
    os.ow("Eigenvalues:").nl();
    for (long k = 0; k < known; ++k) os.ow(problem.diag[k]).nl();
  }
  spectrum = spectrum_of(problem.diag, n, axes);
  for (long i = n - 1; i >= 0; --i) {
    double* y = mprot.row(i);
    // The square root of a negative eigenvalue makes its axis NaN, like the axes beyond the last eigenvalue.
    for (long k = 0; k < known; ++k) y[k] = std::sqrt(problem.diag[k]) * problem.mat[i][k];
    for (long k = known; k < axes; ++k) y[k] = std::numeric_limits<double>::quiet_NaN();
  }
  return 1;
}

}  // namespace qvtx
