#pragma once
// How long it still takes, for a person who waits at a terminal.

#include <chrono>
#include <string>

#include "base/progress.h"

namespace qvtx {

/// Writes the time that a piece of work will still take on standard error, beside what the console shows of
/// it: nothing where standard error is no screen (base/terminal.h), nothing during the first two seconds, and
/// never on standard output. The estimate supposes that the work goes on as it went.
class TimeLeft {
 public:
  enum class Place {
    line,  ///< at the end of the console's line, which is complete; it stays there
    bar,   ///< right of the console's progress bar, until the end
    open   ///< behind the console's line, which will go on, until the end; with the share that is done
  };

  /// The work begins. what: in front of the share.
  explicit TimeLeft(Place place, std::string what = "");
  /// Takes away what does not stay.
  ~TimeLeft();
  TimeLeft(const TimeLeft&) = delete;
  TimeLeft& operator=(const TimeLeft&) = delete;

  /// This share of the work is done, in 0 .. 1. Cheap enough for every row of a matrix.
  void tell(double share);

 private:
  using Clock = std::chrono::steady_clock;
  void draw(const std::string& text) const;

  Place place_;
  const std::string what_;
  const bool seen_;  ///< there is a screen
  const Clock::time_point begin_;
  Clock::time_point next_;  ///< when it is worth to write again
  bool drawn_ = false;
};

/// A `TimeLeft` at an open line in the form that computations tell it; it ends with the last copy.
Progress time_left_of(std::string what);

/// "12 s", "3 min", "2 h" for a time in seconds, rounded up.
std::string duration_text(double seconds);

}  // namespace qvtx
