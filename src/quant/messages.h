#pragma once
// What an analysis says on the console.

#include <string>
#include <utility>

#include "base/ostr.h"

namespace qvtx {

/// Messages on `os`, after the prefix and, unless they are refusals, only when verbose.
class Messages {
 public:
  long verbose = 0;  ///< non-zero: messages are printed

  /// The text of the last refusal since the last call, empty when there was none.
  std::string take_refusal() { return std::exchange(refusal_, {}); }

 protected:
  /// Ends the line and prints prefix and text as a line, verbose or not.
  void refuse(const char* text) const {
    os.fresh().ow(prefix).ow(text).nl().flush();
    refusal_ = text;
  }
  /// Prefix and text; the line stays open.
  void say(const char* text) const {
    if (verbose) os.ow(prefix).ow(text).flush();
  }
  /// Prefix and text as a line.
  void say_line(const char* text) const {
    if (verbose) os.ow(prefix).ow(text).nl();
  }
  /// More of an open line, and its end.
  void say_piece(const char* text) const {
    if (verbose) os.ow(text).flush();
  }
  void say_end(const char* text) const {
    if (verbose) os.ow(text).nl();
  }

  const char* prefix = "VeQuan.";  ///< in front of every message

 private:
  mutable std::string refusal_;
};

}  // namespace qvtx
