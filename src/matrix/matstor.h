#pragma once
// An array of matrices, one per prototype.

#include <vector>

#include "matrix/matfulld.h"

namespace qvtx {

/// Owns n matrices of type M, addressed by index. Movable, not copyable.
/// All errors are fatal: the report of the dense matrix under the name "MatStorT", the number of matrices as
/// "#row= ".
template <class M>
class MatStorT {
 public:
  explicit MatStorT(long n = 0) { setdim(n); }
  /// n new empty matrices (no row, one column, growth increment 5); nothing happens when there are n already.
  /// An allocation failure prints one line and leaves the store empty. Returns the number of matrices. Fatal:
  /// n < 0 (o 101, 1).
  long setdim(long n);
  /// Makes ready for rows x cols elements in each matrix, all to be filled soon: room side by side in one
  /// block costs less than a block for each, and reading one after the other too. The matrices become empty;
  /// where there is no room for the block, nothing happens. Throws std::bad_alloc. REQUIRES: rows, cols >= 1.
  void expect(long rows, long cols);
  long size() const { return static_cast<long>(store_.size()); }
  /// Matrix i. Fatal: i outside the store (o 102, 1).
  M& operator[](long i);
  const M& operator[](long i) const;

  [[noreturn]] void ermessage(char kind, int code, int arg, long value) const;

 private:
  std::vector<M> store_;
};

extern template class MatStorT<MatFullD>;
extern template class MatStorT<MatFullL>;

/// The store of matrices of double, with the operations on sets of matrices. Filling replaces what was held,
/// which x may belong to, and returns the number of matrices, 0 when there is no memory.
class MatStorD : public MatStorT<MatFullD> {
 public:
  using MatStorT<MatFullD>::MatStorT;

  /// Matrix k becomes the lagged covariances (`MatFullD::tcc`) or the lagged kurtosis (`MatFullD::tck`) of x
  /// at lag k + 1, k = 0 .. lags - 1. Fatal: lags outside [0, x.nrow) (s 83 and 85, 2).
  long tcc(const MatFullD& x, long lags);
  long tck(const MatFullD& x, long lags);
  /// The cross-cumulants (`MatFullD::cok`) of all pairs of columns i <= j of x, in the order (0, 0), (0, 1),
  /// ... (0, d - 1), (1, 1), ...: d (d + 1) / 2 matrices of order d. Fatal: x without rows (m 161, 1).
  long sck(const MatFullD& x);
  /// Joint approximate diagonalisation of the symmetric matrices of the store, each n x n, by Jacobi
  /// rotations: v (n x n, no matrix of the store) becomes the orthogonal matrix that leaves the smallest sum
  /// of squares beside the diagonals of v' A v, and the matrices become these products. Of one matrix the
  /// columns of v are the eigenvectors, of matrices with common eigenvectors these. The order and the signs
  /// of the columns follow from the rotations. Ends with the sweep in which no rotation has a sine above
  /// 1e-8 / sqrt(n), or after 100; planes with NaN or with nothing but rounding errors beside the diagonals
  /// are left as they are. Returns the number of sweeps; 0, nothing changed, when the store is empty or its
  /// matrices are not square and of one order. Cardoso and Souloumiac, "Jacobi angles for simultaneous
  /// diagonalization", SIAM J. Matrix Analysis and Applications 17(1), 1996.
  long diago(MatFullD& v);
};

}  // namespace qvtx
