#pragma once
// The command trace: everything the user typed, so that a run can be saved and replayed.

#include <string>

namespace qvtx {

/// What the user typed since the start or the last `savetrc`. It grows without limit.
extern std::string comtrac;

// Each appends an entry to a trace and returns the number of characters added.
/// "%s\n". A word that would read as a comment of a script gets a blank in front.
long trace_word(std::string& trace, const std::string& word);
long trace_long(std::string& trace, long v);      ///< "%i\n"
long trace_double(std::string& trace, double v);  ///< "%e\n", ahead of it what `trace_real` notes

/// Appends the text that stands for v in the trace. A text that is not exactly v gets the line
/// "#= real <v>" in front, by which a replay (base/script.h) repeats the session to the bit.
void trace_real(std::string& trace, const std::string& text, double v);
/// Appends a note, "#= <kind> <value>\n".
void trace_note(std::string& trace, const std::string& kind, const std::string& value);

/// Appends "xt" and "y" lines, writes the trace to a file (truncating it), empties the trace and reports
/// "  trace saved & reset!" on standard error; false, and nothing is reported, when the file cannot be
/// written: it stays as it was.
bool savetrc(const char* name);

}  // namespace qvtx
