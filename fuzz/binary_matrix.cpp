// Binary matrices: what loads can be saved, and comes back bit for bit.

#include <cstring>

#include "round_trip.h"

namespace {

struct Binary {
  template <class Matrix>
  static int load(Matrix& m, const char* file) {
    return m.load_bin(file, 0);
  }
  template <class Matrix>
  static int save(const Matrix& m, const char* file) {
    return m.save_bin(file, 0);
  }
  template <class Matrix>
  static void compare(const Matrix& m, const Matrix& again) {
    const auto count = static_cast<std::size_t>(m.nrow() * m.ncol());
    qvtx::fuzz::demand(count == 0 || std::memcmp(m.data(), again.data(), count * sizeof *m.data()) == 0);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return qvtx::fuzz::round_trips<Binary>(bytes, size);
}
