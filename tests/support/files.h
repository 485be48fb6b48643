#pragma once
// A working directory of a test's own, names of temporary files, and files as strings.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace qvtx::test {

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

/// Name of a temporary file. Tests of one program run side by side, each in a process of its own.
inline std::string temporary(const std::string& name) {
  return ::testing::TempDir() + "qvtx-" + std::to_string(::getpid()) + "-" + name;
}

inline void write_file(const std::string& name, const std::string& text) {
  std::filesystem::remove(name);  // some file systems wait for the disk when a file is overwritten
  std::ofstream(name, std::ios::binary) << text;
}

inline std::string read_file(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
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

}  // namespace qvtx::test
