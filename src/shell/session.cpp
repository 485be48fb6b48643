#include "shell/session.h"

#include <iostream>

#include "base/prompts.h"
#include "base/trace.h"
#include "settings/catalogue.h"
#include "shell/command_table.h"
#include "shell/version.h"

namespace qvtx {

Session::Session(std::ifstream& prefs) : analysis_(prefs) {
  analysis_.verbose = 1;
  warn_rising_pairs(analysis_.getdpref());
}

int Session::run() {
  banner();
  while (step()) {
  }
  return 0;
}

void Session::banner() const {
  os.ow(banner_line_1).nl();
  os.ow("Version: 20060502").nl();
  os.ow(banner_line_2).nl();
  os.ow("Type hh to display some help").nl();
}

bool Session::step() {
  const std::size_t mark = comtrac.size();
  char c1 = 0;
  char c2 = 0;
  if (!getc1c2(c1, c2)) return false;
  const Command* command = find_command(c1, c2);
  if (!command || !allowed(*command)) {
    bad_command(c1, c2);
    return true;
  }
  const Outcome outcome = (this->*command->handler)();
  if (outcome == Outcome::given_up) comtrac.resize(mark);
  finish(*command, outcome);
  return outcome != Outcome::leave;
}

void Session::finish(const Command& command, Outcome outcome) {
  if (outcome != Outcome::done) return;
  // The graphs are about to be forgotten, so the report after a method leaves them out.
  if (command.report) write_report(os, false);
  work_.reinit(command.staleness);
}

Outcome Session::bad_command(char c1, char c2) const {
  os.flush();
  std::cerr << "Bad command : " << c1 << c2 << '\n';
  return Outcome::quiet;
}

bool Session::ask_long(const char* text, long& v) const {
  prompt(text);
  return getlong(v);
}

bool Session::ask_double(const char* text, double& v) const {
  prompt(text);
  return getdouble(v);
}

}  // namespace qvtx
