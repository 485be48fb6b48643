#pragma once
// Strings in the place of the console, and fatal errors.

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

#include "base/istr.h"
#include "base/ostr.h"
#include "base/trace.h"

namespace qvtx {
namespace test {

/// Sends the console `os` into a string for the lifetime of the object.
class CaughtConsole {
 public:
  CaughtConsole() : before_(os) { os = Ostr(text_); }
  ~CaughtConsole() { os = before_; }
  CaughtConsole(const CaughtConsole&) = delete;
  CaughtConsole& operator=(const CaughtConsole&) = delete;

  std::string out() const { return text_.str(); }
  /// Everything printed since the last call.
  std::string take() {
    std::string text = text_.str();
    text_.str("");
    return text;
  }

 private:
  Ostr before_;
  std::ostringstream text_;
};

}  // namespace test

/// The same for all three streams, with what is typed; the trace begins and ends empty.
class ConsoleRedirect : public test::CaughtConsole {
 public:
  explicit ConsoleRedirect(const std::string& typed = "")
      : in_(typed), saved_err_(std::cerr.rdbuf(err_.rdbuf())), saved_is_(is) {
    is = Istr(in_);
    comtrac.clear();
  }
  ~ConsoleRedirect() {
    std::cerr.rdbuf(saved_err_);
    is = saved_is_;
    comtrac.clear();
  }

  std::string err() const { return err_.str(); }

 private:
  std::istringstream in_;
  std::ostringstream err_;
  std::streambuf* saved_err_;
  Istr saved_is_;
};

}  // namespace qvtx

/// A fatal error reports on the console and ends the program with status 0; death tests look at standard
/// error.
#define EXPECT_FATAL(statement, text) \
  EXPECT_EXIT((qvtx::os.stream = &std::cerr, statement), ::testing::ExitedWithCode(0), text)
