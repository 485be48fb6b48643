// Text matrices: a file that loads can be saved, and the saved one loads with the same shape.

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return qvtx::fuzz::round_trips<Text>(bytes, size);
}
