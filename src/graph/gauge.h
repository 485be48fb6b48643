#pragma once
// Named analysis steps with prerequisites.

#include <cstdio>

#include "graph/matlink.h"
#include "matrix/matfullc.h"

namespace qvtx {

/// Which steps of an analysis are done, and which step needs which. A step depends on earlier steps only; as
/// long as flags change through `setflag` and `shutflag` alone, no step is done before those that it needs.
///
/// Every operation that takes a step number ends the program through `badstep` when there is no such step.
class Gauge {
 public:
  static constexpr long name_length = 8;  ///< characters of a name that are kept

  /// n steps, all flags 0, no links, no names.
  explicit Gauge(long n);

  /// Names the next unnamed step and makes it depend on step `needs` (-1: on none); returns its number. The
  /// name is cut to 8 characters. Fatal (`badstep`): all steps are named, or `needs` is not a step before
  /// this one.
  long addstep(const char* name, long needs);
  /// Number of the step with exactly this name, or -1 unless exactly one matches.
  long getstep(const char* name) const;
  /// 1 when the step is done, or when every step linked to it with a smaller number is done; else 0.
  int tryflag(long k) const;
  /// Starts a step: if it is done, clears it and, breadth-first, every done step built on a cleared one, and
  /// returns 1; otherwise changes nothing and returns what `tryflag` returns.
  int shutflag(long k);
  /// 1 when the step is done, else 0.
  int getflag(long k) const;
  /// Completes a step: a flag that is set stays, another is set when every step it depends on is done.
  /// Returns the flag.
  int setflag(long k);
  /// Ends the program: "Gauge: bad step <k>" (k in the default field width), status 0.
  [[noreturn]] void badstep(long k) const;

  /// The flags, then the links.
  void show(Ostr& o) const;
  /// Flags, link store, names. 0 at the first one that cannot be written and for a null file.
  int save_bin(std::FILE* f) const;
  /// The gauge is unchanged when 0 is returned: a null or short file, parts that do not fit each other, a
  /// step that is done before one that it needs, or, for a gauge that has names, other steps than its own.
  int load_bin(std::FILE* f);
  /// True when both have the same steps by number and name, with the same dependences.
  bool same_steps(const Gauge& other) const;
  void swap(Gauge& other) noexcept;
  void duplicate(const Gauge& other);  ///< becomes the same, to the bytes that it saves

 private:
  void check(long k) const;
  bool prerequisites(long k) const;
  bool consistent() const;

  MatFullL flags_;        ///< n x 1, non-zero = done
  MatLinkT<long> links_;  ///< a link i < j: j needs i
  MatFullC names_;        ///< one row per named step, 9 characters
};

}  // namespace qvtx
