#pragma once
// Who the program says it is.

namespace qvtx {

inline constexpr const char* version = "0.1.0";
inline constexpr const char* banner_line_1 = "qvtx: vector quantization and projection of numeric data";
inline constexpr const char* banner_line_2 =
    "Comments and questions: README.md tells where the manual is and where to send them";

}  // namespace qvtx
