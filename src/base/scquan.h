#pragma once
// Scalar quantizer: a real number to one of 2^bits equal bins.

namespace qvtx {

/// The interval [lb, ub] cut into 2^bits bins of equal width, numbered upwards from 0.
class ScQuan {
 public:
  ScQuan(double lb, double ub, long bits);
  /// Bounds in the wrong order are exchanged, with the line "ScQuan.setall: swapping lb><ub" on `os`.
  /// Negative bits count as 0, more than 62 as 62.
  void setall(double lb, double ub, long bits);
  /// Bin of x by `bits` successive halvings: 0 below lb and for NaN, bins - 1 above ub, the upper bin on a
  /// boundary.
  long getidx(double x) const;

  double lb() const { return lb_; }
  double ub() const { return ub_; }
  double width() const { return width_; }
  long bits() const { return bits_; }
  long bins() const { return bins_; }

 private:
  double lb_ = 0, ub_ = 0;
  double width_ = 0;  ///< width of a bin
  long bits_ = 0;
  long bins_ = 1;
};

}  // namespace qvtx
