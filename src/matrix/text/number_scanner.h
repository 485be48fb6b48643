#pragma once
// Numbers read from text: what `std::istream >> double` of the C locale reads, from a stream or, much faster,
// from a file taken in blocks.
//
// Both sources offer the same operations, for which the reader of the text matrices is a template:
//   number()   the next number, white space before it skipped; after a failure 0, and nothing more can be
//   read failed()   whether an extraction has failed look()     the next character after blanks and tabs, not
//   consumed; -1 at the end or after a failure take()     consumes the character that look() returned
//   capacity() an upper bound of how many numbers can still follow; -1 when it is unknown
//   expected() how many numbers may follow, a guess
//   lines()    as many of the next numbers as stand in lines that are rows, at most `most`, and maybe fewer

#include <cstdint>
#include <cstdio>
#include <istream>
#include <vector>

#include "matrix/text/line_kernels.h"

namespace qvtx {

/// What the standard extraction makes of the characters from `text` on.
struct ScannedNumber {
  double value;     ///< 0 for a malformed number, the largest finite number (with its sign) for one too large
  const char* end;  ///< first character that the extraction leaves
  bool valid;       ///< false: the extraction fails
};

/// Extracts a number as `std::istream >> double` does in the C locale: a sign, digits with at most one point,
/// and after a digit "e" or "E" with an optional sign and digits. All characters of that form are consumed,
/// even when they make no number ("1e", "+", "."). No hexadecimal numbers, no "nan" or "inf". Underflow is no
/// failure. The result is the double nearest to the decimal number. REQUIRES: no white space at `text`; the
/// text ends with a zero character.
ScannedNumber scan_number(const char* text);

/// The double nearest to mantissa * 10^exponent, when one operation can tell it: true for most numbers with
/// exponents from -27 to 0 and for small mantissas with exponents up to 22.
bool convert_decimal(std::uint64_t mantissa, long exponent, double& value);

/// The numbers of a C stream, read in blocks of 64 KiB; only a single number longer than that takes more.
class FileNumbers {
 public:
  /// Reads from the present position of f, which stays open and ends up at no defined position.
  explicit FileNumbers(std::FILE* f);

  double number();
  bool failed() const { return failed_; }
  int look() {
    if (failed_) return -1;
    for (;;) {
      while (*next_ == ' ' || *next_ == '\t') ++next_;
      if (next_ != end_) return static_cast<unsigned char>(*next_);
      if (!refill()) return -1;
    }
  }
  void take() { ++next_; }
  /// The first number takes one byte, each further one at least two.
  long capacity() const;
  /// Not behind a failure, and at a gap or the begin of a number. See `LineKernels::read`.
  long lines(RowPlace& place, double* numbers, long most);
  /// How many numbers may follow, going by those that `lines` read last.
  long expected() const;

 private:
  bool skip_space();
  bool refill();

  std::FILE* file_;
  std::vector<char> block_;  ///< a margin, unread bytes, then a zero character that stops every scan
  const char* next_;         ///< first unread byte
  const char* end_;          ///< the zero character
  bool exhausted_ = false;   ///< the file has no further bytes
  bool failed_ = false;
  double width_ = 0;  ///< characters of a number, as `lines` found last
  int vain_ = 0;      ///< calls of `lines` that will not try, and
  int rest_ = 0;      ///< how many of them are left
};

/// The numbers of a standard stream. Takes no character beyond those that the extractions and `take` consume,
/// so that other text may follow on the stream. The state of the stream tells the end and a failure as usual.
class StreamNumbers {
 public:
  explicit StreamNumbers(std::istream& in) : in_(in) {}

  double number() {
    double value = 0;
    in_ >> value;
    return value;
  }
  bool failed() const { return in_.fail(); }
  int look();
  void take() { in_.get(); }
  long capacity() const { return -1; }
  long lines(RowPlace&, double*, long) { return 0; }
  long expected() const { return 0; }

 private:
  std::istream& in_;
};

}  // namespace qvtx
