// Commands that work in every state.

#include <iostream>

#include "base/prompts.h"
#include "base/random.h"
#include "base/trace.h"
#include "settings/catalogue.h"
#include "shell/session.h"

namespace qvtx {

Outcome Session::exit() { return confirm() ? Outcome::leave : Outcome::quiet; }

Outcome Session::initialize_seed() {
  prompt("Initialize Seed: Deterministic ? ");
  if (confirm()) {
    setseed(default_seed);
  } else {
    setseed();
  }
  return Outcome::quiet;
}

Outcome Session::toggle_verbosity() {
  prompt("Toggle verbosity\n");
  analysis_.verbose = analysis_.verbose == 0 ? 1 : 0;
  return Outcome::quiet;
}

Outcome Session::modify_settings() {
  if (analysis_.verbose) prompt("Modify settings (menu for integer):\n");
  analysis_.getlpref().menu(os, is, &comtrac);
  if (analysis_.verbose) prompt("Modify settings (menu for real):\n");
  analysis_.getdpref().menu(os, is, &comtrac);
  warn_rising_pairs(analysis_.getdpref());
  return Outcome::quiet;
}

Outcome Session::modify_exponent() {
  if (analysis_.verbose) prompt("Modify Minkowski exponent:\n");
  return getdouble(MatFullD::miex) ? Outcome::done : Outcome::given_up;
}

Outcome Session::modify_class() {
  if (analysis_.verbose) prompt("Modify distance class:\n");
  getc1(MatFullD::mesp);
  return Outcome::done;
}

Outcome Session::display_details() {
  write_report(os, true);
  return Outcome::quiet;
}

}  // namespace qvtx
