// Schedule files: every method either refuses one or ends with numbers.

#include <fstream>

#include "fuzz.h"
#include "mapping/tomapp.h"
#include "samples.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  std::ifstream preferences(QVTX_SOURCE_DIR "/examples/Qvtx.prf");
  qvtx::ToMapp session(preferences);
  session.verbose = 0;
  qvtx::MatFullD samples = qvtx::fuzz::samples();
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
