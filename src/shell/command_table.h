#pragma once
// The command table: help listing, gating and dispatch all read it.

#include <span>
#include <string>

#include "shell/session.h"

namespace qvtx {

/// What a command needs before it is accepted.
enum class Needs { nothing, data, prototypes, distances, mapping, projection, reconstruction };

struct Command {
  const char* name;  ///< two letters
  Needs needs;
  Outcome (Session::*handler)();
  bool report;          ///< the detail report follows
  int staleness;        ///< level of `Work::reinit` that follows
  const char* heading;  ///< line of the help listing ahead of this command's, or null
  const char* help;     ///< help line, null when the command is not listed
  long counted = -1;    ///< listed only when prototypes with this number of hits exist, with their count

  /// True when it leaves another analysis than the one that was saved.
  bool makes_analysis() const { return needs != Needs::nothing && staleness == 3; }
};

/// What the state lacks that the command needs: "needs data: ld".
std::string missing_state(const Command& command);

/// The commands in the order of the help listing.
std::span<const Command> command_table();

/// The command of these two letters, or null.
const Command* find_command(char c1, char c2);

}  // namespace qvtx
