#pragma once
// The command trace: everything the user typed, so that a run can be saved and replayed.

#include <string>

namespace qvtx {

/// What the user typed since the start or the last `savetrc`. It grows without limit.
extern std::string comtrac;

// Each appends an entry to a trace and returns the number of characters added.
long trace_word(std::string& trace, const std::string& word);  ///< "%s\n"
long trace_long(std::string& trace, long v);                   ///< "%i\n"
long trace_double(std::string& trace, double v);               ///< "%e\n"

/// Appends "xt" and "y" lines, writes the trace to a file (truncating it), empties the trace and reports
/// "  trace saved & reset!" on standard error. A file that cannot be written is not reported; it stays as it
/// was.
void savetrc(const char* name);

}  // namespace qvtx
