#pragma once
// Who the program says it is.

namespace qvtx {

/// What --version prints: the number that `project` in CMakeLists.txt gives.
extern const char* const version;

inline constexpr const char* banner_line_1 = "qvtx: vector quantization and projection of numeric data";
inline constexpr const char* banner_line_2 =
    "Comments and questions: README.md tells where the manual is and where to send them";

}  // namespace qvtx
