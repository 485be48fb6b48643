#pragma once
// What lives between commands: the work matrices of the shell.

#include "matrix/matfulld.h"
#include "matrix/matspar.h"

namespace qvtx {

struct Work {
  MatFullD dat;                  ///< extra data set read by `iv` (validation set)
  MatFullD prj;                  ///< projected data (from `il` or `iv`)
  MatFullD ppr;                  ///< images of the data's nearest prototypes
  MatFullD jrp;                  ///< reconstructed data (from `rd`)
  MatFullD tmp;                  ///< prototypes nearest to the positions, scratch of the reconstruction
  MatSparT<long> sgd, egd, cgd;  ///< GoD graphs: self, Euclidean, curvilinear
  MatFullD sst, est, cst;        ///< their statistics
  bool sgd_fell_back = false;    ///< `sgd` compares Euclidean distances: there were no links
  bool cgd_fell_back = false;    ///< the same for `cgd`

  /// Forgets derived matrices by staleness level: 1 empties `jrp`; 2 also `prj` and `ppr`; 3 also the GoD
  /// graphs.
  void reinit(int level);
};

}  // namespace qvtx
