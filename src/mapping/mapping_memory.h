#pragma once
// What the epochs of the mappings work in.

#include <memory>
#include <vector>

#include "graph/path_trees.h"
#include "mapping/kernels/image_arrays.h"
#include "matrix/matfulld.h"

namespace qvtx {

/// Room for rows of distances that are not stored; nprot numbers each.
struct RowRoom {
  MatFullD space, graph, mixed;
  MatFullD block;             ///< rows along the links that are searched for together,
  std::vector<long> sources;  ///< and whose they are
  /// What takes the place of rows along the links while `plant`: the prototypes and their links stay as they
  /// are.
  std::unique_ptr<PathTrees> trees;
  bool plant = false;
};

/// While it lives, rows along the links that are not stored are added up from trees, where these fit.
class PlantedPaths {
 public:
  explicit PlantedPaths(RowRoom& room) : room_(room) { room_.plant = true; }
  ~PlantedPaths() {
    room_.plant = false;
    room_.trees.reset();
  }
  PlantedPaths(const PlantedPaths&) = delete;
  PlantedPaths& operator=(const PlantedPaths&) = delete;

 private:
  RowRoom& room_;
};

/// What scaling found of the axes asked for.
struct Spectrum {
  long missing = 0;      ///< axes without value: no positive eigenvalue was left for them
  double share = 0.0;    ///< of the sum of all positive eigenvalues that the others have, or a bound of it
  bool at_most = false;  ///< share is an upper bound; 1 says nothing
};

/// Working storage of the epochs: kept from one to the next, so that no epoch after the first allocates. Only
/// room is passed on: an epoch fills what it uses before reading it.
struct MappingMemory {
  ImageArrays images;  ///< work form of the images
  RowRoom distances;
  MatFullL order;  ///< nprot x 2: a path row that is not stored
  /// Per prototype the others in the order of their graph distance, once searched, -1 behind the last; kept
  /// only while there are lists (GraphOrder).
  std::vector<std::vector<int>> orders;
  MatFullD scratch;   ///< nprot x 1: distances between images, or from an image
  MatFullD sums;      ///< 2 x p: gradient and curvature
  MatFullD stimulus;  ///< 1 x p
  MatFullD centre;    ///< ncomp x p: of the components
};

}  // namespace qvtx
