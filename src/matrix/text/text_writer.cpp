#include "matrix/text/text_writer.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>

namespace qvtx {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr int header_width = 6;
constexpr int value_width = 10;

/// Longest field: 309 digits, point, six decimals and sign of the largest double.
constexpr std::size_t longest_field = 320;

/// Nearest integer to |x| * 10^6, ties to the even one. REQUIRES: |x| < 2^43, so that the result has less
/// than 64 bits.
std::uint64_t millionths(double x) {
  const auto bits = std::bit_cast<std::uint64_t>(x);
  const auto exponent = static_cast<int>(bits >> 52 & 0x7ff);
  // |x| = significand * 2^-shift. A shift of 100 already takes every product (below 2^73) to 0.
  const std::uint64_t significand = (bits & ((std::uint64_t{1} << 52) - 1)) | std::uint64_t{exponent != 0}
                                                                                  << 52;
  const int shift = 1075 - exponent;
  if (shift > 100) return 0;
  const Wide product = Wide{significand} * 1000000;
  auto quotient = static_cast<std::uint64_t>(product >> shift);
  const Wide rest = product & ((Wide{1} << shift) - 1);
  const Wide half = Wide{1} << (shift - 1);
  if (rest > half || (rest == half && (quotient & 1) != 0)) ++quotient;
  return quotient;
}

/// Writes x at `out` and returns the end of the text.
char* write_fixed(char* out, char* limit, double x) {
  if (std::isnan(x)) x = std::fabs(x);
  if (!(std::fabs(x) < 0x1p43)) return std::to_chars(out, limit, x, std::chars_format::fixed, 6).ptr;
  if (std::signbit(x)) *out++ = '-';
  const std::uint64_t scaled = millionths(x);
  out = std::to_chars(out, limit, scaled / 1000000).ptr;
  *out = '.';
  auto decimals = static_cast<std::uint32_t>(scaled % 1000000);
  for (int k = 6; k > 0; --k, decimals /= 10) out[k] = static_cast<char>('0' + decimals % 10);
  return out + 7;
}

}  // namespace

void TextWriter::put(char c) {
  if (used_ == block_.size()) flush();
  block_[used_++] = c;
}

void TextWriter::put_field(std::string_view text, int width) {
  if (block_.size() - used_ < longest_field) flush();
  for (auto k = static_cast<long>(text.size()); k < width; ++k) block_[used_++] = ' ';
  std::memcpy(&block_[used_], text.data(), text.size());
  used_ += text.size();
}

void TextWriter::put(long value, int width) {
  char text[24];
  const char* const end = std::to_chars(text, text + sizeof text, value).ptr;
  put_field({text, static_cast<std::size_t>(end - text)}, width);
}

void TextWriter::put(double value, int width) {
  char text[longest_field];
  const char* const end = write_fixed(text, text + sizeof text, value);
  put_field({text, static_cast<std::size_t>(end - text)}, width);
}

void TextWriter::flush() {
  // A failing write shows when the stream is closed, or in the state of the standard stream.
  if (file_ != nullptr) {
    std::fwrite(block_.data(), 1, used_, file_);
  } else {
    stream_->write(block_.data(), static_cast<std::streamsize>(used_));
  }
  used_ = 0;
}

// ---- Tables ----

void TextTable::header(long rows, long columns) {
  header_line(columns, columns);
  header_line(rows, columns);
}

void TextTable::header_line(long count, long columns) {
  begin_line();
  for (long j = 0; j < columns; ++j) {
    writer_.put(j == 0 ? count : 0, header_width);
    writer_.put('\t');
  }
  end_line();
}

void TextTable::begin_line() {
  if (console_ != nullptr) console_->lind();
}

void TextTable::put(double value) {
  writer_.put(value, value_width);
  writer_.put('\t');
}

void TextTable::put(long value) {
  writer_.put(value, value_width);
  writer_.put('\t');
}

void TextTable::end_line() {
  if (console_ == nullptr) return writer_.put('\n');
  writer_.flush();
  console_->nl();
}

}  // namespace qvtx
