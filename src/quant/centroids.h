#pragma once
// The centroid step that both K-means share.

#include "matrix/matfulld.h"

namespace qvtx {

/// prot (nprot x dim) becomes the sums of the rows of dat (ndata x dim) by prototype: every row is reset to
/// zeros, then the data are added from the last to the first, each to the row of its best-matching prototype
/// bmu(i) (ndata x 1). Fatal: an entry of bmu that is not a row of prot (m 161).
void sum_by_prototype(const MatFullD& dat, const MatFullL& bmu, MatFullD& prot);

/// Row k divided by a count > 0: the sum becomes the centroid.
void divide_row(MatFullD& prot, long k, long count);

}  // namespace qvtx
