#pragma once
// Runs the real program on a terminal of its own, as a person does.

#include <sys/types.h>

#include <string>
#include <vector>

#include "console/program.h"

namespace qvtx::console {

class Terminal {
 public:
  /// Starts the program in the directory. piped: its input is a pipe instead of the terminal; both streams of
  /// its output always are the terminal. kind: of the terminal, TERM; a "dumb" one cannot edit lines.
  Terminal(const Workplace& here, std::vector<std::string> arguments = {}, bool piped = false,
           const char* kind = "xterm");
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// Writes to the input of the program; "\x03" is Ctrl-C on a terminal.
  void type(const std::string& text) const;
  void send(int signal) const;
  /// Reads until the text has come behind what was last found; fails the test and returns false when it does
  /// not come within a minute or the program ends first.
  bool find(const std::string& text);
  /// Waits for the end of the program: its exit status, or minus the signal that killed it. Kills it, and the
  /// test fails, when it stays for minutes.
  int end();
  /// The terminal reads whole lines and echoes them, as a shell wants it back.
  bool is_cooked() const;
  /// Everything that came so far.
  const std::string& screen() const { return screen_; }

 private:
  bool read_more();

  pid_t child_ = -1;
  int terminal_ = -1;
  int input_ = -1;
  std::string screen_;
  std::size_t found_ = 0;
};

}  // namespace qvtx::console
