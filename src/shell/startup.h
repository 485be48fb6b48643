#pragma once
// The program from its command line to its exit status.

#include "shell/line_editor.h"

namespace qvtx {

/// Runs the program with the options of `usage` (shell/options.h); a person's lines come from the editor.
/// Exit status: 0 after `xt`, at the end of the input and after --help, --version and --init; 1 when the
/// preference file is missing, `--init` wrote nothing, the input ended inside a dialogue, standard output was
/// closed, or a strict session was refused something; 2 for a wrong command line; 128 and its number when a
/// signal ended the session.
int run_program(int argc, char** argv, OpenLineEditor editor);

}  // namespace qvtx
