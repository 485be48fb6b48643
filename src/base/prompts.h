#pragma once
// Questions to the user. All prompts go to standard error, all answers come from `is`, every answer is
// appended to the command trace, and each is followed by a line end on standard error. `os` is flushed before
// every prompt, so that both streams interleave as they happened.
//
// End of input inside a dialogue prints "unexpected end of input" on standard error and ends the program with
// status 1, after the last action (base/ending.h). A signal there throws GivenUp (base/interrupt.h).

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/istr.h"

namespace qvtx {

/// The words that a word which has been begun could become; each begins as it does.
using Completion = std::function<std::vector<std::string>(const std::string&)>;

/// What the user is asked at the moment, for an editor of the line that he types (shell/line_editor.h).
struct Question {
  std::string text;     ///< what stands on the line in front of the answer
  Completion complete;  ///< empty: nothing is known about the answer
};
/// The present question. Those who do not ask by the functions below fill it in.
Question& question();
/// Ends the line on standard error, and the question: the answer has been read.
void end_answer();

/// Flushes the console, then writes text on standard error.
void prompt(const char* text);
void prompt(const std::string& text);

/// Writes the text as a line of its own on standard error, indented by two blanks: what helps a person and is
/// no part of the record.
void tell(std::string_view text);

/// Ends the program with status 1 after "unexpected end of input".
[[noreturn]] void end_of_input();

/// Prompts ">> " and reads the two characters of a command. False at the end of the input before the first of
/// them.
bool getc1c2(char& c1, char& c2);
/// The two characters of a sub-menu's command: as `getc1c2`, but the input must not end.
void getsub(char& c1, char& c2);
/// One character that is not a blank, tab or line end; returns the new trace length.
long getc1(char& c);
/// Prompts with the text and reads a word, which the trace does not get.
std::string getanswer(const char* text, Completion complete);
/// Prompts "  File name without extension? " and reads a word; returns the number of trace characters added.
long getfile(std::string& name, Completion complete = {});
/// An integer within the range of a 32-bit integer. False when the word is not one: "not a number: " and the
/// word have been printed, v is unchanged.
bool getlong(long& v);
/// A finite decimal number, otherwise as `getlong`. The trace holds it as "%e" (see `trace_real`).
bool getdouble(double& v);
/// "[y|n] ": 1 for yes, 0 for no. Other characters are ignored. In a script that is replayed the second entry
/// that the trace holds of such an answer is passed over.
int confirm();
/// "  Manual or Automatic ? [m|a] ": 1 for automatic, 0 for manual.
int automatic();

/// The number that a whole word spells: optional sign and digits within 32 bits; or a finite decimal number.
bool parse_long(const std::string& word, long& v);
bool parse_double(const std::string& word, double& v);

}  // namespace qvtx
