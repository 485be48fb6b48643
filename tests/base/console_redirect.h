#pragma once
// Puts strings in the place of the three console streams for the lifetime of an object.

#include <iostream>
#include <sstream>
#include <string>

#include "base/istr.h"
#include "base/ostr.h"
#include "base/trace.h"

namespace qvtx {

class ConsoleRedirect {
 public:
  explicit ConsoleRedirect(const std::string& typed = "")
      : in_(typed), saved_err_(std::cerr.rdbuf(err_.rdbuf())), saved_os_(os), saved_is_(is) {
    os = Ostr(out_);
    is = Istr(in_);
    comtrac.clear();
  }
  ~ConsoleRedirect() {
    std::cerr.rdbuf(saved_err_);
    os = saved_os_;
    is = saved_is_;
    comtrac.clear();
  }
  ConsoleRedirect(const ConsoleRedirect&) = delete;
  ConsoleRedirect& operator=(const ConsoleRedirect&) = delete;

  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }
  /// What nobody has read yet.
  std::string rest() { return {std::istreambuf_iterator<char>(in_), {}}; }

 private:
  std::istringstream in_;
  std::ostringstream out_, err_;
  std::streambuf* saved_err_;
  Ostr saved_os_;
  Istr saved_is_;
};

}  // namespace qvtx
