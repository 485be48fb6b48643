#pragma once
// What an iterative method tells the loop over its epochs.

#include <functional>
#include <utility>
#include <vector>

namespace qvtx {

/// Where the schedule of a method comes from when its file cannot be read.
struct ScheduleSource {
  const char* default_file;  ///< tried next
  const char* notice;        ///< said when the keys make the schedule
  const char* epochs;        ///< key of the number of rows
  /// Per column the keys of its first and last value, between which it falls by the hyperbolic law.
  std::vector<std::pair<const char*, const char*>> columns;
};

/// An error that the loop counter shows.
struct EpochError {
  const char* label = "";
  std::function<double()> measure;
};

/// Runs epoch e = 0, 1, ...; 0 ends the loop.
using Epoch = std::function<long(long)>;

}  // namespace qvtx
