#include "base/ostr.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

#include "base/ending.h"

namespace qvtx {
namespace {

/// Unformatted writing: the text never depends on the width, flags or locale of the stream.
void put(std::ostream& out, std::string_view text) {
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void repeat(std::ostream& out, char c, long n) {
  for (; n > 0; --n) out.put(c);
}

void put_right(std::ostream& out, std::string_view text, int width) {
  repeat(out, ' ', width - static_cast<long>(text.size()));
  put(out, text);
}

/// The digits of a number without the sign of "-0.00".
std::string_view unsigned_zero(std::string_view text) {
  const bool zero = text.front() == '-' && text.find_first_not_of("0.", 1) == std::string_view::npos;
  return zero ? text.substr(1) : text;
}

long digits(long n) { return n < 10 ? 1 : 1 + digits(n / 10); }

}  // namespace

Ostr os(std::cout);

Ostr::Ostr() : Ostr(std::cerr) {}

Ostr::Ostr(std::ostream& out) : stream(&out) { init(); }

void Ostr::init() {
  width = 6;
  precision = 2;
  fill = ' ';
  depth = 0;
  step = 2;
  begun = noindent = 0;
  sep = '|';
  marks = span = total = count = 0;
  stream->setf(std::ios_base::fixed | std::ios_base::left | std::ios_base::internal);
}

Ostr& Ostr::lind() {
  if (noindent != 0) {
    noindent = 0;
    begun = 1;
  } else if (begun == 0) {
    repeat(*stream, fill, depth * step);
    begun = 1;
  }
  return *this;
}

Ostr& Ostr::nl() {
  stream->put('\n');
  begun = 0;
  return *this;
}

Ostr& Ostr::fresh() { return begun != 0 ? nl() : *this; }

Ostr& Ostr::flush() {
  stream->flush();
  return *this;
}

Ostr& Ostr::ow(char c, int w) {
  lind();
  put_right(*stream, std::string_view(&c, 1), w);
  return *this;
}

Ostr& Ostr::ow(const char* s, int w) {
  lind();
  if (w < 1) {
    put(*stream, s);
    return *this;
  }
  // Looks at no more than w characters, so that a fixed-width label needs no terminating zero.
  const auto field = static_cast<std::size_t>(w);
  const std::string_view text(s, ::strnlen(s, field));
  put(*stream, text);
  repeat(*stream, ' ', static_cast<long>(field - text.size()));
  return *this;
}

Ostr& Ostr::ow(const std::string& s, int w) { return ow(s.c_str(), w); }

Ostr& Ostr::ow(double x, int w, int p) {
  lind();
  const int field = w < 1 ? static_cast<int>(width) : w;
  const int decimals = p < 1 ? static_cast<int>(precision) : p;
  if (std::isnan(x)) x = std::fabs(x);  // the sign of a NaN depends on compiler and processor
  // A double has at most 309 digits before the point; only an absurd precision leaves the stack.
  char buffer[512];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, x, std::chars_format::fixed, decimals);
  if (result.ec == std::errc()) {
    put_right(*stream, unsigned_zero({buffer, static_cast<std::size_t>(result.ptr - buffer)}), field);
    return *this;
  }
  std::string big(static_cast<std::size_t>(decimals) + 320, '\0');
  const auto end =
      std::to_chars(big.data(), big.data() + big.size(), x, std::chars_format::fixed, decimals).ptr;
  big.resize(static_cast<std::size_t>(end - big.data()));
  put_right(*stream, unsigned_zero(big), field);
  return *this;
}

Ostr& Ostr::ow(const std::optional<double>& x, int w, int p) {
  return x ? ow(*x, w, p) : ow('-', w < 1 ? static_cast<int>(width) : w);
}

Ostr& Ostr::ow(long x, int w) {
  lind();
  char buffer[24];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, x).ptr;
  put_right(*stream, std::string_view(buffer, static_cast<std::size_t>(end - buffer)), w);
  return *this;
}

Ostr& Ostr::ow(int x, int w) { return ow(static_cast<long>(x), w); }

Ostr& Ostr::tb(int n) {
  fresh();
  span = std::max(n, 1);
  count = total = 0;
  return *this;
}

Ostr& Ostr::te() {
  lind();
  stream->put(' ').put(sep);
  return le();
}

Ostr& Ostr::tsep() {
  lind();
  stream->put(' ');
  if (++count == 1) stream->put(sep).put('\n');
  if (total != 0) count %= total;
  stream->put(sep).put(' ');
  return *this;
}

Ostr& Ostr::le() {
  nl();
  span = total = count = 0;
  return *this;
}

Ostr& Ostr::lb(long n) {
  fresh();
  total = std::max(n, 1L);
  span = digits(total);
  count = 0;
  return *this;
}

Ostr& Ostr::lp(int inplace) {
  if (count > 0 && begun != 0) {
    stream->put(inplace != 0 ? '\r' : '\n');
    begun = 0;
  }
  ++count;
  const int field = static_cast<int>(span);
  ow("loop ").ow(count, field).ow('/').ow(total, field).ow(' ');
  return flush();
}

Ostr& Ostr::wbb(long n, int w) {
  fresh();
  span = std::clamp(w, 10, 60);
  total = n;
  marks = count = 0;
  lind();
  repeat(*stream, '_', span);
  return nl();
}

Ostr& Ostr::wbp() {
  if (count >= total) return *this;
  lind();
  ++count;
  // In floating point, since count * span may exceed a long; both products are exact for any bar that can
  // end.
  const double due = static_cast<double>(count) * static_cast<double>(span);
  for (; static_cast<double>(marks) * static_cast<double>(total) < due; ++marks) stream->put('^');
  return flush();
}

Ostr& Ostr::wbe() {
  marks = 0;
  return le();
}

void end_program() {
  os.flush();
  run_last_action();
  std::exit(0);
}

}  // namespace qvtx
