#pragma once
// Iteration schedules: one row per iteration, one column per parameter.

#include "matrix/matfulld.h"

namespace qvtx {

/// A table of decreasing parameters: row i holds those of iteration i. Column 0 is the step size of a method,
/// column 1 its second parameter, mostly the neighbourhood width.
class MatParaD : public MatFullD {
 public:
  using MatFullD::MatFullD;
  using MatFullD::set;

  /// n > 0: appends n rows of zeros; n <= 0: removes -n rows from the end, at most all. Returns the row
  /// count.
  long additer(long n);
  /// Fills column col from row fidx to row lidx (negative or beyond the last: the last) with the law kind
  /// from fval down to lval, over n = lidx - fidx steps; i is the row number itself, so that a column with
  /// fidx > 0 starts part-way down the curve and ends beyond lval:
  ///   1  linear        fval + i (lval - fval) / n
  ///   2  exponential   fval ((lval / fval)^(1/n))^i
  ///   3  hyperbolic    (fval lval n / (fval - lval)) / (n lval / (fval - lval) + i)
  /// Another kind leaves the rows as they are; equal values make it 1. Row 0 gets exactly fval, row n exactly
  /// lval, and rounding takes no row between them out of [lval, fval]; hyperbolic down to 0 is 0 from row 1
  /// on. Fatal: m 191 with argument 2 for col, 5 for fidx; m 191 with the text "lidx<=fidx", "fval<0.00",
  /// "lval<0.00" or "fval<lval", tested in this order.
  void set(int kind, long col, double fval, double lval, long fidx, long lidx);
  /// 1 when there are at least k columns and no value in the first k is negative (NaN is not), else 0.
  int control(long k) const;
};

/// Loads the schedule of an iterative method: the given file (when not null), else the default file (when not
/// null). False when neither holds a complete row: sched then has no row. The messages are those of the text
/// reader.
bool load_schedule(MatParaD& sched, const char* file, const char* default_file, int verbose);

}  // namespace qvtx
