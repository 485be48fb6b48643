#pragma once
// Standard input as the program reads it: a signal ends the wait for it.

#include <streambuf>
#include <string>

namespace qvtx {

class ConsoleInput : public std::streambuf {
 public:
  /// first: text that is read ahead of what standard input holds.
  explicit ConsoleInput(std::string first);

  /// True when a person types, as far as one can know.
  bool is_terminal() const { return terminal_; }

 protected:
  /// The end of the file also when a signal is remembered (base/interrupt.h); reading can then go on.
  int_type underflow() override;

 private:
  std::string bytes_;
  bool terminal_;
};

}  // namespace qvtx
