#pragma once
// The storage in which MatFullD::nearest_all prepares the rows that it searches.

#include "matrix/distance/nearest_filter.h"
#include "matrix/distance/packed_rows.h"

namespace qvtx {

/// Every search fills it anew. Lent to one after the other it saves their allocations, nothing else.
struct NearestMemory {
  PackedRows packed;
  distance::NearestFilter filter;
};

}  // namespace qvtx
