#pragma once
// The leading eigenpairs of a large symmetric matrix by block Lanczos iteration with full reorthogonalisation
// (Golub, Underwood, "The block Lanczos method for computing eigenvalues", in Rice, ed., Mathematical
// Software III, 1977).

#include <memory>
#include <vector>

namespace qvtx {

/// The k algebraically largest eigenvalues of a symmetric matrix of order n, with their vectors:
///
///     BlockLanczos iteration(a, n, k);
///     if (iteration.run()) ...  iteration.value(0), iteration.vector(0)[i]
///
/// The block has k + 2 vectors, so that eigenvalues of any multiplicity are found as often as they count
/// among the k. It starts from a generator of its own: results depend on the matrix alone. Needs the products
/// of the matrix with a few tens of blocks where the wanted eigenvalues stand clear of the others, and n
/// numbers for every vector of every block.
///
/// Its steps are interruption points (base/interrupt.h).
class BlockLanczos {
 public:
  static constexpr long spare = 2;           ///< vectors of a block beyond the wanted ones
  static constexpr long most_steps = 300;    ///< products with a block
  static constexpr double accuracy = 1e-13;  ///< length of an accepted residual, in largest eigenvalues

  /// a: n rows, of row j the elements 0..j are read; not changed, must outlive the object.
  /// REQUIRES: k > 0, n >= 2 (k + 2).
  BlockLanczos(const double* const* a, long n, long k);

  /// True when each of the k pairs has a residual |a v - value v| of at most `accuracy` |value(0)|. False,
  /// and nothing found, when `most_steps` blocks or half the space did not suffice, and where a number is not
  /// finite.
  bool run();

  /// In decreasing order.
  double value(long i) const { return values_[static_cast<size_t>(i)]; }
  /// n components, length 1.
  const double* vector(long i) const { return vectors_.data() + i * n_; }

 private:
  /// Numbers in [-1, 1).
  struct Generator {
    unsigned long long state;
    double next();
  };

  long size() const { return static_cast<long>(basis_.size()); }
  /// Element (i, j) of the projected matrix Q'aQ, j <= i <= j + block.
  double& coupling(long i, long j) { return couplings_[static_cast<size_t>(i * (block_ + 1) + i - j)]; }
  double* new_vector();
  double orthogonalise(double* x);
  void append(double* x, double length);
  bool expand();
  bool solve_projection();
  bool residuals_hold();

  const double* const* a_;
  long n_;
  long wanted_;
  long block_;  // vectors of a block
  Generator generator_{1};
  std::vector<std::unique_ptr<double[]>> storage_;
  std::vector<double*> basis_;     // Q: orthonormal, block behind block
  std::vector<double> couplings_;  // the band of the projected matrix, row by row
  std::vector<double> shares_;     // that the basis had in the vector orthogonalised last
  std::vector<double> values_;     // wanted
  std::vector<double> parts_;      // wanted rows: the vectors in terms of the basis
  std::vector<double> vectors_;    // wanted x n
};

}  // namespace qvtx
