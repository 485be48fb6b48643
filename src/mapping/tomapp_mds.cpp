// Classical multidimensional scaling (Torgerson, "Multidimensional scaling: I. Theory and method",
// Psychometrika 17, 1952; Gower 1966) of the prototypes; with graph distances Isomap (Tenenbaum, de Silva,
// Langford, Science 290, 2000).

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "base/interrupt.h"
#include "base/time_left.h"
#include "local/block_lanczos.h"
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

/// Elements of row i that the solver reads: the lower triangle, but the closed forms of small orders take
/// all.
long read_of_row(long i, long n) { return n < 4 ? n : i + 1; }

/// Fills a with -D^2 / 2 of the pairs that have a distance, and returns the mean squared distance of each
/// row.
std::vector<double> squared_distances(InputDistances& input, double** a, long n, const Progress& progress) {
  std::vector<double> mean(static_cast<std::size_t>(n), 0.0);
  for (long i = n - 1; i >= 0; --i) {
    interruption_point();
    const double* distance = input.row(i);
    const long read = read_of_row(i, n);
    double sum = 0;
    for (long j = n - 1; j >= 0; --j) {
      const bool counts = j != i && !(distance[j] < 0);
      if (j < read) a[i][j] = counts ? single(-0.5 * (distance[j] * distance[j])) : -0.0;
      if (counts) sum += distance[j] * distance[j];
    }
    mean[static_cast<std::size_t>(i)] = sum / static_cast<double>(n);
    tell_share(progress, static_cast<double>(n - i) / static_cast<double>(n));
  }
  return mean;
}

void double_centre(double** a, const std::vector<double>& mean) {
  const long n = static_cast<long>(mean.size());
  double sum = 0;
  for (std::size_t i = mean.size(); i-- > 0;) sum += mean[i];
  const double overall = sum / static_cast<double>(n);
  for (long i = n; i-- > 0;) {
    const double rest = overall - mean[static_cast<std::size_t>(i)];
    for (long j = read_of_row(i, n); j-- > 0;)
      a[i][j] -= single(0.5 * (rest - mean[static_cast<std::size_t>(j)]));
  }
}

/// The axes without value among the leading eigenvalues, `found` of them, that were asked for.
long missing_axes(const double* leading, long found, long axes) {
  return axes - found + std::count_if(leading, leading + found, [](double value) { return value < 0; });
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
  found.missing = missing_axes(diag, std::min(axes, n), axes);
  if (positive > 0) found.share = shown / positive;
  return found;
}

/// leading: the eigenvalues of the axes; total: the sum of all eigenvalues, which the negative ones lower.
Spectrum spectrum_within(const double* leading, long axes, double total) {
  Spectrum found;
  found.at_most = true;
  found.missing = missing_axes(leading, axes, axes);
  double shown = 0;
  for (long k = 0; k < axes; ++k) shown += std::max(leading[k], 0.0);
  found.share = shown < total ? shown / total : 1;
  return found;
}

double trace(double* const* a, long n) {
  double sum = 0;
  for (long i = n - 1; i >= 0; --i) sum += a[i][i];
  return sum;
}

/// Puts the k leading pairs where the whole reduction puts them. False when the iteration did not find them;
/// the problem is untouched then.
bool iterate(mgcEigenD& problem, long k) {
  const long n = problem.size;
  BlockLanczos iteration(problem.mat, n, k);
  if (!iteration.run()) return false;
  for (long v = 0; v < k; ++v) {
    problem.diag[v] = iteration.value(v);
    for (long i = 0; i < n; ++i) problem.mat[i][v] = iteration.vector(v)[i];
  }
  return true;
}

/// The largest component of each of the k leading vectors, the first of equal ones, becomes positive.
void settle_signs(mgcEigenD& problem, long k) {
  for (long v = 0; v < k; ++v) {
    double largest = 0;
    for (long i = 0; i < problem.size; ++i) {
      if (std::fabs(problem.mat[i][v]) > std::fabs(largest)) largest = problem.mat[i][v];
    }
    for (long i = 0; i < problem.size && largest < 0; ++i) problem.mat[i][v] = -problem.mat[i][v];
  }
}

/// The leading pairs of a centred matrix for this many axes. Large problems go by an iteration that finds no
/// others; it is several times as fast, but has other last digits and signs than the whole reduction.
Spectrum solve(mgcEigenD& problem, long axes) {
  const long n = problem.size;
  constexpr long most_reduced = 1000, most_iterated_axes = 16;
  const bool large = n > most_reduced && axes <= most_iterated_axes;
  const double total = large ? trace(problem.mat, n) : 0;
  const bool iterated = large && iterate(problem, axes);
  if (!iterated) problem.DecrSortEigenStuff(static_cast<int>(std::min(axes, n)));
  if (large) settle_signs(problem, axes);
  return iterated ? spectrum_within(problem.diag, axes, total) : spectrum_of(problem.diag, n, axes);
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
  input.ask_in_order(nullptr);
  double_centre(problem.mat, squared_distances(input, problem.mat, n, waiting("distances: ")));
  const long axes = mprot.ncol();
  const long known = std::min(axes, n);
  problem.progress = waiting("eigenvalues: ");
  spectrum = solve(problem, axes);
  problem.progress = nullptr;
  if (verbose) {
    os.ow("Eigenvalues:").nl();
    for (long k = 0; k < known; ++k) os.ow(problem.diag[k]).nl();
  }
  for (long i = n - 1; i >= 0; --i) {
    double* y = mprot.row(i);
    // The square root of a negative eigenvalue makes its axis NaN, like the axes beyond the last eigenvalue.
    for (long k = 0; k < known; ++k) y[k] = std::sqrt(problem.diag[k]) * problem.mat[i][k];
    for (long k = known; k < axes; ++k) y[k] = std::numeric_limits<double>::quiet_NaN();
  }
  return 1;
}

}  // namespace qvtx
