// Snapshots: whatever loads can be reported, measured, mapped and saved again.

#include <fstream>
#include <sstream>

#include "fuzz.h"
#include "mapping/tomapp.h"

namespace {

/// Twelve data in three columns, those of the snapshots in the corpus.
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
  qvtx::MatFullD samples = data();
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
