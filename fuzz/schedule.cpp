// Schedule files: every method either refuses one or ends with numbers.

#include <fstream>

#include "fuzz.h"
#include "mapping/tomapp.h"

namespace {

/// Twelve data in three columns.
qvtx::MatFullD data() {
  qvtx::MatFullD m(12, 3);
  m.setrows(12, 0.0);
  for (long i = 0; i < 36; ++i)
    m.data()[i] = static_cast<double>((i * 7) % 11) + 0.125 * static_cast<double>(i % 5);
  return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  std::ifstream preferences(QVTX_SOURCE_DIR "/examples/Qvtx.prf");
  qvtx::ToMapp session(preferences);
  session.verbose = 0;
  qvtx::MatFullD samples = data();
  qvtx::fuzz::demand(session.dataload(samples, 1));
  const qvtx::fuzz::InputFile schedule(bytes, size);
  const char* const file = schedule.path();
  session.cl(3, file);
  session.fcl(3, file);
  session.nw(2.0, file);
  session.som(4, 1.0, file);
  session.jp(file);
  if (session.ng(5, file) <= 0) session.ng(5, nullptr);
  session.sammon(2, file);
  session.isotop(2, file);
  session.cda(2, file);
  qvtx::MatFullD near, places, made;
  session.sammon_iv(samples, near, places, file);
  session.sammon_rd(places, near, made, file);
  session.mapr_err();
  return 0;
}
