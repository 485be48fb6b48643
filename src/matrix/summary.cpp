#include "matrix/summary.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

constexpr int label_width = 15;
/// From here on a double has no decimals; its digits would fill lines.
constexpr double least_powers = 1e15;

void row_label(Ostr& o, const std::string& label) {
  o.ow(label, std::max(label_width, static_cast<int>(label.size())));
}

void head(Ostr& o, const char* label, std::initializer_list<const char*> titles) {
  o.ow(label, label_width);
  for (const char* title : titles) o.ow("|   ").ow(title).ow(' ');
  o.ow("|").nl();
}

}  // namespace

Summary summarize(const MatFullD& m, long c) {
  const long n = m.nrow();
  Summary s;
  if (n == 0) return s;
  const long d = m.ncol();
  const double* x = m.data() + c;
  double low = std::numeric_limits<double>::infinity();
  double high = -low;
  long double sum = 0;
  for (long i = n - 1; i >= 0; --i) {
    low = std::min(low, x[i * d]);
    high = std::max(high, x[i * d]);
    sum += x[i * d];
  }
  const double mean = static_cast<double>(sum / static_cast<long double>(n));
  long double squares = 0;
  for (long i = n - 1; i >= 0; --i) {
    const long double t = static_cast<long double>(x[i * d]) - mean;
    squares += t * t;
  }
  const double deviation = std::sqrt(static_cast<double>(squares / static_cast<long double>(n)));
  return {{low, mean - deviation, mean, mean + deviation, high}};
}

void summary_head(Ostr& o, const char* label) { head(o, label, {"min.", "-std", "mean", "+std", "max."}); }

void range_head(Ostr& o, const char* label) { head(o, label, {"min.", "max."}); }

Ostr& put_figure(Ostr& o, double x, int width, int decimals) {
  if (!(std::fabs(x) >= least_powers) || std::isinf(x)) return o.ow(x, width, decimals);
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, x, std::chars_format::scientific, decimals).ptr;
  return o.ow(std::string(text, end));
}

void table_row(Ostr& o, const std::string& label, const double* numbers, int count) {
  row_label(o, label);
  for (int k = 0; k < count; ++k) put_figure(o.ow("| "), numbers[k], 6, 2).ow(' ');
  o.ow("|").nl();
}

void table_row(Ostr& o, const std::string& label, const Summary& summary) {
  table_row(o, label, summary.figure, summary_figures);
}

void table_dashes(Ostr& o, const std::string& label, int count) {
  row_label(o, label);
  for (int k = 0; k < count; ++k) o.ow("| ").ow('-', 6).ow(' ');
  o.ow("|").nl();
}

void table_note(Ostr& o, const std::string& label, const char* note) {
  row_label(o, label);
  o.ow("| ").ow(note).nl();
}

}  // namespace qvtx
