#pragma once
// The bar that tells how far a long operation has come.

#include "base/ostr.h"

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
  }
  ~ProgressBar() {
    if (!shown_) return;
    os.wbe();
    os.ow("done!").nl();
  }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void step() {
    if (shown_) os.wbp();
  }

 private:
  const bool shown_;
};

}  // namespace qvtx
