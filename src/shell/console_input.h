#pragma once
// Standard input as the program reads it: a signal ends the wait for it.

#include <memory>
#include <streambuf>
#include <string>

#include "shell/line_editor.h"

namespace qvtx {

class ConsoleInput : public std::streambuf {
 public:
  /// first: text that is read ahead of what standard input holds. editor: what reads the lines of a terminal,
  /// or null.
  ConsoleInput(std::string first, std::unique_ptr<LineEditor> editor);

  /// True when a person types, as far as one can know.
  bool is_terminal() const { return terminal_; }

 protected:
  /// The end of the file also when a signal is remembered (base/interrupt.h); reading can then go on.
  int_type underflow() override;

 private:
  bool read_bytes();

  std::string bytes_;
  std::unique_ptr<LineEditor> editor_;
  bool terminal_;
};

}  // namespace qvtx
