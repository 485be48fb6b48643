// What a person should know of a map or of the data beyond the report: one line each on standard error.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/ostr.h"
#include "base/prompts.h"
#include "matrix/partition_agreement.h"
#include "shell/session.h"

namespace qvtx {

namespace {

/// Share of the data that may be alone with their prototype before that is worth a word.
constexpr double most_alone = 0.1;
/// Share of the variance that one variable may hold.
constexpr double most_of_one = 0.9;
/// Below it the root of two terms is beyond every number: 2^1024.
constexpr double least_exponent = 1.0 / 1024;
/// How much longer the longest path may be than the longest straight line.
constexpr double most_detour = 1.2;
/// Data on the map whose ranks are measured.
constexpr long most_ranked = 500;

std::string fixed(double x, int decimals) {
  std::ostringstream text;
  text.exceptions(std::ios::badbit);  // a lack of memory is not to be lost
  Ostr(text).ow(x, 1, decimals);
  return text.str();
}

std::string count(long n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string figure(const std::optional<double>& x) { return x ? fixed(*x, 3) : "-"; }

/// Reads labels, one integer for each of n data; false when the file holds anything else. Nobody is told of
/// the load: nobody asked for it.
bool read_labels(const std::string& file, long n, MatFullL& labels) {
  MatFullD read;
  ReadListener listener = listen_to_reads({});
  const bool loaded = read.load_asc(file.c_str(), 0) != 0;
  listen_to_reads(std::move(listener));
  if (!loaded || read.nrow() != n || read.ncol() != 1) return false;
  labels.setdim(n, 1);
  labels.setrows(n, -1);
  for (long i = 0; i < n; ++i) {
    if (read(i, 0) != std::round(read(i, 0))) return false;
    labels(i, 0) = std::lround(read(i, 0));
  }
  return true;
}

/// Adds a row's distances from `origin`, and their squares, to two sums for each of d columns.
void add_row(const double* __restrict x, const double* __restrict origin, long d, double* __restrict sum,
             double* __restrict squares) {
  for (long j = 0; j < d; ++j) {
    const double t = x[j] - origin[j];
    sum[j] += t;
    squares[j] += t * t;
  }
}

/// Whether one variable may hold more than `most_of_one` of the variance: seen from one pass of plain sums, a
/// fraction of the time that the extended sums of the exact figures take. With t = x - origin, n times a
/// variance is Q - S^2 / n, where S sums t and Q sums t^2. Sums of n terms, each rounded a few times, are off
/// by less than e = (n + 8) 2^-53 of the sum of their magnitudes, so that S^2 / n, at most Q, is off by
/// little more than 2 e Q and the difference by less than 4 e Q. The exact figures measure from a rounded
/// mean, which lies within e of the largest magnitude from the true one. All other errors are below a
/// thousandth.
bool may_dominate(const MatFullD& m) {
  const long n = m.nrow(), d = m.ncol();
  const auto width = static_cast<std::size_t>(d);
  std::vector<double> sum(width), squares(width);
  for (long i = 0; i < n; ++i) add_row(m.data() + i * d, m.data(), d, sum.data(), squares.data());
  const double terms = static_cast<double>(n), e = (terms + 8) * 0x1p-53;
  double least_total = 0, largest = 0;
  for (std::size_t j = 0; j < width; ++j) {
    const double variance = squares[j] - sum[j] * sum[j] / terms;
    const double mean_error = e * (std::fabs(m.data()[j]) + std::sqrt(squares[j]));
    const double error = 8 * e * squares[j] + terms * mean_error * mean_error;
    least_total += variance - error;
    largest = std::max(largest, variance + error);
  }
  // Sums that are no numbers let the exact figures decide.
  return !(largest <= (most_of_one - 1e-3) * least_total);
}

/// Data whose prototype has no other datum.
long data_alone(const VeQuan& analysis) { return analysis.protnbr(1); }

}  // namespace

void Session::hint_data() const {
  const MatFullD& data = analysis_.getdat();
  if (!analysis_.verbose || data.ncol() < 2 || (data.nrow() > 0 && !may_dominate(data))) return;
  MatFullD variance;
  data.var(variance);
  const double total = variance.nrow() > 0 ? variance.sum(0, 1) : 0;
  for (long c = 0; c < variance.nrow() * variance.ncol(); ++c) {
    const double share = variance.data()[c] / total;
    if (share > most_of_one)
      tell("variable " + std::to_string(c) + " holds " + fixed(100 * share, 1) +
           " % of the variance: standardise?");
  }
}

void Session::hint_metric() const {
  if (!analysis_.verbose) return;
  if (analysis_.links_outdated()) tell("the links keep their lengths until the next quantization");
  const Metric metric = Metric::in_force();
  if (metric.is_cosine() || metric.miex >= least_exponent) return;
  if (metric.miex == 0)
    tell("with the exponent 0 every distance is 0");
  else
    tell("with so small an exponent distances are too large for a number");
}

bool Session::maps_along_links() {
  MatPrefT<double>& reals = analysis_.getdpref();
  return analysis_.wants_links() && reals.getval(reals.getkey("tdgb")) > 0;
}

void Session::hint_stress() {
  const long torn = analysis_.gettorn().links;
  if (analysis_.verbose && torn > 0 && analysis_.done(ToMapp::mfindone) && maps_along_links())
    tell("the stress is measured without the " + count(torn, "link that was torn", "links that were torn"));
}

void Session::hint_links(bool along_links) {
  const Torn& torn = analysis_.gettorn();
  if (torn.links > 0) {
    tell(count(torn.links, "link was", "links were") + " torn, of length " + fixed(torn.shortest, 2) +
         (torn.links == 1 ? "; vgteartt 0 keeps it" : " and more; vgteartt 0 keeps them"));
    hint_stress();
  }
  if (along_links || analysis_.ncomp() > 1) return;
  MatPrefT<double>& results = analysis_.getdpref();
  const double straight = results.getval(results.getkey("tdxs")),
               path = results.getval(results.getkey("tdxg"));
  if (straight > 0 && path > most_detour * straight)
    tell("tdgb is 0, so the map follows straight distances; along the links the farthest prototypes are " +
         fixed(path / straight, 1) + " times as far apart");
}

void Session::hint_spectrum() const {
  const Spectrum& found = analysis_.getspectrum();
  const long axes = analysis_.getmprot().ncol();
  // Axes without value come last, so the others have all positive eigenvalues: their share says nothing then.
  if (found.missing > 0) {
    tell("md: " + std::to_string(found.missing) + " of " + count(axes, "axis", "axes") +
         " without value: no positive eigenvalue is left for them");
  } else if (!found.at_most || found.share < 1) {
    tell("md: " + count(axes, "axis explains ", "axes explain ") + (found.at_most ? "at most " : "") +
         fixed(100 * found.share, 2) + " % of the positive eigenvalues");
  }
}

void Session::hint_mapping() {
  if (!analysis_.verbose || !analysis_.done(ToMapp::mfindone)) return;
  const bool along_links = maps_along_links();
  if (analysis_.wants_links()) hint_links(along_links);
  const bool scaled = std::strcmp(analysis_.getmname(), ToMapp::scaling_name) == 0;
  const long components = analysis_.ncomp();
  if (along_links && components > 1) {
    tell(scaled ? "there are " + std::to_string(components) +
                      " components: distances between them count as 0 in md"
                : "there are " + std::to_string(components) +
                      " components: each has a map of its own, placed apart by tdccsfac");
  }
  if (scaled) hint_spectrum();
  const double alone = static_cast<double>(data_alone(analysis_));
  const double all = static_cast<double>(analysis_.getused().nrow());
  if (alone > most_alone * all)
    tell(fixed(100 * alone / all, 1) + " % of the data are alone with their prototype");
}

void Session::hint_interpolation(const MatFullD& data, const MatFullD& positions) const {
  if (!analysis_.verbose || data.nrow() == 0) return;
  const long step = (data.nrow() + most_ranked - 1) / most_ranked;
  const std::optional<RankQuality> ranks = data_ranks(data, positions, step);
  if (!ranks) return;
  tell("rank quality of " + (step == 1 ? "the data" : "every " + std::to_string(step) + "th datum") +
       " on the map: space = " + fixed(ranks->area, 3) + ", trustworthiness = " +
       fixed(ranks->trustworthiness, 3) + ", continuity = " + fixed(ranks->continuity, 3));
}

void Session::hint_labels() const {
  MatFullL clusters, labels;
  const std::string file = loaded_ + ".lab";
  std::error_code unknown;
  if (!analysis_.verbose || !std::filesystem::exists(file, unknown) || !analysis_.clusters(clusters)) return;
  if (!read_labels(file, clusters.nrow(), labels)) {
    tell(file + " does not hold one integer for each of the " + count(clusters.nrow(), "datum", "data"));
    return;
  }
  for (const auto& [column, name] : {std::pair{0L, "prototypes"}, {1L, "components"}}) {
    const PartitionAgreement agreement(clusters, column, labels);
    tell(file + " and the " + name + ": adjusted Rand index = " + figure(agreement.adjusted_rand()) +
         ", purity = " + figure(agreement.purity()));
  }
}

}  // namespace qvtx
