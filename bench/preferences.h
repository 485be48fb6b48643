#pragma once
// The shipped settings for benchmarks.

#include <filesystem>
#include <fstream>

namespace qvtx {

/// The shipped preference file, open for reading.
inline std::ifstream default_preferences() {
  return std::ifstream(std::filesystem::path(__FILE__).parent_path() / "../examples/Qvtx.prf");
}

}  // namespace qvtx
