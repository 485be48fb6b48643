#include "shell/options.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <span>
#include <string_view>

namespace qvtx {

namespace {

constexpr const char* help_hint = ": qvtx --help lists the options";

/// Each takes the value of its option and returns what is wrong with it.
using Setter = std::string (*)(Options& options, const std::string& value);

struct Option {
  const char* name;
  const char* letter;  ///< short form, null when there is none
  const char* value;   ///< name of the value in the help, null when the option has none
  const char* help;
  Setter set;
};

template <Options::Task task>
std::string set_task(Options& options, const std::string&) {
  options.task = task;
  return "";
}

template <auto member>
std::string set_switch(Options& options, const std::string&) {
  options.*member = true;
  return "";
}

template <auto member>
std::string set_text(Options& options, const std::string& value) {
  options.*member = value;
  return value.empty() ? "a name is missing" : "";
}

std::string add_setting(Options& options, const std::string& value) {
  const std::size_t sign = value.find('=');
  if (sign == std::string::npos || sign == 0 || sign + 1 == value.size()) return "it takes KEY=VALUE";
  options.settings.emplace_back(value.substr(0, sign), value.substr(sign + 1));
  return "";
}

std::string set_seed(Options& options, const std::string& value) {
  std::uint32_t seed = 0;
  const auto result = std::from_chars(value.data(), value.data() + value.size(), seed);
  if (result.ec != std::errc() || result.ptr != value.data() + value.size() || seed == 0)
    return "it takes a number in [1,4294967295]";  // the generator stands still at 0
  options.seed = seed;
  return "";
}

constexpr Option option_table[] = {
    {"--help", "-h", nullptr, "print this text", set_task<Options::Task::help>},
    {"--version", "-V", nullptr, "print the version", set_task<Options::Task::version>},
    {"--init", nullptr, nullptr, "write Qvtx.prf, default.sam and default.rdp here",
     set_task<Options::Task::init>},
    {"--replay", nullptr, "FILE", "read a saved trace or a script instead of standard input",
     set_text<&Options::replay>},
    {"--set", nullptr, "KEY=VALUE", "change a setting of the preference file; can be repeated", add_setting},
    {"--data", nullptr, "NAME", "begin with ld NAME", set_text<&Options::data>},
    {"--seed", nullptr, "N", "state of the random numbers at the start (4357)", set_seed},
    {"--strict", nullptr, nullptr, "end with status 1 at the first refused command or file",
     set_switch<&Options::strict>},
    {"--quiet", nullptr, nullptr, "begin with verbosity off: no progress lines", set_switch<&Options::quiet>},
    {"--interactive", nullptr, nullptr, "SIGINT gives up a command, as at a terminal",
     set_switch<&Options::interactive>},
};

const Option* find_option(std::string_view name) {
  for (const Option& option : option_table)
    if (name == option.name || (option.letter && name == option.letter)) return &option;
  return nullptr;
}

/// Walks along the arguments.
class Parser {
 public:
  Parser(std::span<const std::string> arguments, Options& options) : rest_(arguments), options_(options) {}

  std::string run() {
    std::string trouble;
    while (trouble.empty() && !rest_.empty()) {
      const std::string word = take();
      if (word == "--" && !only_names_) {
        only_names_ = true;
      } else if (!only_names_ && word.size() > 1 && word.front() == '-') {
        trouble = option(word);
      } else if (options_.preferences.empty() && !word.empty()) {
        options_.preferences = word;
      } else {
        trouble = "too many arguments: '" + word + "'" + help_hint;
      }
    }
    return trouble;
  }

 private:
  std::string take() {
    std::string word = rest_.front();
    rest_ = rest_.subspan(1);
    return word;
  }

  /// --name, --name value or --name=value.
  std::string option(const std::string& word) {
    const std::size_t sign = word.starts_with("--") ? word.find('=') : std::string::npos;
    const std::string name = word.substr(0, sign);
    const Option* const found = find_option(name);
    if (!found) return "unknown option " + name + help_hint;
    std::string value;
    if (sign != std::string::npos) {
      if (!found->value) return name + " takes no value" + help_hint;
      value = word.substr(sign + 1);
    } else if (found->value) {
      if (rest_.empty()) return name + " needs a value: " + found->value;
      value = take();
    }
    const std::string trouble = found->set(options_, value);
    return trouble.empty() ? "" : name + " " + value + ": " + trouble;
  }

  std::span<const std::string> rest_;
  Options& options_;
  bool only_names_ = false;  ///< "--" has been passed
};

}  // namespace

std::string parse_options(const std::vector<std::string>& arguments, Options& options) {
  return Parser(arguments, options).run();
}

std::string usage() {
  std::string text =
      "usage: qvtx [options] [preference file]\n"
      "\n"
      "Explores numeric data: vector quantization, graph distances and projection,\n"
      "driven by two-letter commands typed after the prompt \">> \" (hh lists them).\n"
      "The preference file is Qvtx.prf when none is named.\n"
      "\n";
  constexpr std::size_t column = 20;
  for (const Option& option : option_table) {
    std::string line = option.letter ? std::string("  ") + option.letter + ", " : "  ";
    line += option.name;
    if (option.value) line.append(" ").append(option.value);
    line.resize(std::max(line.size() + 1, column + 2), ' ');
    text += line + option.help + "\n";
  }
  return text +
         "\nExit status: 0 after xt or at the end of the input; 1 when the preference file\n"
         "is missing, the input ends inside a dialogue, standard output is closed, and with\n"
         "--strict; 2 for a wrong command line; 128 + n after signal n.\n";
}

}  // namespace qvtx
