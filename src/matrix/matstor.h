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

using MatStorD = MatStorT<MatFullD>;

}  // namespace qvtx
