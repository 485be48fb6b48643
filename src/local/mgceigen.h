#pragma once
// Eigenvalues and eigenvectors of a real symmetric matrix: Householder reduction to tridiagonal form, QL with
// implicit shifts (Martin, Reinsch, Wilkinson, "Householder's tridiagonalization of a symmetric matrix",
// Numerische Mathematik 11, 1968; Dubrulle, Martin, Wilkinson, "The implicit QL algorithm", ibid. 12, 1968).

#include <cstdlib>
#include <iosfwd>
#include <memory>

#include "base/progress.h"

namespace qvtx {

/// An eigenproblem of order n. Fill `mat` (or call `Matrix`), call one of the solving forms, read `diag` and
/// `mat`:
///
///     mgcEigenD problem(n);
///     ...  problem.mat[i][j] = ...          both triangles; only the lower one is read for n >= 4
///     problem.DecrSortEigenStuff();         mat[i][k]: component i of eigenvector k, diag[k]: its eigenvalue
///
/// Eigenvectors have length 1; their signs are those of the computation. Errors never stop the program, they
/// are collected in `error` and reported; the results are then without meaning, but defined. Non-finite input
/// ends in `ql_exceeded`. A problem without arrays (order below 2, allocation failed) solves nothing.
///
/// Its steps are interruption points (base/interrupt.h); a problem that was given up is spoiled.
///
/// Shared by mgcEigenD (Real = double) and mgcEigen (Real = float, all arithmetic in float), each with
/// statics of its own.
template <class Real>
class mgcEigenT {
 public:
  static constexpr unsigned invalid_size = 1;       ///< order below 2
  static constexpr unsigned allocation_failed = 2;  ///< an array could not be allocated
  static constexpr unsigned ql_exceeded = 4;        ///< an eigenvalue did not converge in 30 sweeps
  static const char* const message[3];              ///< by bit number
  static unsigned error;                            ///< error bits raised so far
  static int verbose;  ///< non-zero: errors go to standard output, else they are appended to "eigen.err"

  explicit mgcEigenT(int n);
  ~mgcEigenT();
  mgcEigenT(const mgcEigenT&) = delete;
  mgcEigenT& operator=(const mgcEigenT&) = delete;

  /// Copies the n x n values of a into `mat`.
  mgcEigenT& Matrix(Real** a);

  /// Solve: all eigenpairs in the order of the iteration, increasing, decreasing.
  void EigenStuff();
  void IncrSortEigenStuff();
  void DecrSortEigenStuff();
  /// The same for the orders 2, 3, 4 and above; the general form takes any order from 2.
  void EigenStuff2();
  void EigenStuff3();
  void EigenStuff4();
  void EigenStuffN();
  void IncrSortEigenStuff2();
  void IncrSortEigenStuff3();
  void IncrSortEigenStuff4();
  void IncrSortEigenStuffN();
  void DecrSortEigenStuff2();
  void DecrSortEigenStuff3();
  void DecrSortEigenStuff4();
  void DecrSortEigenStuffN();
  /// As DecrSortEigenStuff, for the k leading pairs only (clamped to 0..n): columns 0..k-1 of mat are valid
  /// afterwards, with the signs of the full form; diag holds all eigenvalues in decreasing order, the same
  /// bits as in the full form. The rotations of the iteration are recorded and applied in reverse to the unit
  /// vectors of the wanted eigenvalues: O(k n^2) for the vectors instead of O(n^3).
  void DecrSortEigenStuff(int k);

  // ---- The steps ----
  /// mat becomes Q with A = Q T Q', diag the diagonal of T, subd[i] its element beside rows i and i + 1; the
  /// last element of subd is 0. Orders 2 and 3 have closed forms; a matrix that is tridiagonal already keeps
  /// its couplings.
  void Tridiagonal2(Real** mat, Real* diag, Real* subd);
  void Tridiagonal3(Real** mat, Real* diag, Real* subd);
  void Tridiagonal4(Real** mat, Real* diag, Real* subd);
  void TridiagonalN(int n, Real** mat, Real* diag, Real* subd);
  /// diag becomes the eigenvalues of the tridiagonal matrix; the columns of mat take every rotation. subd is
  /// destroyed.
  void QLAlgorithm(int n, Real* diag, Real* subd, Real** mat);
  /// Selection sort of the eigenvalues with the columns of mat; of equal ones the first is taken first.
  void DecreasingSort(int n, Real* diag, Real** mat);
  void IncreasingSort(int n, Real* diag, Real** mat);

  /// Number of a single error bit, -1 for 0.
  static int Number(unsigned bit);
  /// Records an error and reports it.
  static void Report(unsigned bit);
  /// Writes one line per error recorded and forgets them.
  static void Report(std::ostream& out);

  Progress progress;     ///< told how far the reduction to tridiagonal form is, by far the longest step
  int size;              ///< order n
  Real** mat = nullptr;  ///< n rows of n; in: the matrix; out: eigenvectors as columns
  Real* diag = nullptr;  ///< n; out: eigenvalues
  Real* subd = nullptr;  ///< n; destroyed

 private:
  void allocate();

  std::unique_ptr<Real*[]> rows_;
  struct Free {
    void operator()(Real* block) const { std::free(block); }
  };
  std::unique_ptr<Real[], Free> values_;  // the rows of mat, each on cache lines of its own
  std::unique_ptr<Real[]> diagonal_;
  std::unique_ptr<Real[]> coupling_;
};

extern template class mgcEigenT<double>;
extern template class mgcEigenT<float>;

using mgcEigenD = mgcEigenT<double>;
using mgcEigen = mgcEigenT<float>;

}  // namespace qvtx
