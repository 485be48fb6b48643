#pragma once
// Singular value decomposition of a dense matrix on plain arrays.

#include <vector>

namespace qvtx {

/// Golub-Reinsch decomposition A = U diag(w) V' (G. H. Golub and C. Reinsch, "Singular value decomposition
/// and least squares solutions", Numerische Mathematik 14, 1970): Householder reduction to bidiagonal form
/// with rows and columns scaled by their sum of absolute values, then QR steps with implicit shifts.
/// Everything is arranged along rows: V is held transposed, and the left rotations are gathered in an n x n
/// matrix that multiplies U once, at the end. The values come out unsorted and not negative; non-finite input
/// ends at once with non-finite results.
class GolubReinsch {
 public:
  /// a: m x n, row-major, m and n at least 1. Destroyed unless `left`.
  GolubReinsch(double* a, long m, long n) : a_(a), m_(m), n_(n) {}

  /// Singular values alone: w, n of them. Same bits as the other forms.
  void values(double* w) { run(w, nullptr, false); }
  /// Values and right vectors; row i of vt (n x n) belongs to w[i].
  void right(double* w, double* vt) { run(w, vt, false); }
  /// Everything; a becomes U.
  void full(double* w, double* vt) { run(w, vt, true); }

 private:
  void run(double* w, double* vt, bool left);
  void reduce_column(long i);
  void reduce_row(long i);
  void accumulate_right();
  void accumulate_left();
  void diagonalize(long k);
  bool find_split(long k, long& l) const;
  void cancel(long l, long k);
  void sweep(long l, long k);
  void rotate_left(long i, long j, double c, double s);
  void rotate_right(long i, long j, double c, double s);
  void multiply_left();
  bool negligible(double x) const;

  double* a_;
  long m_;
  long n_;
  double* w_ = nullptr;
  double* vt_ = nullptr;           // null: right vectors not wanted
  std::vector<double> e_;          // superdiagonal: e_[i] stands above w_[i]; e_[0] is 0
  std::vector<double> column_;     // a column, or the part of it below the diagonal
  std::vector<double> sums_;       // products of a column with the others
  std::vector<double> rotations_;  // n x n, product of the left rotations, transposed; empty: not wanted
  double norm_ = 0;                // largest |w| + |e|
};

}  // namespace qvtx
