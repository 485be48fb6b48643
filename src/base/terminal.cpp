#include "base/terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace qvtx {

bool is_screen(int descriptor) {
  const char* const kind = std::getenv("TERM");
  return kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb" && ::isatty(descriptor) != 0;
}

}  // namespace qvtx
