#pragma once
// Console input.

#include <iosfwd>
#include <string>

namespace qvtx {

class Script;

/// A pointer to an input stream, which must live as long as it is read through this object.
class Istr {
 public:
  /// Wraps standard input.
  Istr();
  explicit Istr(std::istream& in) : stream(&in) {}
  Istr(const Istr&) = default;
  Istr& operator=(const Istr&) = default;

  /// Next character that is not a blank, tab, "\n" or "\r"; false at the end of the input.
  bool getc(char& c);
  /// Next word, delimited by blanks, tabs and line ends, of any length; false at the end of the input. The
  /// delimiter stays in the stream. Both leave their argument unchanged when they return false, and throw
  /// GivenUp when a signal interrupts them or has come before.
  bool getword(std::string& word);

  std::istream* stream;
  Script* script = nullptr;  ///< what the stream reads, when that is a script that is replayed
};

/// The console: standard input.
extern Istr is;

}  // namespace qvtx
