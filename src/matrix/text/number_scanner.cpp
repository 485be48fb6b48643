#include "matrix/text/number_scanner.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <system_error>

#include "base/files.h"

namespace qvtx {
namespace {

constexpr std::size_t block_bytes = 65536;

/// Powers of ten that a double holds exactly.
constexpr double power_of_ten[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
/// 10^23 ... 10^27 have at most 63 significant bits.
constexpr long double large_power_of_ten[] = {1e23L, 1e24L, 1e25L, 1e26L, 1e27L};

bool is_digit(char c) { return static_cast<unsigned char>(c - '0') < 10; }
bool is_space(char c) { return c == ' ' || static_cast<unsigned char>(c - '\t') < 5; }

/// The number's parts as they are scanned: (-1)^negative * mantissa * 10^exponent.
struct Decimal {
  std::uint64_t mantissa = 0;  ///< exact when digits <= 19
  long digits = 0;             ///< digits of the mantissa, leading zeros included
  long exponent = 0;
};

/// Consumes digits into the mantissa; it wraps beyond 19 digits and is not used then.
const char* scan_digits(const char* p, std::uint64_t& mantissa) {
  for (; is_digit(*p); ++p) mantissa = 10 * mantissa + static_cast<std::uint64_t>(*p - '0');
  return p;
}

/// Consumes "e", sign and digits; returns false when there is no digit. The exponent saturates far beyond the
/// range of a double for any number of mantissa digits that memory can hold.
bool scan_exponent(const char*& p, long& exponent) {
  ++p;
  const bool negative = *p == '-';
  if (negative || *p == '+') ++p;
  if (!is_digit(*p)) return false;
  long value = 0;
  for (; is_digit(*p); ++p) {
    if (value < std::numeric_limits<long>::max() / 100) value = 10 * value + (*p - '0');
  }
  exponent += negative ? -value : value;
  return true;
}

/// The exact cases of W. D. Clinger, "How to read floating point numbers accurately" (1990): mantissa and
/// power of ten are doubles without error, so that the one operation rounds correctly.
bool convert_exactly(const Decimal& d, double& value) {
  if (d.mantissa > (std::uint64_t{1} << 53) || d.exponent < -22 || d.exponent > 22) return false;
  value = static_cast<double>(d.mantissa);
  if (d.exponent < 0) {
    value /= power_of_ten[-d.exponent];
  } else {
    value *= power_of_ten[d.exponent];
  }
  return true;
}

/// The same in the 64-bit significands of x87, for 16 to 19 digits. The quotient is rounded twice, which only
/// matters when the first rounding hits the middle between two doubles (rounding is monotone, and that middle
/// is representable in 64 bits); such a quotient is refused.
bool convert_extended(const Decimal& d, double& value) {
  if constexpr (std::numeric_limits<long double>::digits == 64) {
    if (d.exponent > 0 || d.exponent < -27) return false;
    const long e = -d.exponent;
    const long double scale = e > 22 ? large_power_of_ten[e - 23] : static_cast<long double>(power_of_ten[e]);
    const long double quotient = static_cast<long double>(d.mantissa) / scale;
    std::uint64_t significand;
    std::memcpy(&significand, &quotient, sizeof significand);
    if ((significand & 0x7ff) == 0x400) return false;
    value = static_cast<double>(quotient);
    return true;
  }
  return false;
}

bool convert(const Decimal& d, double& value) {
  return convert_exactly(d, value) || convert_extended(d, value);
}

/// Any number, from its characters without the sign. The C function decides between overflow and underflow,
/// which std::from_chars reports alike.
double convert_text(const char* begin, const char* end) {
  double value = 0;
  if (std::from_chars(begin, end, value).ec != std::errc()) value = std::strtod(begin, nullptr);
  return value;
}

inline ScannedNumber scan(const char* text) {
  const char* p = text;
  const bool negative = *p == '-';
  if (negative || *p == '+') ++p;
  const char* const begin = p;
  Decimal decimal;
  p = scan_digits(p, decimal.mantissa);
  decimal.digits = p - begin;
  if (*p == '.') {
    const char* const fraction = ++p;
    p = scan_digits(p, decimal.mantissa);
    decimal.exponent = fraction - p;
    decimal.digits += p - fraction;
  }
  if (decimal.digits == 0) return {0, p, false};
  if ((*p == 'e' || *p == 'E') && !scan_exponent(p, decimal.exponent)) return {0, p, false};
  double value;
  if (decimal.digits > 19 || !convert(decimal, value)) {
    value = convert_text(begin, p);
  }
  const bool valid = value <= std::numeric_limits<double>::max();
  if (!valid) value = std::numeric_limits<double>::max();
  return {negative ? -value : value, p, valid};
}

}  // namespace

ScannedNumber scan_number(const char* text) { return scan(text); }

bool convert_decimal(std::uint64_t mantissa, long exponent, double& value) {
  return convert({mantissa, 0, exponent}, value);
}

FileNumbers::FileNumbers(std::FILE* f)
    : file_(f), block_(line_margin + block_bytes + 1), next_(block_.data() + line_margin), end_(next_) {}

/// Reads further bytes behind the unread ones, which move to the front; false at the end of the file.
bool FileNumbers::refill() {
  if (exhausted_) return false;
  const auto unread = static_cast<std::size_t>(end_ - next_);
  std::memmove(block_.data() + line_margin, next_, unread);
  // A number that fills the whole block goes on behind it. Doubling keeps the repeated scans of it linear.
  if (line_margin + unread == block_.size() - 1) block_.resize(2 * block_.size() - 1);
  char* const front = block_.data() + line_margin;
  const std::size_t got = std::fread(front + unread, 1, block_.size() - 1 - line_margin - unread, file_);
  exhausted_ = got == 0;
  front[unread + got] = '\0';
  next_ = front;
  end_ = next_ + unread + got;
  return got > 0;
}

/// False at the end of the file.
bool FileNumbers::skip_space() {
  for (;;) {
    while (is_space(*next_)) ++next_;
    if (next_ != end_) return true;
    if (!refill()) return false;
  }
}

double FileNumbers::number() {
  if (failed_ || !skip_space()) {
    failed_ = true;
    return 0;
  }
  ScannedNumber scanned = scan(next_);
  // A number that reaches the end of the block may go on in the next one. Even a vain refill moves the bytes.
  while (scanned.end == end_ && !exhausted_) {
    refill();
    scanned = scan(next_);
  }
  next_ = scanned.end;
  failed_ = !scanned.valid;
  return scanned.value;
}

long FileNumbers::lines(RowPlace& place, double* numbers, long most) {
  constexpr int most_vain = 63;
  if (rest_ > 0) return --rest_, 0;
  if (end_ - next_ < line_piece) refill();
  const char* const begin = next_;
  const long count = line_kernels().read(next_, end_, place, numbers, most);
  if (count > 0) width_ = static_cast<double>(next_ - begin) / static_cast<double>(count);
  // A text of another layout is not looked at in vain each time.
  vain_ = count > 0 ? 0 : std::min(2 * vain_ + 1, most_vain);
  rest_ = vain_;
  return count;
}

long FileNumbers::expected() const {
  if (width_ == 0) return 0;
  return static_cast<long>(static_cast<double>(bytes_left(file_) + (end_ - next_)) / width_);
}

long FileNumbers::capacity() const {
  const long behind = bytes_left(file_);
  return behind < 0 ? -1 : (behind + (end_ - next_) + 1) / 2;
}

int StreamNumbers::look() {
  while (in_.good()) {
    const int c = in_.peek();
    if (c != ' ' && c != '\t') return c;
    in_.get();
  }
  return -1;
}

}  // namespace qvtx
