#pragma once
// QL iteration with implicit shifts on a symmetric tridiagonal matrix.

#include <cstddef>
#include <vector>

#include "local/eigen_kernels.h"

namespace qvtx {

/// The plane rotations of some sweeps, in the order in which they were made.
template <class Real>
struct RecordedRotations {
  std::vector<PlaneRotation<Real>> list;
  std::vector<RotationSweep> sweeps;

  long size() const { return static_cast<long>(list.size()); }
  void clear() {
    list.clear();
    sweeps.clear();
  }
  /// The rows of a panel, columns of a matrix, take all rotations.
  void rotate_columns(Real* panel, long lines) const;
  /// The vectors of a panel are multiplied by the product of all rotations.
  void multiply(Real* panel, long lines) const;
};

/// The QL algorithm (Dubrulle, Martin, Wilkinson, 1968), one sweep at a time. With the rotations applied to
/// the columns of Z, T = Z diag Z' at the end. The eigenvalues do not depend on what is done with the
/// rotations. Non-finite input ends with `exceeded`.
template <class Real>
class ImplicitQL {
 public:
  enum class State { running, converged, exceeded };

  /// diag: n values; subd[i] couples i and i + 1. Both are changed in place and must outlive the object.
  ImplicitQL(long n, Real* diag, Real* subd) : n_(n), diag_(diag), subd_(subd) {}
  /// Continues `other` on arrays that hold what the arrays of `other` held then.
  ImplicitQL(const ImplicitQL& other, Real* diag, Real* subd)
      : n_(other.n_), diag_(diag), subd_(subd), first_(other.first_), sweeps_(other.sweeps_) {}

  /// One sweep, its rotations appended to `out`; `running` when it was made, else the reason why none was.
  State sweep(RecordedRotations<Real>& out);

 private:
  long block_end() const;
  Real shifted(long last) const;
  void chase(long last, RecordedRotations<Real>& out);

  long n_;
  Real* diag_;
  Real* subd_;
  long first_ = 0;  // the eigenvalue in work
  int sweeps_ = 0;  // that it has taken
};

/// Columns of an n x k matrix, side by side in panels of at most `panel_lines` lines.
template <class Real>
class VectorPanels {
 public:
  /// All 0.
  VectorPanels(long n, long k);
  Real& at(long i, long v) { return data_[static_cast<size_t>((v / lanes_ * n_ + i) * lanes_ + v % lanes_)]; }
  long count() const { return count_; }
  long lines() const { return lanes_ / line_vectors<Real>; }
  Real* panel(long p) { return data_.data() + p * n_ * lanes_; }

 private:
  long n_;
  long lanes_;  // vectors in a panel
  long count_;
  std::vector<Real> data_;
};

/// The whole iteration with its rotations, to be multiplied to vectors afterwards. The memory is bounded:
/// only the last stretch of rotations is kept, of the others the state at their beginning, from which they
/// are made again when their turn comes.
template <class Real>
class QLHistory {
 public:
  /// stretch: number of rotations after which a new stretch begins.
  explicit QLHistory(long stretch = 1L << 22) : stretch_(stretch) {}
  /// Iterates to the end; arguments and result as those of ImplicitQL.
  typename ImplicitQL<Real>::State run(long n, Real* diag, Real* subd);
  /// Multiplies the vectors by Z, the product of all rotations: unit vector k becomes eigenvector k of the
  /// tridiagonal matrix.
  void multiply(VectorPanels<Real>& vectors);

 private:
  struct Beginning {
    ImplicitQL<Real> iteration;
    std::vector<Real> diag;
    std::vector<Real> subd;
    size_t sweeps;
  };

  long stretch_;
  std::vector<Beginning> beginnings_;  // of the stretches that were dropped
  RecordedRotations<Real> rotations_;  // of the last one
};

extern template struct RecordedRotations<double>;
extern template struct RecordedRotations<float>;
extern template class ImplicitQL<double>;
extern template class ImplicitQL<float>;
extern template class VectorPanels<double>;
extern template class VectorPanels<float>;
extern template class QLHistory<double>;
extern template class QLHistory<float>;

}  // namespace qvtx
