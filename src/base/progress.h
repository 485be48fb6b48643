#pragma once
// How far a long computation has come.

#include <functional>

namespace qvtx {

/// Told from time to time which share of the work is done, in 0 .. 1; empty: nobody wants to know. It changes
/// no result.
using Progress = std::function<void(double)>;

inline void tell_share(const Progress& progress, double share) {
  if (progress) progress(share);
}

}  // namespace qvtx
