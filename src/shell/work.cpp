#include "shell/work.h"

namespace qvtx {

void Work::reinit(int level) {
  if (level >= 1) jrp.setrows(0);
  if (level >= 2) {
    prj.setrows(0);
    ppr.setrows(0);
  }
  if (level >= 3) {
    sgd.clear();
    egd.clear();
    cgd.clear();
  }
}

}  // namespace qvtx
