// Text matrices: a file that loads can be saved, and the saved one loads with the same shape.

#include "matrix/matfulld.h"
#include "round_trip.h"

namespace {

template <class Matrix>
void check(const std::uint8_t* bytes, std::size_t size) {
  const qvtx::fuzz::Format<Matrix> text = {
      [](Matrix& m, const char* name) { return m.load_asc(name, 0); },
      [](const Matrix& m, const char* name) { return m.save_asc(name, 0, 1); }};
  qvtx::fuzz::round_trip(bytes, size, text, [](const Matrix& m, const Matrix&) {
    qvtx::fuzz::demand(m.nrow() > 0 && m.ncol() > 0);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  check<qvtx::MatFullD>(bytes, size);
  check<qvtx::MatFullL>(bytes, size);
  return 0;
}
