// Snapshots: whatever loads can be reported, measured, mapped and saved again.

#include <fstream>
#include <sstream>

#include "fuzz.h"
#include "mapping/tomapp.h"
#include "samples.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  std::ifstream preferences(QVTX_SOURCE_DIR "/examples/Qvtx.prf");
  qvtx::ToMapp session(preferences);
  qvtx::MatFullD samples = qvtx::fuzz::samples();
  qvtx::fuzz::demand(session.dataload(samples, 1));
  const qvtx::fuzz::InputFile input(bytes, size);
  if (!session.load_mbf(input.path())) return 0;
  std::ostringstream text;
  qvtx::Ostr report(text);
  session.show(report, 1);
  const qvtx::fuzz::InputFile saved;
  qvtx::fuzz::demand(session.save_mbf(saved.path()) != 0);
  qvtx::fuzz::demand(session.load_mbf(saved.path()) != 0);
  session.dist_ini(0);
  session.prot_err();
  session.mapr_err();
  session.protdel(0);
  session.show(report, 1);
  return 0;
}
