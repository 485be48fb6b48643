// Preference files: the tables stay usable whatever the file says.

#include <fstream>

#include "fuzz.h"
#include "settings/matpref.h"

namespace {

template <class T>
void load_and_use(const char* path) {
  std::ifstream file(path);
  qvtx::MatPrefT<T> table(8);
  table.load_asc(file);
  qvtx::Ostr report(*qvtx::os.stream);
  table.show(report);
  for (long k = table.count() - 1; k >= 0; --k) {
    table.newval(k, T{1});
    table.commit(k);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  // A value in front of the first entry is a fatal error of its own kind: not sought here.
  static const std::string entry = "p {fuzz    } {entry} 0 10 v 1\n";
  qvtx::fuzz::silence();
  std::string text = entry;
  text.append(reinterpret_cast<const char*>(bytes), size);
  const qvtx::fuzz::InputFile input(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  load_and_use<long>(input.path());
  load_and_use<double>(input.path());
  return 0;
}
