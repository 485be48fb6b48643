#pragma once
// The program from its command line to its exit status.

namespace qvtx {

/// Runs the program. The first argument is the preference file ("Qvtx.prf" when absent), or --help,
/// --version, --init. Exit status: 0 after `xt` or the end of the input, 1 when the preference file is
/// missing or `--init` wrote nothing.
int run_program(int argc, char** argv);

}  // namespace qvtx
