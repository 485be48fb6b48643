#pragma once
// What the fuzz targets share. A target is one function that must survive any bytes: with libFuzzer it is
// called with ever new ones, and the tests replay the corpus through it. The program's fatal errors end the
// process, which both report as a failure.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>

#include "base/ostr.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace qvtx::fuzz {

/// A broken promise of the code under test.
inline void demand(bool holds) {
  if (!holds) std::abort();
}

/// A temporary file with these bytes; it goes with the object. TMPDIR=/dev/shm makes the targets much faster.
class InputFile {
 public:
  InputFile(const std::uint8_t* bytes, std::size_t size)
      : path_(std::filesystem::temp_directory_path() / "qvtx_fuzz_XXXXXX") {
    const int descriptor = mkstemp(path_.data());
    demand(descriptor >= 0);
    demand(write(descriptor, bytes, size) == static_cast<ssize_t>(size));
    close(descriptor);
  }
  InputFile() : InputFile(nullptr, 0) {}
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile() { unlink(path_.c_str()); }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

/// Swallows what the program prints.
inline void silence() { os.stream->setstate(std::ios::failbit); }

}  // namespace qvtx::fuzz
