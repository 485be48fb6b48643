// Text matrices: a file that loads can be saved, and the saved one loads with the same shape.

#include "fuzz.h"
#include "matrix/matfulld.h"

namespace {

template <class Matrix>
void round_trip(const std::uint8_t* bytes, std::size_t size) {
  const qvtx::fuzz::InputFile input(bytes, size);
  Matrix m;
  if (!m.load_asc(input.path(), 0)) return;
  qvtx::fuzz::demand(m.nrow() > 0 && m.ncol() > 0);
  const qvtx::fuzz::InputFile saved;
  qvtx::fuzz::demand(m.save_asc(saved.path(), 0, 1));
  Matrix again;
  qvtx::fuzz::demand(again.load_asc(saved.path(), 0));
  qvtx::fuzz::demand(again.nrow() == m.nrow() && again.ncol() == m.ncol());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  round_trip<qvtx::MatFullD>(bytes, size);
  round_trip<qvtx::MatFullL>(bytes, size);
  return 0;
}
