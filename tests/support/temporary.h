#pragma once
// Names of temporary files. Tests of one program run side by side, each in a process of its own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace qvtx::test {

inline std::string temporary(const std::string& name) {
  return ::testing::TempDir() + "qvtx-" + std::to_string(::getpid()) + "-" + name;
}

}  // namespace qvtx::test
