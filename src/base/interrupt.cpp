#include "base/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace qvtx {
namespace {

std::atomic<int> remembered{0};
static_assert(std::atomic<int>::is_always_lock_free, "the handler sets it");

long interruptibles = 0;

/// A pipe to ourselves: a signal that comes just before a wait must end it, too.
int pipe_ends[2] = {-1, -1};

void on_signal(int signal) {
  const int saved = errno;
  interrupt(signal);
  errno = saved;
}

void catch_signal(int signal, int flags) {
  struct sigaction action = {};
  if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART | flags;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
}

void make_pipe() {
  if (pipe_ends[0] >= 0 || ::pipe(pipe_ends) != 0) return;
  for (const int end : pipe_ends) {
    ::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK);
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
  }
}

}  // namespace

void catch_interrupts() {
  make_pipe();
  std::signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit fails, and is told of
  catch_signal(SIGINT, 0);
  catch_signal(SIGPIPE, 0);
  catch_signal(SIGTERM, static_cast<int>(SA_RESETHAND));
  catch_signal(SIGHUP, static_cast<int>(SA_RESETHAND));
}

bool interrupted() { return remembered.load(std::memory_order_relaxed) != 0; }

int interrupting_signal() { return remembered.load(); }

void interrupt(int signal) {
  int known = 0;
  if (!remembered.compare_exchange_strong(known, signal) && known == SIGINT) remembered.store(signal);
  const char byte = 0;
  // A full pipe wakes the reader as well.
  if (pipe_ends[1] >= 0 && ::write(pipe_ends[1], &byte, 1) < 0) return;
}

void clear_interrupt() {
  remembered.store(0);  // first: a signal between the two is remembered, and its byte is not needed
  char bytes[64];
  while (pipe_ends[0] >= 0 && ::read(pipe_ends[0], bytes, sizeof bytes) > 0) {
  }
}

Interruptible::Interruptible() { ++interruptibles; }
Interruptible::~Interruptible() { --interruptibles; }

void interruption_point() {
  if (interrupted() && interruptibles > 0) throw GivenUp();
}

bool wait_for_input(int descriptor) {
  struct pollfd waiting[2] = {{descriptor, POLLIN, 0}, {pipe_ends[0], POLLIN, 0}};
  while (!interrupted()) {
    if (::poll(waiting, 2, -1) < 0 && errno != EINTR) return true;
    if (waiting[1].revents == 0 && waiting[0].revents != 0) return true;
  }
  return false;
}

}  // namespace qvtx
