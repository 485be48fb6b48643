#pragma once
// What a refused binary matrix holds instead.

#include <string>

#include "matrix/file_report.h"

namespace qvtx {

/// True when the file begins like text: no control characters but white space among its first bytes. Also for
/// an empty file and one that does not open.
bool looks_like_text(const char* name);

/// Completes the report of a binary matrix that was refused. width: bytes per element that were expected.
void inspect_binary(ReadReport& report, long width);

/// A character that no text holds: below the blank, white space apart.
bool is_control(char c);

/// "rows x columns".
std::string shape(long rows, long columns);

}  // namespace qvtx
