// Binary matrices: what loads can be saved, and comes back bit for bit.

#include <cstring>

#include "matrix/matfulld.h"
#include "round_trip.h"

namespace {

template <class Matrix>
void check(const std::uint8_t* bytes, std::size_t size) {
  const qvtx::fuzz::Format<Matrix> binary = {
      [](Matrix& m, const char* name) { return m.load_bin(name, 0); },
      [](const Matrix& m, const char* name) { return m.save_bin(name, 0); }};
  qvtx::fuzz::round_trip(bytes, size, binary, [](const Matrix& m, const Matrix& again) {
    const auto count = static_cast<std::size_t>(m.nrow() * m.ncol());
    qvtx::fuzz::demand(count == 0 || std::memcmp(m.data(), again.data(), count * sizeof *m.data()) == 0);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  check<qvtx::MatFullD>(bytes, size);
  check<qvtx::MatFullL>(bytes, size);
  return 0;
}
