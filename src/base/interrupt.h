#pragma once
// Signals as a flag that the program looks at where it can stop in good order.

namespace qvtx {

/// Thrown where the user is asked something, or waits (`interruption_point`), and wants out: the command at
/// hand is given up.
struct GivenUp {};

/// Catches SIGINT, SIGTERM, SIGHUP and SIGPIPE from now on, each unless it was ignored before: a signal is
/// only remembered. The second SIGTERM or SIGHUP ends the program at once. SIGXFSZ is ignored.
void catch_interrupts();

/// True when a signal is remembered. Methods ask after each epoch, pass or row, end there and close as if
/// their schedule had ended. Always false in a program that does not catch interrupts.
bool interrupted();
/// The signal, 0 for none. Of several one that ends the program goes before SIGINT.
int interrupting_signal();
/// Forgets the signal.
void clear_interrupt();
/// Remembers a signal, as if it had come. Safe in a signal handler.
void interrupt(int signal);

/// While one exists, a step of a long computation that a signal has found gives its command up. Elsewhere the
/// same computations run to their end: what closes a method that a signal has ended needs them.
class Interruptible {
 public:
  Interruptible();
  ~Interruptible();
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;
};

/// To be called at every step of such a computation, some hundred times a second or more: throws GivenUp when
/// a signal is remembered and an Interruptible exists. Costs a comparison.
void interruption_point();

/// Waits until the descriptor can be read or a signal is remembered; false for the latter.
bool wait_for_input(int descriptor);

}  // namespace qvtx
