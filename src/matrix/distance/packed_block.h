#pragma once
// The block of packed rows, alone in a header that kernels can include.

namespace qvtx {

/// Rows of which PackedRows keeps a coordinate side by side: a whole number of vectors of every width.
inline constexpr long packed_block_rows = 8;

}  // namespace qvtx
