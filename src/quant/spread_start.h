#pragma once
// First prototypes that spread over the data.

#include "matrix/matfulld.h"

namespace qvtx {

/// Fills the rows of prot (n x d, n >= 1) with rows of data (N x d, N >= 1) far from each other: the first is
/// drawn at random (`draw_index`), each further one is the best of 2 + floor(ln n) candidates, drawn with a
/// chance in proportion to their squared distance from the nearest row chosen so far. The best leaves the
/// smallest sum of squared distances from the data to their nearest row, the first drawn among equals. When
/// that sum is 0 (all different data are chosen) the rest is drawn by `raseli`. Distances are those of the
/// class and exponent in force. Greedy form of k-means++ (Arthur and Vassilvitskii, "k-means++: the
/// advantages of careful seeding", SODA 2007). O(N n d ln n) time; false when memory is short.
bool spread_start(MatFullD& prot, const MatFullD& data);

}  // namespace qvtx
