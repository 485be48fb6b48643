#pragma once
// The hot loop of the text reader, compiled once per instruction set: numbers of lines that are rows. Results
// do not depend on it.

#include "base/kernel_choice.h"

namespace qvtx {

/// How far a row has been read.
struct RowPlace {
  long columns;   ///< numbers of a row
  long column;    ///< how many of them have been read
  bool line_end;  ///< the row is full, and a line end behind it has been read, too
};

/// Characters ahead of the text that the loop may look at, whatever they are, and the length of the pieces
/// that it takes; it leaves a shorter rest.
inline constexpr long line_margin = 16;
inline constexpr long line_piece = 64;

struct LineKernels {
  /// Reads at most `most` numbers from `text` on, which moves behind them, for as long as blanks and tabs
  /// stand between the numbers of a row and a line end between rows, and each is digits with at most one
  /// point, maybe behind a sign or ahead of an exponent. They are what `scan_number` makes of them. Returns
  /// how many; the place holds for the new position. All else, and what may go on behind `end`, is left to
  /// the caller. REQUIRES: text stands in a gap or at the begin of a number.
  long (*read)(const char*& text, const char* end, RowPlace& place, double* numbers, long most);
};

/// The loop of the instruction set in use.
const LineKernels& line_kernels();
QVTX_DECLARE_KERNEL(LineKernels, line_kernels)

}  // namespace qvtx
