#pragma once
// An analysis that would be lost, kept.

#include <string_view>

#include "mapping/tomapp.h"

namespace qvtx {

/// Writes the snapshot of the analysis and the trace into the working directory, as recovered.mbf and
/// recovered.trc, or recovered-2, recovered-3 ... when one of the two exists; says so, as the last line.
/// Nothing is said on the console.
void recover(const ToMapp& analysis, std::string_view trace);

}  // namespace qvtx
