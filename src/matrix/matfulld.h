#pragma once
// Matrix of double with the numeric methods: statistics, distances, linear algebra.

#include <limits>

#include "base/progress.h"
#include "matrix/matfulll.h"

namespace qvtx {

inline constexpr double no_bound = std::numeric_limits<double>::infinity();

struct NearestMemory;

class MatFullD : public MatFullT<double> {
 public:
  using MatFullT<double>::MatFullT;

  // ---- Distance settings, read by every distance of the program ----
  static char mesp;    ///< distance class: 'a' area between curves, 'c' cosine, anything else Minkowski
  static double miex;  ///< Minkowski exponent of the classes 'm' and 'a'

  // ---- Copies and products (matfulld.cpp) ----
  using MatFullT<double>::copy;
  /// Becomes the rows of src whose numbers stand in column col of idx, in that order. Nothing happens when
  /// src is this matrix. Fatal: col (m 144, 3), a row number (m 144, 2).
  void copy(const MatFullD& src, const MatFullL& idx, long col);
  /// this = a' b (a.ncol x b.ncol), accumulated over the rows from the last to the first. a and b may be this
  /// matrix. Fatal: other row counts (a 162, dimensions of a and b).
  void atb(const MatFullD& a, const MatFullD& b);
  /// Partial selection sort of the rows by column col, smallest first in spite of the name; the lowest row
  /// among equals, NaN last. idx (resized to nrow x 2): column 0 the row of rank k for k < n, column 1 the
  /// rank of each such row, -1 elsewhere. n outside [0, nrow): all rows. Fatal: col (s 141).
  void maxsort(long col, MatFullL& idx, long n) const;
  /// Heap sort of the rows by increasing value in column col, NaN last. idx (resized to nrow x 2): column 0
  /// the row of rank k, column 1 the rank of row k. Not stable. Fatal: col (s 141).
  void potsort(long col, MatFullL& idx) const;

  // ---- Statistics (matfulld_statistics.cpp) ----
  // Population moments by column: divided by n = nrow. Results are resized and may be any matrix, an argument
  // or this one included. Sums are extended, over the rows from the last to the first. A NaN or an infinity
  // in a column makes its mean and moments non-finite; minima and maxima ignore a NaN. Without rows the mean
  // is fatal (m 161, 1), var, cov and kur with given means are NaN. Rows m, v, s and stats are 1 x ncol (or
  // their row 0 is).

  /// out (3 x ncol): means, minima, maxima. A mean never leaves [minimum, maximum], so that the mean of a
  /// constant column is the constant to the bit.
  void mmm(MatFullD& out) const;
  /// out (1 x ncol): means, those of `mmm`.
  void avg(MatFullD& out) const;
  /// out (1 x ncol): mean of (x - mean)^2, the mean being row 0 of stats (from `mmm` or `avg`), or the
  /// column's own. Fatal: column counts (s 51, dimensions, 1).
  void var(const MatFullD& stats, MatFullD& out) const;
  void var(MatFullD& out) const;
  /// out (ncol x ncol): mean of (x_i - m_i)(x_j - m_j) about the row m, or about the means. Exactly
  /// symmetric. Fatal: column counts (s 81, dimensions, 1).
  void cov(const MatFullD& m, MatFullD& out) const;
  void cov(MatFullD& out) const;
  /// Subtracts the row m, or the means, from every row; returns the row count. Fatal: column counts (s 91,
  /// dimensions, 1).
  long center(const MatFullD& m);
  long center();
  /// x becomes (x - m) / s, or x - m where the scale s of its column is 0. Without s the scales are the
  /// population standard deviations about the columns' own means; without m the means. Fatal: column counts
  /// (s 92, dimensions, 1 for m, 2 for s).
  void normal(const MatFullD& m, const MatFullD& s);
  void normal(const MatFullD& m);
  void normal();
  /// Squared differences to b, summed over all elements and divided by the number of rows; 0 without rows.
  /// Fatal: another shape (s 102, dimensions, 1).
  double mqe(const MatFullD& b) const;
  /// Number of elements that are NaN or infinite.
  long nnan() const;
  /// out (1 x ncol): kurtosis, the mean of (x - m)^4 over v^2; 0 where v is 0. Without v the variances about
  /// m, without m the means. Fatal: column counts (s 61, dimensions, 1 for m, 2 for v).
  void kur(const MatFullD& m, const MatFullD& v, MatFullD& out) const;
  void kur(const MatFullD& m, MatFullD& out) const;
  void kur(MatFullD& out) const;

