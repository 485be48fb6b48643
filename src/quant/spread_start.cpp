#include "quant/spread_start.h"

#include <algorithm>

#include "base/random.h"

namespace qvtx {

namespace {

/// floor(ln n) for n >= 1. No power of e is near enough to a whole number for the rounding to matter.
long floor_log(long n) {
  long k = 0;
  for (double power = 0x1.5bf0a8b145769p+1; power <= static_cast<double>(n); power *= 0x1.5bf0a8b145769p+1)
    ++k;
  return k;
}

/// Draws rows in proportion to the squared distance from what was chosen so far.
class Spread {
 public:
  explicit Spread(const MatFullD& data) : data_(data) {
    for (MatFullD* column : {&nearest_, &sums_, &candidate_, &best_}) {
      column->setdim(data.nrow(), 1);
      column->setrows(data.nrow());
    }
  }

  bool has_room() const {
    return std::min({nearest_.nrow(), sums_.nrow(), candidate_.nrow(), best_.nrow()}) == data_.nrow();
  }
  double total() const { return sums_.data()[data_.nrow() - 1]; }

  void begin(long row) {
    data_.sdav(row, nearest_, no_bound);
    add_up();
  }

  /// The row chosen among so many candidates.
  long choose(long candidates) {
    long chosen = -1;
    double least = 0;
    for (; candidates > 0; --candidates) {
      const long row = draw();
      const double left = total_with(row);
      if (chosen >= 0 && !(left < least)) continue;
      least = left;
      chosen = row;
      best_.swap(candidate_);
    }
    nearest_.swap(best_);
    add_up();
    return chosen;
  }

 private:
  long draw() const {
    const double reached = u_rand() * total();
    const double* sums = sums_.data();
    return std::min(std::lower_bound(sums, sums + data_.nrow(), reached) - sums, data_.nrow() - 1);
  }

  /// The total that would be left with one more row; its distances stay in `candidate_`.
  double total_with(long row) {
    data_.sdav(row, candidate_, no_bound);
    double* d = candidate_.data();
    double sum = 0;
    for (long i = 0; i < data_.nrow(); ++i) {
      d[i] = std::min(d[i], nearest_.data()[i]);
      sum += d[i] * d[i];
    }
    return sum;
  }

  void add_up() {
    double sum = 0;
    for (long i = 0; i < data_.nrow(); ++i) {
      const double d = nearest_.data()[i];
      sums_.data()[i] = sum += d * d;
    }
  }

  const MatFullD& data_;
  MatFullD nearest_;    ///< N x 1: distance to the nearest row chosen
  MatFullD sums_;       ///< N x 1: running sums of its square
  MatFullD candidate_;  ///< N x 1: the same distances with the candidate at hand
  MatFullD best_;       ///< N x 1: and with the best one so far
};

}  // namespace

bool spread_start(MatFullD& prot, const MatFullD& data) {
  Spread spread(data);
  if (!spread.has_room()) return false;
  const long n = prot.nrow();
  const long first = draw_index(data.nrow());
  prot.copy(0, data, first);
  spread.begin(first);
  const long candidates = 2 + floor_log(n);
  for (long k = 1; k < n; ++k) {
    if (!(spread.total() > 0)) {
      prot.raseli(data, k, n - k);
      break;
    }
    prot.copy(k, data, spread.choose(candidates));
  }
  return true;
}

}  // namespace qvtx
