#include "shell/session.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <stdexcept>

#include "base/ending.h"
#include "base/files.h"
#include "base/interrupt.h"
#include "base/prompts.h"
#include "base/random.h"
#include "base/script.h"
#include "base/trace.h"
#include "settings/catalogue.h"
#include "settings/similar_words.h"
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
  } else if (representable<T>(x) && table.newval(k, table.typed(k, x))) {
    table.commit(k);
  } else {
    trouble = "out of range [" + value_text(table.getmin(k)) + "," + value_text(table.getmax(k)) + "]";
  }
  return true;
}

}  // namespace

Session::Session(std::ifstream& prefs, Manner manner) : analysis_(prefs), manner_(manner) {
  analysis_.verbose = manner.quiet ? 0 : 1;
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
      !set_in(analysis_.getdpref(), key, value, trouble)) {
    std::vector<std::string> keys = analysis_.getlpref().keys();
    for (std::string& real : analysis_.getdpref().keys()) keys.push_back(std::move(real));
    trouble = "there is no such setting" + suggestion(key, keys);
  }
  if (!trouble.empty()) return "--set " + key + "=" + value + ": " + trouble;
  trace_note(comtrac, "set", key + "=" + value);
  return "";
}

void Session::seed(unsigned long state) {
  trace_note(comtrac, "seed", std::to_string(state));
  setseed(state);
}

int Session::run() {
  banner();
  const long count = analysis_.getlpref().count() + analysis_.getdpref().count();
  if (!manner_.quiet) tell("read " + std::to_string(count) + " settings");
  take_notes();
  warn_rising_pairs(analysis_.getdpref());
  if (manner_.quiet) trace_word(comtrac, "tv");
  return obey();
}

int Session::obey() {
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
  command_ = "command";
  analysis_.take_refusal();
  bool goes_on = true;
  try {
    goes_on = perform();
  } catch (const OutOfMemory& lack) {
    undo();
    tell_lack(lack.bytes());
  } catch (const std::bad_alloc&) {
    undo();
    tell_lack(0);
  } catch (const std::length_error&) {  // more than a vector can ever hold
    undo();
    tell_lack(0);
  } catch (const GivenUp&) {
    undo();
    os.flush();
    if (interrupting_signal() == SIGINT && manner_.interactive) {
      std::cerr << '\n';
      tell(asking_ ? "xt leaves" : "given up");
      refused_ = false;
      clear_interrupt();
    }
  }
  before_.reset();
  return settle(goes_on);
}

ToMapp& Session::alter(bool with_data) {
  if (before_) return analysis_;
  Before now;
  now.random = getrandom();
  now.metric = Metric::in_force();
  now.data_name = data_name_;
  now.loaded = loaded_;
  now.unsaved = unsaved_;
  analysis_.back_up(now.analysis);
  if (with_data) analysis_.set_data_aside(now.analysis);
  before_.emplace(std::move(now));
  return analysis_;
}

void Session::undo() noexcept {
  comtrac.resize(std::min(mark_, comtrac.size()));
  refused_ = true;
  collects_reads_ = false;
  unwritten_.clear();
  if (is.stream->bad()) is.stream->clear();  // a read that found no memory can be tried again
  os.fresh();
  if (!before_) return;
  analysis_.go_back(before_->analysis);
  setrandom(before_->random);
  MatFullD::mesp = before_->metric.mesp;
  MatFullD::miex = before_->metric.miex;
  data_name_.swap(before_->data_name);
  loaded_.swap(before_->loaded);
  unsaved_ = before_->unsaved;
  before_.reset();
}

bool Session::perform() {
  char c1 = 0;
  char c2 = 0;
  asking_ = true;
  const bool typed = getc1c2(c1, c2);
  asking_ = false;
  if (!typed) {
    if (manner_.terminal) recover_unsaved();  // Ctrl-D asks for no confirmation
    return false;
  }
  const Command* command = find_command(c1, c2);
  if (!command || !allowed(*command)) {
    bad_command(c1, c2, command ? missing_state(*command) : "");
    return true;
  }
  command_ = command->name;
  const Outcome outcome = (this->*command->handler)();
  if (!refused_) tell_refusal();
  if (outcome == Outcome::given_up) {
    undo();
    expect_leftovers();
  }
  finish(*command, outcome);
  tell_unwritten();
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
  mark_ = comtrac.size();
  const int signal = interrupting_signal();
  if (signal == SIGPIPE || !*os.stream) return leave(failure);
  if (signal == SIGINT && manner_.interactive) {
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
  // A command that cannot be completed is taken back.
  if (before_) undo();
  const bool lost = unsaved();
  unsaved_ = false;
  if (lost) {
    recover(analysis_, std::string_view(comtrac).substr(0, mark_));
    tell_unwritten();
  }
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
