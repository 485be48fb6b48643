#include "settings/value_text.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

template <class Real>
Real parsed(const char* begin, const char* end) {
  Real x = std::numeric_limits<Real>::quiet_NaN();
  std::from_chars(begin, end, x);
  return x;
}

/// Does the text identify v, at the precision that v carries?
bool identifies(const char* begin, const char* end, double v) {
  if (parsed<double>(begin, end) == v) return true;
  if (std::fabs(v) > static_cast<double>(std::numeric_limits<float>::max())) return false;
  const float single = static_cast<float>(v);
  return static_cast<double>(single) == v && parsed<float>(begin, end) == single;
}

}  // namespace

std::string value_text(long v) { return std::to_string(v); }

std::string value_text(double v) {
  constexpr int most_digits = std::numeric_limits<double>::max_digits10;
  char text[40];
  char* end = text;
  for (int digits = 6; digits <= most_digits; ++digits) {
    end = std::to_chars(text, text + sizeof text, v, std::chars_format::general, digits).ptr;
    if (identifies(text, end, v)) break;
  }
  return std::string(text, end);
}

// -(double)LONG_MIN is the power of two just beyond the largest long, which itself need not be a double.
template <>
bool representable<long>(double x) {
  constexpr double lowest = static_cast<double>(std::numeric_limits<long>::min());
  const double rounded = std::round(x);
  return rounded >= lowest && rounded < -lowest;
}

template <>
bool representable<double>(double) {
  return true;
}

template <>
long nearest_value<long>(double x) {
  if (representable<long>(x)) return static_cast<long>(std::round(x));
  if (std::isnan(x)) return 0;
  return x < 0 ? std::numeric_limits<long>::min() : std::numeric_limits<long>::max();
}

template <>
double nearest_value<double>(double x) {
  return x;
}

}  // namespace qvtx
