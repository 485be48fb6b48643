#pragma once
// What an iterative method tells the loop over its epochs.

#include <functional>
#include <vector>

#include "matrix/matfulll.h"
#include "settings/keys.h"

namespace qvtx {

/// Where the schedule of a method comes from when its file cannot be read.
struct ScheduleSource {
  const char* default_file;  ///< tried next
  const char* notice;        ///< said when the keys make the schedule
  Key<long> epochs;          ///< number of rows
  /// A column falls from its first to its last value by the hyperbolic law.
  struct Decay {
    Key<double> first, last;
  };
  std::vector<Decay> columns;
};

/// Shuffles an order column: for i from the last to 0, exchange entries i and draw_index(n).
void shuffle(MatFullL& order);

/// An error that the loop counter shows.
struct EpochError {
  const char* label = "";
  std::function<double()> measure;
};

/// Runs epoch e = 0, 1, ...; 0 ends the loop.
using Epoch = std::function<long(long)>;

}  // namespace qvtx
