#pragma once
// A fatal error of the program ends it with status 0, on purpose. A test program that ended that way in the
// middle of a test would count as passed; including this header makes it fail.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace qvtx::test {

/// Turns an exit from within a test into a failure, unless a death test asked for it.
inline void fail_early_exit() {
  if (::testing::UnitTest::GetInstance()->current_test_info() == nullptr ||
      ::testing::internal::InDeathTestChild())
    return;
  std::fputs("the program ended in the middle of a test\n", stderr);
  std::_Exit(1);
}

inline const bool early_exit_guarded = [] {
  ::testing::UnitTest::GetInstance();  // made first, so that it outlives the handler
  return std::atexit(fail_early_exit) == 0;
}();

}  // namespace qvtx::test