  // ---- Cumulants and lagged moments (matfulld_cumulants.cpp) ----
  // Conventions of the statistics above; y is x - m, v the variance about m, E the mean over the rows. A lag
  // t pairs row r with row r + t, over the n - t rows r that have one. Without m the means are taken.
  // Skewness, kurtosis and cumulants: Kendall and Stuart, The Advanced Theory of Statistics 1, chapters 3 and
  // 13; cross-cumulants as matrices: Cardoso and Souloumiac, "Blind beamforming for non-Gaussian signals",
  // IEE Proceedings F 140(6), 1993; lagged covariances: Belouchrani, Abed-Meraim, Cardoso and Moulines, "A
  // blind source separation technique using second-order statistics", IEEE Trans. Signal Processing 45(2),
  // 1997. Fatal: column counts (dimensions form), t outside [0, n) (argument 3); codes s 71 sss, 82 cok, 83
  // tcc, 84 tac, 85 tck.

  /// out (1 x ncol): skewness, E[y^3] / v^(3/2); 0 where v is 0. The mean is row 0 of stats.
  void sss(const MatFullD& stats, MatFullD& out) const;
  void sss(MatFullD& out) const;
  /// out (ncol x ncol): cumulants of fourth order of the columns i and j with every pair (k, l), E[y_i y_j
  /// y_k y_l] - c_ij c_kl - c_ik c_jl - c_il c_jk. c: ncol x ncol, the covariances about m; computed where
  /// not given. Exactly symmetric where c is. Fatal: i (1), j (2), m (3) and c (4).
  void cok(long i, long j, const MatFullD& m, const MatFullD& c, MatFullD& out) const;
  void cok(long i, long j, const MatFullD& m, MatFullD& out) const;
  void cok(long i, long j, MatFullD& out) const;
  /// out (ncol x ncol): lagged covariances, (i, j) the mean of y_i(r) y_j(r + t).
  void tcc(const MatFullD& m, MatFullD& out, long t) const;
  void tcc(MatFullD& out, long t) const;
  /// out (1 x ncol): autocorrelations, the diagonal of `tcc` over v; 0 where v is 0.
  void tac(const MatFullD& m, MatFullD& out, long t) const;
  void tac(MatFullD& out, long t) const;
  /// out (1 x ncol): lagged kurtosis, the mean of y(r)^2 y(r + t)^2 minus v^2 minus twice the squared lagged
  /// covariance, over v^2; 0 where v is 0.
  void tck(const MatFullD& m, MatFullD& out, long t) const;
  void tck(MatFullD& out, long t) const;

  // ---- Random contents (matfulld_random.cpp) ----
  /// Rows r0..r1, columns c0..c1 (inclusive; a negative or too large upper index: the last), rows and columns
  /// last to first. Kind 0: lo + (hi - lo) u; kind 1: Gaussian with mean lo and deviation hi. Other cells
  /// stay; an empty matrix draws nothing. Fatal: r0 (s 151, 4), c0 (s 151, 6).
  void random(int kind, double lo, double hi, long r0, long r1, long c0, long c1);
  /// The same for whole rows, with bounds (or mean and deviation) of their own for each column: row 0 of lo
  /// and hi. Fatal: shape of lo or hi (s 152, 2 or 3), r0 (s 152, 4).
  void random(int kind, const MatFullD& lo, const MatFullD& hi, long r0, long r1);
  /// Rows first .. first + n - 1 become rows of src picked at random without replacement; after all N rows of
  /// src were picked, all are candidates again. Draws position |r mod m| among the m candidates left, which
  /// start as 0 .. N-1 in order; the last candidate takes the place of the picked one. Rows beyond `nrow`
  /// come into use. An empty src sets the rows to 0 without a draw. A matrix without rows takes the columns
  /// of src. Fatal: other ncol (s 153, 1), first < 0 (s 153, 2).
  void raseli(const MatFullD& src, long first, long n);

