#pragma once
// The rules by which points are linked.

namespace qvtx {

/// Values of the setting "vglink_p"; each rule is the method of MatLinkD of its name.
enum class LinkRule : long { none, e_link, n_link, r_link, d_link, h_link };

/// "none", "e_link" and so on; "none" for a number that stands for no rule.
const char* name_of(LinkRule rule);

}  // namespace qvtx
