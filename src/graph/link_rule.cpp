#include "graph/link_rule.h"

namespace qvtx {

const char* name_of(LinkRule rule) {
  switch (rule) {
    case LinkRule::e_link:
      return "e_link";
    case LinkRule::n_link:
      return "n_link";
    case LinkRule::r_link:
      return "r_link";
    case LinkRule::d_link:
      return "d_link";
    case LinkRule::h_link:
      return "h_link";
    default:
      return "none";
  }
}

}  // namespace qvtx
