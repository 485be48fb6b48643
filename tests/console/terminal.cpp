#include "console/terminal.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

namespace qvtx::console {

namespace {

constexpr int patience_ms = 60000;

[[noreturn]] void run(const std::string& directory, std::vector<std::string>& arguments) {
  std::vector<char*> words;
  for (std::string& word : arguments) words.push_back(word.data());
  words.push_back(nullptr);
  if (::chdir(directory.c_str()) == 0) ::execv(words[0], words.data());
  ::_exit(127);
}

}  // namespace

Terminal::Terminal(const Workplace& here, std::vector<std::string> arguments, bool piped, const char* kind) {
  arguments.insert(arguments.begin(), QVTX_PROGRAM);
  int ends[2] = {-1, -1};
  if (piped && ::pipe(ends) != 0) return;
  child_ = ::forkpty(&terminal_, nullptr, nullptr, nullptr);
  if (child_ == 0) {
    if (piped) ::dup2(ends[0], STDIN_FILENO);
    if (piped) ::close(ends[1]);
    ::setenv("TERM", kind, 1);
    run(here.path("").string(), arguments);
  }
  if (piped) ::close(ends[0]);
  input_ = piped ? ends[1] : ::dup(terminal_);
}

Terminal::~Terminal() {
  if (child_ > 0) {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }
  for (const int descriptor : {terminal_, input_})
    if (descriptor >= 0) ::close(descriptor);
}

void Terminal::type(const std::string& text) const {
  EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void Terminal::send(int signal) const { ::kill(child_, signal); }

bool Terminal::read_more() {
  struct pollfd waiting = {terminal_, POLLIN, 0};
  if (::poll(&waiting, 1, patience_ms) <= 0) return false;
  char bytes[4096];
  const ssize_t got = ::read(terminal_, bytes, sizeof bytes);
  if (got > 0) screen_.append(bytes, static_cast<std::size_t>(got));
  return got > 0;
}

bool Terminal::find(const std::string& text) {
  for (std::size_t from = found_;;) {
    const std::size_t at = screen_.find(text, from);
    if (at != std::string::npos) {
      found_ = at + text.size();
      return true;
    }
    from = std::max(found_, screen_.size() - std::min(screen_.size(), text.size()));
    if (read_more()) continue;
    ADD_FAILURE() << "'" << text << "' did not come:\n" << screen_;
    return false;
  }
}

bool Terminal::is_cooked() const {
  constexpr tcflag_t wanted = ICANON | ECHO;
  struct termios modes = {};
  return ::tcgetattr(terminal_, &modes) == 0 && (modes.c_lflag & wanted) == wanted;
}

int Terminal::end() {
  while (read_more()) {
  }
  int status = 0;
  pid_t ended = 0;
  for (int waited = 0; waited < patience_ms && ended == 0; waited += 10) {
    ended = ::waitpid(child_, &status, WNOHANG);
    if (ended == 0) ::usleep(10'000);
  }
  if (ended == 0) {
    ADD_FAILURE() << "the program did not end:\n" << screen_;
    ::kill(child_, SIGKILL);
    ::waitpid(child_, &status, 0);
  }
  child_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace qvtx::console
