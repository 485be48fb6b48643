#pragma once
// Console output with indentation, default number formats, tables, a loop counter and a progress bar.

#include <iosfwd>
#include <optional>
#include <string>

namespace qvtx {

/// A thin wrapper round an output stream. Every writing operation first performs the indentation step: unless
/// the current line has begun, depth x step fill characters are written. All operations return the object, so
/// that calls chain. Real numbers are written in fixed notation and padded on the left.
class Ostr {
 public:
  /// Wraps standard error.
  Ostr();
  /// Wraps out, which must outlive the object. Its width, flags and locale do not matter to what is written.
  explicit Ostr(std::ostream& out);
  Ostr(const Ostr&) = default;
  Ostr& operator=(const Ostr&) = default;

  /// Resets every field but the stream to its initial value, and the stream's format flags to fixed, left,
  /// internal.
  void init();

  /// Writes c, right-justified in a field of w characters.
  Ostr& ow(char c, int w = 1);
  /// Writes s whole (w < 1), or exactly w characters of it: cut, or padded with blanks on the right.
  Ostr& ow(const char* s, int w = 0);
  Ostr& ow(const std::string& s, int w = 0);
  /// Writes x with field width w and p decimals; w < 1 takes the default width, p < 1 the default precision.
  /// A value wider than its field is written whole. "inf", "-inf"; "nan" and what rounds to 0 without
  /// a sign.
  Ostr& ow(double x, int w = 0, int p = 0);
  /// The same for a number that may have no value: then a dash in its field.
  Ostr& ow(const std::optional<double>& x, int w = 0, int p = 0);
  /// Writes an integer right-justified in w characters, or bare (w < 1).
  Ostr& ow(long x, int w = 0);
  Ostr& ow(int x, int w = 0);

  /// The indentation step alone.
  Ostr& lind();
  /// Ends the line and clears `begun`.
  Ostr& nl();
  /// Ends the line if it has begun.
  Ostr& fresh();
  Ostr& flush();

  // Tables.
  /// Ends a begun line and starts a table of max(n, 1) columns.
  Ostr& tb(int n);
  /// Blank, separator, line end; the table is over.
  Ostr& te();
  /// Ends a cell: blank, separator, blank. The first separator after `tb` also ends the header line. The cell
  /// count starts again after `total` cells, never when that is 0.
  Ostr& tsep();

  // Loop counter.
  /// Ends a begun line and starts a counter of n steps (at least 1).
  Ostr& lb(long n);
  /// One step: "loop ", its number, "/", the total, a blank; flushed. It overwrites the previous step when
  /// inplace is non-zero and stands on a line of its own otherwise.
  Ostr& lp(int inplace);
  /// Ends the line; the counter is over.
  Ostr& le();

  // Progress bar.
  /// Ends a begun line and writes the line of w underscores (clamped to 10..60) under which n steps place
  /// their marks.
  Ostr& wbb(long n, int w);
  /// One step: marks are written as soon as their share of the steps is done, w of them after n steps. Steps
  /// beyond n write nothing.
  Ostr& wbp();
  /// Share of the bar's steps that are done, in 0 .. 1.
  double bar_share() const {
    return total > 0 ? static_cast<double>(count) / static_cast<double>(total) : 1.0;
  }
  /// Ends the line; the bar is over.
  Ostr& wbe();

  std::ostream* stream;  ///< where all text goes
  long width = 6;        ///< default field width of numbers
  long precision = 2;    ///< default number of decimals
  char fill = ' ';       ///< indentation character
  long depth = 0;        ///< indentation depth; callers raise it round a nested report
  long step = 2;         ///< fill characters per depth level
  long begun = 0;        ///< non-zero once the indentation of the current line is written
  long noindent = 0;     ///< non-zero: the next write skips the indentation once
  char sep = '|';        ///< table separator
  long marks = 0;        ///< progress bar: marks printed
  long span = 0;         ///< bar width, digits of the loop counter, or table columns
  long total = 0;        ///< steps of the bar or counter
  long count = 0;        ///< steps done, or table cells written
};

/// The console: standard output.
extern Ostr os;

/// Raises the indentation depth of a stream for the lifetime of the object.
class Indent {
 public:
  explicit Indent(Ostr& o) : o_(o) { ++o_.depth; }
  ~Indent() { --o_.depth; }
  Indent(const Indent&) = delete;
  Indent& operator=(const Indent&) = delete;

 private:
  Ostr& o_;
};

/// Ends the program with status 0 after flushing `os` and the last action (base/ending.h): the end of every
/// report of a programming error, on purpose not an error status.
[[noreturn]] void end_program();

}  // namespace qvtx
