#include "shell/version.h"

namespace qvtx {

const char* const version = QVTX_VERSION;

}  // namespace qvtx
