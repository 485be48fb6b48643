#pragma once
// The shipped settings for benchmarks.

#include <fstream>

namespace qvtx {

/// The shipped preference file, open for reading.
inline std::ifstream default_preferences() { return std::ifstream(QVTX_SOURCE_DIR "/examples/Qvtx.prf"); }

}  // namespace qvtx
