#pragma once
// What the tests of the settings share: the console caught in a string, and files of their own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "base/ostr.h"
#include "settings/matpref.h"

namespace qvtx::settings_test {

/// Sends the console into a string for the lifetime of the object.
class Console {
 public:
  Console() : before_(os) { os = Ostr(text_); }
  ~Console() { os = before_; }
  std::string text() const { return text_.str(); }

 private:
  Ostr before_;
  std::ostringstream text_;
};

/// A directory of its own, removed at the end.
class Folder {
 public:
  Folder() {
    std::string pattern = ::testing::TempDir() + "/settingsXXXXXX";
    path_ = mkdtemp(pattern.data());
  }
  ~Folder() { std::filesystem::remove_all(path_); }

  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }

 private:
  std::filesystem::path path_;
};

inline std::string contents(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// Fatal errors report on the console, death tests look at standard error.
inline void console_to_stderr() { os.stream = &std::cerr; }

}  // namespace qvtx::settings_test
