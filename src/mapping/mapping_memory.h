#pragma once
// What the epochs of the mappings work in.

#include "matrix/matfulld.h"

namespace qvtx {

/// Room for rows of distances that are not stored; nprot numbers each.
struct RowRoom {
  MatFullD space, graph, mixed;
};

/// Working storage of the epochs: kept from one to the next, so that no epoch after the first allocates. Only
/// room is passed on: an epoch fills what it uses before reading it.
struct MappingMemory {
  RowRoom distances;
  MatFullL order;     ///< nprot x 2: a path row that is not stored
  MatFullD scratch;   ///< nprot x 1
  MatFullD sums;      ///< 2 x p: gradient and curvature
  MatFullD width;     ///< nprot x 1: neighbourhood widths of Isotop
  MatFullD stimulus;  ///< 1 x p
  MatFullD centre;    ///< ncomp x p: of the components
};

}  // namespace qvtx
