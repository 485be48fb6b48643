#pragma once
// A second, slow look at a matrix file, to tell people what the reader only noticed.

#include "matrix/file_report.h"

namespace qvtx {

/// Completes the report of a text matrix that was refused or that does not hold its file line by line: `line`
/// and `remark` name the first word that is no number, the first line with another count of numbers than a
/// row, or what does not fit the header. Nothing is written when none of these is found.
/// REQUIRES: the other fields are those of the load.
void inspect_text(ReadReport& report);

}  // namespace qvtx
