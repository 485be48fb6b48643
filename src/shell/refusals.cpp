// What a session tells of commands that were refused.

#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>

#include "base/prompts.h"
#include "shell/session.h"

namespace qvtx {

namespace {

/// Whether more of a word stands behind the two letters of a command. Only what has been typed already
/// counts.
bool word_goes_on() {
  std::streambuf& typed = *is.stream->rdbuf();
  return typed.in_avail() > 0 &&
         std::string_view(" \t\r\n").find(static_cast<char>(typed.sgetc())) == std::string_view::npos;
}

}  // namespace

void Session::refuse(const std::string& reason) {
  tell(reason);
  refused_ = true;
}

std::string Session::refusal() {
  const std::string text = analysis_.take_refusal();
  const bool parameters = text.ends_with("not parametric");
  return parameters ? text + " (a value of the schedule is out of its range)" : text;
}

void Session::refuse_because(const std::string& consequence) {
  const std::string reason = refusal();
  refuse(reason.empty() ? consequence : consequence + ": " + reason);
}

void Session::tell_refusal() {
  const std::string reason = refusal();
  if (!reason.empty()) refuse(reason);
}

Outcome Session::bad_command(char c1, char c2, const std::string& reason) {
  const std::string name = {c1, c2};
  os.flush();
  std::cerr << "Bad command : " << name << '\n';
  if (!reason.empty()) {
    refuse(name + " " + reason);
    expect_leftovers();
    return Outcome::quiet;
  }
  refuse(word_goes_on() ? "a command has two letters: what follows " + name + " is read as the next one"
                        : "there is no command " + name + ": hh lists what there is");
  tell_leftovers();
  return Outcome::quiet;
}

void Session::expect_leftovers() {
  if (leftovers_ == Leftovers::none && !manner_.terminal && !manner_.strict) leftovers_ = Leftovers::likely;
}

void Session::tell_leftovers() {
  if (leftovers_ != Leftovers::likely) return;
  tell("answers to a command that was refused are read as commands: --strict ends a script there");
  leftovers_ = Leftovers::told;
}

void Session::tell_lack(double bytes) {
  char asked[48] = "";
  if (bytes >= 1e9) {
    std::snprintf(asked, sizeof asked, " (needs %.1f GB)", bytes / 1e9);
  } else if (bytes >= 1e5) {
    std::snprintf(asked, sizeof asked, " (needs %.1f MB)", bytes / 1e6);
  } else if (bytes > 0) {
    std::snprintf(asked, sizeof asked, " (needs %.0f bytes)", bytes);
  }
  char line[120];
  std::snprintf(line, sizeof line, "%s: not enough memory%s: given up, the analysis is as it was", command_,
                asked);
  tell(line);
}

}  // namespace qvtx