  // ---- Distances (matfulld_distance.cpp, matfulld_nearest.cpp, matfulld_derivative.cpp) ----
  // `sda`: distance between samples; the ending tells scalar, vector or matrix. Common to all forms:
  //  - Class and exponent: `mesp`, `miex`. The coordinates' terms are summed from the last column to the
  //    first.
  //  - Bound in data units, `no_bound` for none: the bound taken to the space of the sums, times 1.001, may
  //    not be exceeded by any partial sum; -1 is the result of a row that does. The cosine class knows no
  //    bound, except in `nearest`.
  //  - p = 0: the norm is the smallest |coordinate|, the distance of two rows always 0.
  //  - Cosine class: the norm is 0; a distance with a zero row is 1, and none is below 0.
  //  - NaN: a sum that becomes NaN within the bound exceeds nothing, and the distance is NaN (the maximum
  //    for p >= 8 and the minimum for p = 0 pass over NaN terms instead). `nearest` takes such a row, and
  //    then the next row below it, however far, as nothing compares with NaN.
  //  - `out` (nrow x 1 unless stated) is resized and may be one of the operands.
  //  - Fatal, kind e: row numbers (argument number; reported on the matrix of the row) and differing column
  //    counts (dimensions form); codes 27 sdas, 37 sdav, 47 sdam, 57 dhssds and move, 67 nearest, 77
  //    nearest_all.

  /// Norm of row i.
  double sdas(long i, double bound) const;
  /// Distance between row i and row j of b.
  double sdas(long i, const MatFullD& b, long j, double bound) const;
  /// Distance between rows i and j.
  double sdas(long i, long j, double bound) const;
  /// Norms of all rows. Cosine class: zeros, and the first `nrow` elements of this matrix's storage become 0.
  void sdav(MatFullD& out, double bound);
  /// Distances from row i to all rows, 0 for row i itself.
  void sdav(long i, MatFullD& out, double bound) const;
  /// Distances from all rows to row j of b.
  void sdav(const MatFullD& b, long j, MatFullD& out, double bound) const;
  /// All distances, out(i, j) between row i and row j of b: nrow x b.nrow, without rows when b has none.
  void sdam(const MatFullD& b, MatFullD& out) const;
  /// Largest distance between two rows; with its pair i > j, the first met when i and then j run downward.
  /// Distances that are NaN do not count. 0 and -1, -1 for fewer than two rows.
  double sdamax() const;
  double sdamax(long& i, long& j) const;
  /// Smallest distance between two rows of different number; pair and empty case as for `sdamax`.
  double sdamin(long& i, long& j) const;

  /// Derivative of half the squared distance between row i and row j of b with respect to this(i, k).
  /// Euclidean: x - y; Minkowski: d^(2-p) |x-y|^(p-1) sign(x-y); p >= 8: the largest coordinate alone, the
  /// lowest column among equals; area class: by the chain rule with sign(0) = 0; 0 for p = 0, for a
  /// zero row in the cosine class, and where the distance or the coordinate difference is 0.
  double dhssds(long i, const MatFullD& b, long j, long k) const;
  /// Row i moves by the step a along -dhssds towards row j of b: column by column from the last, each
  /// derivative taken on the row as already moved. Euclidean: x -= a (x - y). In the other metrics such a
  /// move can overshoot (exponent 1: by the whole distance in every column); unless it makes the sum of the
  /// distance (cosine class: the distance) smaller it is undone and replaced by the Euclidean one. So a step
  /// from 0 to 1 leads no row away and keeps it finite. O(ncol): the distance that a derivative needs is
  /// finished from the sum of the terms that are settled or touched, last to first, plus that of the others,
  /// first to last. The form that the online methods use.
  void move(long i, const MatFullD& b, long j, double a);
  /// The same for n different rows, row rows[r] by the step steps[r], with the bits of n moves; in the
  /// Minkowski class several rows at a time.
  void move(const long* rows, const double* steps, long n, const MatFullD& b, long j);

  /// Number of the row of this matrix nearest to row j of b within the bound, or `nrow`. Equal distances: the
  /// lowest row number wins. When b is this matrix, row j and every row at distance 0 from it are not
  /// candidates. Many searches of the same rows: `nearest_all`, RowSearch.
  long nearest(const MatFullD& b, long j, double bound) const;
  /// The same, leaving the distances of all rows in out as `sdav(b, j, out, bound)` does.
  long nearest(const MatFullD& b, long j, MatFullD& out, double bound) const;
  /// The k nearest rows (all for larger k, none for k < 1) in increasing distance, ties by the lower row
  /// number, NaN last: numbers in idx and distances in out, one row per row found; returns how many. When b
  /// is this matrix row j is left out, its duplicates are not.
  long nearest(const MatFullD& b, long j, MatFullD& out, MatFullL& idx, long k) const;
  /// For every row of b its nearest row of this matrix (idx: b.nrow x 1), each as `nearest(b, i, no_bound)`
  /// tells. Much faster than one search after the other under the Euclidean distance.
  void nearest_all(const MatFullD& b, MatFullL& idx) const;
  /// The same in a storage that the caller lends (matrix/distance/nearest_memory.h).
  void nearest_all(const MatFullD& b, MatFullL& idx, NearestMemory& memory) const;

