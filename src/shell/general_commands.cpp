// Commands that work in every state.

#include <iostream>
#include <string_view>

#include "base/prompts.h"
#include "base/random.h"
#include "base/script.h"
#include "base/trace.h"
#include "settings/catalogue.h"
#include "settings/value_text.h"
#include "shell/session.h"

namespace qvtx {

Outcome Session::exit() {
  if (manner_.terminal && unsaved()) tell("the analysis was not saved: sm saves it");
  return confirm() ? Outcome::leave : Outcome::quiet;
}

Outcome Session::initialize_seed() {
  prompt("Initialize Seed: Deterministic ? ");
  std::string noted;
  if (confirm()) {
    setseed(default_seed);
  } else if (is.script != nullptr && is.script->take_note("seed", noted)) {
    seed(std::strtoul(noted.c_str(), nullptr, 10));
  } else {
    seed(clock_seed());
  }
  return Outcome::quiet;
}

Outcome Session::toggle_verbosity() {
  prompt("Toggle verbosity\n");
  analysis_.verbose = analysis_.verbose == 0 ? 1 : 0;
  tell(analysis_.verbose != 0 ? "verbosity is on" : "verbosity is off");
  return Outcome::quiet;
}

Outcome Session::modify_settings() {
  if (analysis_.verbose) prompt("Modify settings (menu for integer):\n");
  alter().getlpref().menu(os, is, &comtrac);
  if (analysis_.verbose) prompt("Modify settings (menu for real):\n");
  analysis_.getdpref().menu(os, is, &comtrac);
  refused_ = analysis_.getlpref().menu_refused() || analysis_.getdpref().menu_refused();
  warn_rising_pairs(analysis_.getdpref());
  return Outcome::quiet;
}

Outcome Session::modify_exponent() {
  if (analysis_.verbose) prompt("Modify Minkowski exponent:\n");
  double exponent = 0;
  if (!getdouble(exponent)) return Outcome::given_up;
  if (exponent < 0) {
    refuse("an exponent is not negative: " + value_text(MatFullD::miex) + " stays");
    return Outcome::given_up;
  }
  alter();
  MatFullD::miex = exponent;
  hint_metric();
  return Outcome::done;
}

Outcome Session::modify_class() {
  if (analysis_.verbose) prompt("Modify distance class:\n");
  char distance = 0;
  getc1(distance);
  alter();
  MatFullD::mesp = distance;
  if (std::string_view("mac").find(distance) == std::string_view::npos)
    refuse(std::string("there is no distance class ") + distance + " (m, a, c): it counts as m");
  hint_metric();
  return Outcome::done;
}

Outcome Session::display_details() {
  write_report(os, 2, true);
  hint_stress();
  hint_labels();
  return Outcome::quiet;
}

}  // namespace qvtx
