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
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
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
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline std::string contents(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

/// Reads a block from a text as if it stood in a file; returns the loader's result.
template <class T>
int load_block(MatPrefT<T>& table, const std::string& text) {
  const Folder folder;
  std::ifstream in(folder.write("block", text), std::ios::binary);
  return table.load_asc(in);
}

/// Fatal errors report on the console, death tests look at standard error.
inline void console_to_stderr() { os.stream = &std::cerr; }

}  // namespace qvtx::settings_test
