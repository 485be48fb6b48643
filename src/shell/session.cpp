#include "shell/session.h"

#include <algorithm>
#include <csignal>
#include <iostream>

#include "base/ending.h"
#include "base/files.h"
#include "base/interrupt.h"
#include "base/prompts.h"
#include "base/random.h"
#include "base/script.h"
#include "base/trace.h"
#include "settings/catalogue.h"
#include "settings/value_text.h"
#include "shell/command_table.h"
#include "shell/recovery.h"
#include "shell/version.h"

namespace qvtx {

namespace {

constexpr int failure = 1;
constexpr int signal_base = 128;

/// Sets a key of one table; a table without the key changes nothing and returns false.
template <class T>
bool set_in(MatPrefT<T>& table, const std::string& key, const std::string& value, std::string& trouble) {
  const long k = table.getkey(key.c_str());
  if (k < 0) return false;
  double x = 0;
  if (!parse_double(value, x)) {
    trouble = "'" + value + "' is not a number";
  } else if (representable<T>(x) && table.newval(k, nearest_value<T>(x))) {
    table.commit(k);
  } else {
    trouble = "out of range [" + value_text(table.getmin(k)) + "," + value_text(table.getmax(k)) + "]";
  }
  return true;
}

/// Whether more of a word stands behind the two letters of a command. Only what has been typed already
/// counts.
bool word_goes_on() {
  std::streambuf& typed = *is.stream->rdbuf();
  return typed.in_avail() > 0 &&
         std::string_view(" \t\r\n").find(static_cast<char>(typed.sgetc())) == std::string_view::npos;
}

}  // namespace

Session::Session(std::ifstream& prefs, Manner manner) : analysis_(prefs), manner_(manner) {
  analysis_.verbose = manner.quiet ? 0 : 1;
  warn_rising_pairs(analysis_.getdpref());
  listen_to_reads([this](const ReadReport& report) { hear_read(report); });
  listen_to_writes([this](const std::string& name, int error) { unwritten_.emplace_back(name, error); });
  set_last_action([this] { recover_unsaved(); });
}

Session::~Session() {
  listen_to_reads({});
  listen_to_writes({});
  set_last_action({});
}

std::string Session::set(const std::string& key, const std::string& value) {
  std::string trouble;
  if (!set_in(analysis_.getlpref(), key, value, trouble) &&
      !set_in(analysis_.getdpref(), key, value, trouble))
    trouble = "there is no such setting";
  if (!trouble.empty()) return "--set " + key + "=" + value + ": " + trouble;
  trace_note(comtrac, "set", key + "=" + value);
  return "";
}

void Session::seed(unsigned long state) {
  setseed(state);
  trace_note(comtrac, "seed", std::to_string(state));
}

int Session::run() {
  banner();
  const long count = analysis_.getlpref().count() + analysis_.getdpref().count();
  if (!manner_.quiet) tell("read " + std::to_string(count) + " settings");
  take_notes();
  if (manner_.quiet) trace_word(comtrac, "tv");
  while (step()) {
  }
  os.flush();
  if (!*os.stream && status_ == 0) leave(failure);
  return status_;
}

void Session::banner() const {
  os.ow(banner_line_1).nl();
  os.ow("Version: 20060502").nl();
  os.ow(banner_line_2).nl();
  os.ow("Type hh to display some help").nl();
}

/// What a trace says of the start of the session that it repeats.
void Session::take_notes() {
  std::string note;
  while (is.script != nullptr) {
    if (is.script->take_note("seed", note)) {
      seed(std::strtoul(note.c_str(), nullptr, 10));
    } else if (is.script->take_note("set", note)) {
      const std::size_t sign = std::min(note.find('='), note.size() - 1);
      if (const std::string trouble = set(note.substr(0, sign), note.substr(sign + 1)); !trouble.empty())
        refuse(trouble);
    } else {
      break;
    }
  }
}

bool Session::step() {
  mark_ = comtrac.size();
  refused_ = false;
  bool goes_on = true;
  try {
    goes_on = perform();
  } catch (const GivenUp&) {
    comtrac.resize(std::min(mark_, comtrac.size()));
    os.fresh().flush();
    if (interrupting_signal() == SIGINT && manner_.terminal) {
      std::cerr << '\n';
      tell(asking_ ? "xt leaves" : "given up");
      clear_interrupt();
    }
  }
  return settle(goes_on);
}

bool Session::perform() {
  char c1 = 0;
  char c2 = 0;
  asking_ = true;
  if (!getc1c2(c1, c2)) return false;
  asking_ = false;
  const Command* command = find_command(c1, c2);
  if (!command || !allowed(*command)) {
    bad_command(c1, c2, command ? missing_state(*command) : "");
    return true;
  }
  const Outcome outcome = (this->*command->handler)();
  if (outcome == Outcome::given_up) {
    comtrac.resize(mark_);
    refused_ = true;
  }
  finish(*command, outcome);
  return outcome != Outcome::leave;
}

void Session::finish(const Command& command, Outcome outcome) {
  os.fresh();
  if (outcome != Outcome::done) return;
  // The graphs are about to be forgotten, so the report after a method leaves them out.
  if (command.report) write_report(os, 1, false);
  work_.reinit(command.staleness);
  if (command.makes_analysis()) unsaved_ = true;
}

bool Session::settle(bool goes_on) {
  tell_unwritten();
  mark_ = comtrac.size();
  const int signal = interrupting_signal();
  if (signal == SIGPIPE || !*os.stream) return leave(failure);
  if (signal == SIGINT && manner_.terminal) {
    tell("stopped by Ctrl-C");
    clear_interrupt();
  } else if (signal != 0) {
    return leave(signal_base + signal);
  }
  if (!manner_.strict || !refused_) return goes_on;
  status_ = failure;
  return false;
}

bool Session::leave(int status) {
  status_ = status;
  tell(!*os.stream || status == failure ? "standard output cannot be written" : "ended by a signal");
  recover_unsaved();
  return false;
}

void Session::recover_unsaved() {
  if (unsaved_ && analysis_.done(VeQuan::pinidone)) recover(analysis_, comtrac.substr(0, mark_));
  unsaved_ = false;
}

Outcome Session::bad_command(char c1, char c2, const std::string& reason) {
  const std::string name = {c1, c2};
  os.flush();
  std::cerr << "Bad command : " << name << '\n';
  if (!reason.empty()) {
    refuse(name + " " + reason);
  } else if (word_goes_on()) {
    refuse("a command has two letters: what follows " + name + " is read as the next one");
  } else {
    refuse("there is no command " + name + ": hh lists what there is");
  }
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
