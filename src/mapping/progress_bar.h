#pragma once
// The bar that tells how far a long operation has come.

#include <optional>

#include "base/ostr.h"
#include "base/time_left.h"

namespace qvtx {

/// A line of text, a bar below it that grows with every step, and "done!" at the end of its life. Without
/// `shown` nothing is printed.
class ProgressBar {
 public:
  /// n: steps in all.
  ProgressBar(bool shown, const char* prefix, const char* text, long n) : shown_(shown) {
    if (!shown_) return;
    os.fresh().ow(prefix).ow(text).nl();
    os.wbb(n, 60);
    left_.emplace(TimeLeft::Place::bar);
  }
  ~ProgressBar() {
    if (!shown_) return;
    left_.reset();
    os.wbe();
    os.ow("done!").nl();
  }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void step() {
    if (shown_) left_->tell(os.wbp().bar_share());
  }

 private:
  const bool shown_;
  std::optional<TimeLeft> left_;
};

}  // namespace qvtx
