#pragma once
// Makes requests for memory fail. For programs that are linked with failing_memory.cpp,
// -Wl,--wrap=malloc and -Wl,--wrap=realloc: matrices take their storage from these, everything else from
// operator new. Works under sanitizers, too.

namespace qvtx::test {

/// While an object lives, the request with this number (from 0) fails; with `lasting` all later ones, too.
class FailingMemory {
 public:
  FailingMemory(long number, bool lasting) {
    requests = 0;
    first = number;
    last = lasting ? -1 : number;
    armed = true;
  }
  ~FailingMemory() { armed = false; }
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  /// Whether a request has failed in the last object's life.
  static bool happened() { return requests > first; }

  static bool next_fails() {
    if (!armed) return false;
    const long number = requests++;
    return number >= first && (last < 0 || number <= last);
  }

 private:
  static inline bool armed = false;
  static inline long requests = 0, first = 0, last = 0;
};

}  // namespace qvtx::test
