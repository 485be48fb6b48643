#include "base/scquan.h"

#include <utility>

#include "base/ostr.h"

namespace qvtx {

ScQuan::ScQuan(double lb, double ub, long bits) { setall(lb, ub, bits); }

void ScQuan::setall(double lb, double ub, long bits) {
  if (ub < lb) {
    std::swap(lb, ub);
    os.ow("ScQuan.setall: swapping lb><ub").nl();
  }
  lb_ = lb;
  ub_ = ub;
  bits_ = bits < 0 ? 0 : bits > 62 ? 62 : bits;
  bins_ = 1L << bits_;
  width_ = (ub_ - lb_) / static_cast<double>(bins_);
}

long ScQuan::getidx(double x) const {
  double half = (ub_ - lb_) / 2;
  double middle = lb_ + half;
  long bin = 0;
  for (long b = 0; b < bits_; ++b) {
    const bool upper = x >= middle;
    bin = 2 * bin + (upper ? 1 : 0);
    half /= 2;
    middle += upper ? half : -half;
  }
  return bin;
}

}  // namespace qvtx
