#pragma once
// What is to be done before the program ends other than by a command.

#include <functional>

namespace qvtx {

/// The action that `run_last_action` performs; an empty one: nothing, as at the start.
void set_last_action(std::function<void()> action);

/// Performs the action, which is forgotten first: an action that fails must not start again. Called by fatal
/// errors and at the end of the input inside a dialogue, before the program ends.
void run_last_action();

}  // namespace qvtx