  // ---- Linear algebra (matfulld_{svd,inverse,solve,diago,rotation,pca}.cpp) ----
  /// Singular value decomposition of this matrix A (m x n): A = U diag(w) V'. This matrix becomes U (m x n,
  /// orthonormal columns when m >= n), w 1 x n, v n x n. The values are not negative and not sorted; values
  /// <= tol times the largest become 0. Golub and Reinsch (1970). Never fatal: "MatFullD.svd: svd received
  /// NaN" and "MatFullD.svd: svd produced NaN" tell of non-finite numbers, the latter with the input saved to
  /// "svd.bin"; 30 iterations without convergence are reported too. Nothing happens to an empty matrix, w and
  /// v.
  MatFullD& svd(MatFullD& w, MatFullD& v, double tol);
  /// Inverts this square matrix in place by LU decomposition without pivoting: the caller knows that no pivot
  /// vanishes, as in a symmetric positive definite matrix; else the result is not finite, or inexact.
  /// progress: see base/progress.h. The 1 x 1 matrix (0) and an empty matrix stay as they are. Fatal: not
  /// square (a 61, dimensions form, 0).
  MatFullD& inv(const Progress& progress = {});
  /// The same; q: largest absolute row sum of A inv(A) - 1, 0 for a perfect inverse, NaN for a failed one.
  MatFullD& inv(double& q);
  /// Becomes the x (a.ncol x b.ncol) that solves a x = b. mode 0: the least-squares solution of smallest norm
  /// for a of any shape and rank (singular values up to 1e-12 of the largest count as 0). Else by `inv`, for
  /// a square a whose pivots do not vanish: faster, and exact for well-conditioned positive definite a. This
  /// matrix may be a or b. Fatal: row counts of a and b (a 71, dimensions, 2), mode not 0 and a not square (a
  /// 61).
  MatFullD& solve(const MatFullD& a, const MatFullD& b, int mode);
  /// Diagonalises this symmetric matrix A (n x n) by Jacobi rotations until each element beside the diagonal
  /// is at most tol times the sum of its diagonal elements' sizes (60 sweeps at most). values: 1 x n,
  /// decreasing; this matrix becomes V with the eigenvectors as columns in the same order: A V = V
  /// diag(values). Slower than mgcEigenD, without its global tolerance. Nothing happens without rows. Fatal:
  /// not square (a 51, dimensions form, 0).
  MatFullD& diago(MatFullD& values, double tol);
  /// Makes the rows orthonormal without preferring one: the nearest such rows, (A A')^(-1/2) A, by the
  /// iteration A <- (3 A - A A' A) / 2 (Bjorck and Bowie, SIAM J. Numerical Analysis 8, 1971) until A A'
  /// differs from the identity by at most tol. Dependent rows: "MatFullD.ortho: no convergence!", the rows as
  /// far as they got.
  MatFullD& ortho(double tol);
  /// Makes row k orthogonal to the rows before it, which are orthonormal, and of length 1 (Gram-Schmidt,
  /// twice). A row that depends on them becomes rounding noise, or 0. Fatal: k (a 52, 1).
  MatFullD& ortho(long k);
  /// Rotates columns i and j: (a_i, a_j) becomes (c a_i - s a_j, s a_i + c a_j). Fatal: i, j outside (a 182).
  void colrot(long i, long j, double c, double s);
  /// The same for rows i and j. Fatal: i, j outside (a 181).
  void rowrot(long i, long j, double c, double s);
  /// Principal components of the rows (n x d), the k of largest variance (k outside 1..d: all). mean: 1 x d;
  /// vectors: k x d, one direction per row, by decreasing variance; values: k x 1, population variances, 0
  /// for standard deviations up to 1e-6 of the largest. Equal variances keep the order, and every direction
  /// the sign, of the decomposition. scale != 0: each direction of positive variance is divided by its
  /// standard deviation. Data with more rows than columns are reduced to a triangle first, without a copy of
  /// the data. Non-finite data: messages as in `svd`, results not finite. Fatal: no rows (a 7, argument 0).
  void pca(MatFullD& mean, MatFullD& vectors, MatFullD& values, long k, int scale) const;
  void pca(MatFullD& vectors, MatFullD& values, long k, int scale) const;
  /// The variances alone, the same bits at a fraction of the cost.
  void pca(MatFullD& values, long k, int scale) const;
};

std::ostream& operator<<(std::ostream& out, const MatFullD& m);
std::istream& operator>>(std::istream& in, MatFullD& m);

}  // namespace qvtx
