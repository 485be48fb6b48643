// Text matrices: a file that loads can be saved, and the saved one loads with the same shape. The reader of
// files, which takes many numbers at a time, and that of streams, which takes one by one, agree.

#include <cstring>
#include <sstream>

#include "round_trip.h"

namespace {

struct Text {
  template <class Matrix>
  static int load(Matrix& m, const char* file) {
    return m.load_asc(file, 0);
  }
  template <class Matrix>
  static int save(const Matrix& m, const char* file) {
    return m.save_asc(file, 0, 1);
  }
  template <class Matrix>
  static void compare(const Matrix& m, const Matrix&) {
    qvtx::fuzz::demand(m.nrow() > 0 && m.ncol() > 0);
  }
};

void compare_with_stream(const std::uint8_t* bytes, std::size_t size) {
  const qvtx::fuzz::InputFile input(bytes, size);
  qvtx::MatFullD loaded, read;
  if (loaded.load_asc(input.path(), 0) == 0) return;
  std::istringstream text(std::string(bytes, bytes + size));
  qvtx::Istr from(text);
  qvtx::fuzz::demand(read.read(from) == loaded.nrow() && read.ncol() == loaded.ncol());
  const auto count = static_cast<std::size_t>(read.nrow() * read.ncol());
  qvtx::fuzz::demand(std::memcmp(read.data(), loaded.data(), count * sizeof(double)) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  compare_with_stream(bytes, size);
  return qvtx::fuzz::round_trips<Text>(bytes, size);
}
