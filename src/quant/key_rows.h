#pragma once
// Where the often-used settings stand in their tables.

#include "settings/matpref.h"

namespace qvtx {

/// Numbers of the entries of the often-used keys in their table; -1 when absent.
struct KeyRows {
  // Integer table.
  long vgswap_d = -1;  ///< shuffle the data at every epoch
  long vgkeep_p = -1;  ///< keep the prototypes of the last run
  long vglink_p = -1;  ///< rule that links the prototypes, 0 = none
  long vgcent_p = -1;  ///< centre prototypes on their data before linking
  long vgrepl_p = -1;  ///< replace dead prototypes by data
  long vgerrors = -1;  ///< print the error before every epoch
  long vgmemory = -1;  ///< distance rows kept: 0 none, 1 distances, 2 paths too
  long vgdimloc = -1;  ///< local PCA after every quantization
  long vglpmaxp = -1;  ///< a prototype with at most so many hits is dead
  long tdgdtype = -1;  ///< graph distance: 0 shortest paths, else from the Laplacian
  long tdxp = -1;      ///< longest path in links (a result)
  // Real table.
  long tdgb = -1;                        ///< weight of the graph distance in the mix
  long tdns = -1, tdng = -1, tdnm = -1;  ///< smallest space, graph and mixed distance (results)
  long tdxs = -1, tdxg = -1, tdxm = -1;  ///< largest ones (results)

  /// Looks them up; to be called whenever the tables were replaced.
  void find(const MatPrefT<long>& lpref, const MatPrefT<double>& dpref);
};

}  // namespace qvtx
