#pragma once
// What the epochs of the iterative methods work in.

#include <vector>

#include "matrix/distance/nearest_memory.h"
#include "matrix/distance/packed_rows.h"
#include "matrix/matfulld.h"
#include "quant/rank_sort.h"

namespace qvtx {

/// Working storage of the epochs: kept from one to the next, so that no epoch after the first allocates as
/// long as the data and prototypes do not grow in number. Only room is passed on: an epoch fills what it uses
/// before reading it, and finds nothing of another epoch, method or data set in it.
struct EpochMemory {
  // Winners.
  PackedRows packed;      ///< the prototypes of OnlineWinners
  NearestMemory nearest;  ///< those of BatchWinners,
  MatFullL winner;        ///< ndata x 1: and what it finds

  std::vector<double> steps;  ///< by rank, of neural gas and the self-organizing map

  // Neural gas.
  RankSort ranks;
  std::vector<double> moves;  ///< by prototype

  // Self-organizing map.
  MatFullD influence;           ///< nprot x nprot: by winner and rank, as far as
  std::vector<long> reach;      ///< the winner's neighbourhood reaches, -1 = not asked for yet
  MatFullD sums;                ///< nprot x dim: of the data by winner,
  std::vector<double> counts;   ///< and how many they are
  std::vector<double> weights;  ///< of one prototype's neighbours
  std::vector<double> mean;
};

}  // namespace qvtx
