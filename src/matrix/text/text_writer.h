#pragma once
// Text output in blocks: the fields of the text matrices.

#include <array>
#include <cstdio>
#include <iosfwd>
#include <string_view>

#include "base/ostr.h"

namespace qvtx {

/// Collects text and hands it on in blocks, to a C stream or a standard stream. The bytes depend neither on
/// the flags nor on the locale of the stream. Nothing is handed on by the destructor: call `flush`.
class TextWriter {
 public:
  explicit TextWriter(std::FILE* file) : file_(file) {}
  explicit TextWriter(std::ostream& stream) : stream_(&stream) {}

  void put(char c);
  /// Right-aligned in a field of `width` characters; a longer value is written whole.
  void put(long value, int width = 0);
  /// In fixed notation with six decimals, correctly rounded (ties to the even digit), as "%f" writes it; a
  /// NaN has no sign, since that depends on compiler and processor.
  void put(double value, int width);
  /// Hands the collected text on.
  void flush();

 private:
  void put_field(std::string_view text, int width);

  std::FILE* file_ = nullptr;
  std::ostream* stream_ = nullptr;
  std::size_t used_ = 0;
  std::array<char, 16384> block_;
};

/// Lines of values in the layout of the text matrices: each value is followed by a tab, and on a console
/// every line is indented like the text around it.
class TextTable {
 public:
  /// console: the stream behind the writer, null when the text goes to a file.
  TextTable(TextWriter& writer, Ostr* console) : writer_(writer), console_(console) {}

  /// The two lines that open a text with header.
  void header(long rows, long columns);
  void begin_line();
  void put(double value);
  void put(long value);
  void put(int value) { put(long{value}); }
  /// The code, which is signed whatever the platform's char is.
  void put(char value) { put(long{static_cast<signed char>(value)}); }
  /// Lines of a console are handed on at once, those of a file in blocks.
  void end_line();
  void end() { writer_.flush(); }

 private:
  void header_line(long count, long columns);

  TextWriter& writer_;
  Ostr* console_;
};

}  // namespace qvtx
