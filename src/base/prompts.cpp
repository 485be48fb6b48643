#include "base/prompts.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <utility>

#include "base/ending.h"
#include "base/ostr.h"
#include "base/script.h"
#include "base/trace.h"

namespace qvtx {
namespace {

char read_char() {
  char c = '\0';
  os.flush();
  if (!is.getc(c)) end_of_input();
  return c;
}

std::string read_word() {
  std::string word;
  os.flush();
  if (!is.getword(word)) end_of_input();
  end_answer();
  return word;
}

void report_not_a_number(const std::string& word) {
  std::cerr << "not a number: " << word << '\n' << std::flush;
}

/// The word without a plus sign, which the conversions of the standard library do not accept. A second sign
/// makes the view empty.
std::string_view without_plus(const std::string& word) {
  std::string_view digits = word;
  if (!digits.starts_with('+')) return digits;
  digits.remove_prefix(1);
  return digits.starts_with('-') ? std::string_view() : digits;
}

/// Reads until a character stands in one of the two sets. Returns 1 for the first set, 0 for the second; the
/// trace gets every character, and then the letter of the answer.
int choose(std::string_view first, std::string_view second, const char* first_entry,
           const char* second_entry) {
  for (;;) {
    char c = '\0';
    getc1(c);
    const bool yes = first.find(c) != std::string_view::npos;
    if (!yes && second.find(c) == std::string_view::npos) continue;
    const char* const entry = yes ? first_entry : second_entry;
    trace_word(comtrac, entry);
    if (is.script != nullptr) is.script->skip(entry);
    return yes ? 1 : 0;
  }
}

}  // namespace

Question& question() {
  static Question present;
  return present;
}

void end_answer() {
  std::cerr << '\n' << std::flush;
  question() = {};
}

void prompt(const char* text) {
  os.flush();
  std::cerr << text << std::flush;
  const std::string_view written = text;
  const std::size_t end = written.find_last_of('\n');
  if (end != std::string_view::npos) question() = {};
  question().text += written.substr(end + 1);
}

void prompt(const std::string& text) { prompt(text.c_str()); }

void tell(std::string_view text) {
  os.flush();
  std::cerr << "  " << text << '\n' << std::flush;
}

void end_of_input() {
  os.flush();
  std::cerr << "\nunexpected end of input\n" << std::flush;
  run_last_action();
  std::exit(1);
}

bool getc1c2(char& c1, char& c2) {
  question() = {};  // a command that was given up may have left one
  prompt(">> ");
  if (!is.getc(c1)) {
    end_answer();
    return false;
  }
  c2 = read_char();
  end_answer();
  trace_word(comtrac, {c1, c2});
  return true;
}

void getsub(char& c1, char& c2) {
  if (!getc1c2(c1, c2)) end_of_input();
}

long getc1(char& c) {
  const char typed = read_char();
  end_answer();
  trace_word(comtrac, {typed});
  c = typed;
  return static_cast<long>(comtrac.size());
}

std::string getanswer(const char* text, Completion complete) {
  prompt(text);
  question().complete = std::move(complete);
  return read_word();
}

long getfile(std::string& name, Completion complete) {
  name = getanswer("  File name without extension? ", std::move(complete));
  return trace_word(comtrac, name);
}

bool getlong(long& v) {
  const std::string word = read_word();
  if (!parse_long(word, v)) {
    report_not_a_number(word);
    return false;
  }
  trace_long(comtrac, v);
  return true;
}

bool getdouble(double& v) {
  const std::string word = read_word();
  if (!parse_double(word, v)) {
    report_not_a_number(word);
    return false;
  }
  trace_double(comtrac, v);
  return true;
}

int confirm() {
  prompt("[y|n] ");
  return choose("yYoO", "nN", "y", "n");
}

int automatic() {
  prompt("  Manual or Automatic ? [m|a] ");
  return choose("aA", "mM", "a", "n");  // "n", not "m": saved traces have always held it
}

bool parse_long(const std::string& word, long& v) {
  const std::string_view digits = without_plus(word);
  std::int32_t number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size()) return false;
  v = number;
  return true;
}

bool parse_double(const std::string& word, double& v) {
  const std::string_view digits = without_plus(word);
  double number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (digits.empty() || result.ptr != digits.data() + digits.size()) return false;
  // Out of range on the small side is a number like any other: the nearest double.
  if (result.ec == std::errc::result_out_of_range)
    number = std::strtod(word.c_str(), nullptr);
  else if (result.ec != std::errc())
    return false;
  if (!std::isfinite(number)) return false;
  v = number;
  return true;
}

}  // namespace qvtx
