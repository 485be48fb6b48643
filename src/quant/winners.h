#pragma once
// Best-matching prototypes for all data. A method that asks for the winner of every datum gets it here
// several times as fast as from VeQuan::prot_bmu, with the same results.

#include "matrix/distance/row_search.h"
#include "quant/epoch_memory.h"
#include "quant/vequan.h"

namespace qvtx {

/// out: x.nrow x 1, the nearest of `rows` for each row of x; 0 where no distance compares (NaN).
void nearest_rows(const MatFullD& rows, const MatFullD& x, MatFullL& out);

/// out: ndata x 1, `bmu` where it is a prototype's number, else the nearest prototype.
void assigned_prototypes(const MatFullD& dat, const MatFullD& prot, const MatFullL& bmu, MatFullL& out);

/// The columns that a capture changes: bmu (ndata x 1), bmucnt (ndata x 2), hits (nprot x 1).
struct CaptureBook {
  MatFullL& bmu;
  MatFullL& bmucnt;
  MatFullL& hits;

  /// Books that prototype k captures datum d. Returns 1 when that changes the datum's prototype.
  int capture(long d, long k);
};

/// Whether a nearest-row search without bound finds what VeQuan::prot_bmu finds, whatever a datum's previous
/// winner: class Minkowski with a whole exponent or >= 8, at least one prototype, numbers of moderate size.
///
/// Proof. prot_bmu bounds its search by b, the distance to the previous winner w (or by the caller's radius).
/// The search runs in the space of the sums, where w has the sum s and the threshold is t = 1.001 T(b). With
/// an exponent of 1, or of 8 and more, b = s = T(b), so s <= t. With the others, b is the rounded root of s,
/// and T(b), a product, lies within a few units in the last place of s (and equals s among the smallest
/// subnormal numbers), so again s <= t. Numbers of magnitude up to 1e150, or 1e40 from exponent 3 on, have
/// finite sums and no NaN. So w is never abandoned, and neither is the nearest row, whose sum is not above s;
/// a row drops out only by losing against it. What remains is the smallest sum, ties to the lowest row, in
/// both searches. Exponents that are not whole can lose a tiny s in the root, and NaN defeats every
/// comparison: there prot_bmu itself is the definition.
bool searches_agree(const MatFullD& dat, const MatFullD& prot);

/// Winners of all data at once, for methods whose prototypes rest while the data are assigned.
class BatchWinners {
 public:
  /// Finds them, in the memory, which must outlive the object. REQUIRES: searches_agree(dat, prot).
  BatchWinners(const MatFullD& dat, const MatFullD& prot, CaptureBook book, EpochMemory& memory);
  /// What VeQuan::prot_bmu(d, no_bound) does.
  int capture(long d) { return book_.capture(d, winner_(d, 0)); }

 private:
  CaptureBook book_;
  const MatFullL& winner_;  // ndata x 1
};

/// Winners datum by datum, for methods whose prototypes move in between. Works on a packed copy of the
/// prototypes where that gives the same results (searches_agree), else through the
/// quantizer's own operations.
class OnlineWinners {
 public:
  /// dat, prot and book are those of the quantizer; they and the memory, which holds the packed copy, must
  /// outlive the object. While it lives, prototypes change through it alone, by steps between 0 and 1 (these
  /// keep every prototype between data, so that its numbers stay of moderate size).
  OnlineWinners(VeQuan& quantizer, const MatFullD& dat, MatFullD& prot, CaptureBook book,
                EpochMemory& memory);

  /// What VeQuan::prot_bmu(d, r) does. REQUIRES: r > 0.
  int capture(long d, double r) { return packed() ? capture_packed(d, r) : quantizer_.prot_bmu(d, r); }
  /// Row of the prototype nearest to datum d, the lowest among equals. Nothing is booked.
  long nearest(long d) const;
  /// What VeQuan::prot_mov(d, a, k) does.
  void move(long d, double a, long k);
  /// The same for n different prototypes, ks[r] by the step steps[r].
  void move(long d, const double* steps, const long* ks, long n);
  /// Prototype k has been changed by the caller.
  void moved(long k);

  /// Whether the packed copy is in use.
  bool packed() const { return agree_ && search_.usable(); }
  const RowSearch& search() const { return search_; }

 private:
  int capture_packed(long d, double r);

  VeQuan& quantizer_;
  const MatFullD& dat_;
  MatFullD& prot_;
  CaptureBook book_;
  bool agree_;
  RowSearch search_;
};

}  // namespace qvtx
