#pragma once
// What an analysis says on the console.

#include "base/ostr.h"

namespace qvtx {

/// Messages on `os`, after the prefix and, unless they are refusals, only when verbose.
class Messages {
 public:
  long verbose = 0;  ///< non-zero: messages are printed

 protected:
  /// Ends the line and prints prefix and text as a line, verbose or not.
  void refuse(const char* text) const { os.fresh().ow(prefix).ow(text).nl().flush(); }
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
};

}  // namespace qvtx
