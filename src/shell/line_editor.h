#pragma once
// Editing of the lines that a person types.

#include <memory>
#include <string>

namespace qvtx {

/// Reads lines from a terminal with arrow keys, the lines typed before (up, down, Ctrl-R) and completion by
/// Tab, as the present question (base/prompts.h) offers it. The terminal is as it was whenever `read` is not
/// at work.
class LineEditor {
 public:
  virtual ~LineEditor() = default;

  /// The next line with its end. False at the end of the input, and when a signal is remembered
  /// (base/interrupt.h); reading can then go on.
  virtual bool read(std::string& line) = 0;
};

/// Makes an editor; null where none can work: lines are then read as they come.
using OpenLineEditor = std::unique_ptr<LineEditor> (*)();

/// That of the program, which belongs to `main` and not to the library: so the library needs no other one.
/// With libedit (src/libedit.cpp) the keys are those of Emacs unless ~/.editrc says otherwise; it works when
/// standard input and standard error are screens (base/terminal.h). Without it (src/no_editor.cpp) always
/// null.
std::unique_ptr<LineEditor> open_line_editor();

}  // namespace qvtx
