// The number scanner against the standard extraction: the same value, the same end, the same verdict.

#include <cstring>
#include <locale>
#include <sstream>

#include "fuzz.h"
#include "matrix/text/number_scanner.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes),
                         std::strlen(std::string(bytes, bytes + size).c_str()));
  if (text.empty() || std::isspace(text[0], std::locale::classic())) return 0;
  const qvtx::ScannedNumber scanned = qvtx::scan_number(text.c_str());
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  double value = 0;
  in >> value;
  qvtx::fuzz::demand(scanned.valid == !in.fail());
  qvtx::fuzz::demand(std::memcmp(&scanned.value, &value, sizeof value) == 0);
  if (!scanned.valid) return 0;
  const auto taken =
      in.eof() ? static_cast<std::ptrdiff_t>(text.size()) : static_cast<std::ptrdiff_t>(in.tellg());
  qvtx::fuzz::demand(scanned.end - text.c_str() == taken);
  return 0;
}
