#pragma once
// What the tests of every folder share: strings in the place of the console, a working directory of their
// own, files as strings, and fatal errors.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/istr.h"
#include "base/ostr.h"
#include "base/trace.h"

namespace qvtx {

/// Puts strings in the place of the three console streams for the lifetime of the object.
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

 private:
  std::istringstream in_;
  std::ostringstream out_, err_;
  std::streambuf* saved_err_;
  Ostr saved_os_;
  Istr saved_is_;
};

namespace test {

/// An empty working directory for the lifetime of the object.
class Scratch {
 public:
  Scratch() : home_(std::filesystem::current_path()) {
    std::string name = ::testing::TempDir() + "qvtx-XXXXXX";
    EXPECT_NE(nullptr, ::mkdtemp(name.data()));
    path_ = name;
    std::filesystem::current_path(path_);
  }
  ~Scratch() {
    std::filesystem::current_path(home_);
    std::filesystem::remove_all(path_);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

 private:
  std::filesystem::path home_, path_;
};

inline void write_file(const std::string& name, const std::string& text) {
  std::filesystem::remove(name);  // some file systems wait for the disk when a file is overwritten
  std::ofstream(name, std::ios::binary) << text;
}

inline std::string read_file(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The elements of a matrix.
template <class M>
auto contents(const M& m) {
  return std::vector<typename M::value_type>(m.data(), m.data() + m.nrow() * m.ncol());
}

/// The binary record of an object.
template <class T>
std::string record_of(const T& object) {
  std::FILE* f = std::tmpfile();
  EXPECT_EQ(1, object.save_bin(f));
  std::string bytes(static_cast<std::size_t>(std::ftell(f)), '\0');
  std::rewind(f);
  EXPECT_EQ(bytes.size(), std::fread(bytes.data(), 1, bytes.size(), f));
  std::fclose(f);
  return bytes;
}

/// Loads an object from a record; returns the loader's result.
template <class T>
int load_record(T& object, const std::string& bytes) {
  std::FILE* f = std::tmpfile();
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::rewind(f);
  const int result = object.load_bin(f);
  std::fclose(f);
  return result;
}

}  // namespace test
}  // namespace qvtx

/// A fatal error reports on the console and ends the program with status 0; death tests look at standard
/// error.
#define EXPECT_FATAL(statement, text) \
  EXPECT_EXIT((qvtx::os.stream = &std::cerr, statement), ::testing::ExitedWithCode(0), text)
