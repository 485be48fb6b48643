// Binary matrices: what loads can be saved, and comes back bit for bit.

#include <algorithm>
#include <cstring>

#include "fuzz.h"
#include "matrix/matfulld.h"
#include "matrix/matstor.h"

namespace {

template <class Matrix>
void round_trip(const std::uint8_t* bytes, std::size_t size) {
  const qvtx::fuzz::InputFile input(bytes, size);
  Matrix m;
  if (!m.load_bin(input.path(), 0)) return;
  const qvtx::fuzz::InputFile saved;
  qvtx::fuzz::demand(m.save_bin(saved.path(), 0));
  Matrix again;
  qvtx::fuzz::demand(again.load_bin(saved.path(), 0));
  qvtx::fuzz::demand(again.nrow() == m.nrow() && again.ncol() == m.ncol());
  const auto count = static_cast<std::size_t>(m.nrow() * m.ncol());
  qvtx::fuzz::demand(count == 0 || std::memcmp(m.data(), again.data(), count * sizeof *m.data()) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  round_trip<qvtx::MatFullD>(bytes, size);
  round_trip<qvtx::MatFullL>(bytes, size);
  return 0;
}
