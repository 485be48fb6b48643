#pragma once
// Five figures that summarise a set of numbers, and the tables that reports print them in.

#include <string>

#include "matrix/matfulld.h"

namespace qvtx {

/// Minimum, mean minus population deviation, mean, mean plus deviation, maximum; zeros for no numbers.
struct Summary {
  double figure[5] = {};
};

inline constexpr int summary_figures = 5;

/// Summary of column c of m.
Summary summarize(const MatFullD& m, long c);

/// Head line of a table: a label of 15 characters, then "min.", "-std", "mean", "+std", "max.".
void summary_head(Ostr& o, const char* label);
/// Head line with the first and the last of these only.
void range_head(Ostr& o, const char* label);
/// A number with so many decimals in a field of this width, which wider ones widen; from 1e15 on with a power
/// of ten.
Ostr& put_figure(Ostr& o, double x, int width, int decimals);
/// A line of a table: the label, then each number in 6 characters with 2 decimals.
void table_row(Ostr& o, const std::string& label, const double* numbers, int count);
void table_row(Ostr& o, const std::string& label, const Summary& summary);
/// The same with dashes in the place of numbers that have no value, and with a note in the place of all of
/// them.
void table_dashes(Ostr& o, const std::string& label, int count);
void table_note(Ostr& o, const std::string& label, const char* note);

}  // namespace qvtx
