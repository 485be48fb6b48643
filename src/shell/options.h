#pragma once
// The command line.

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qvtx {

struct Options {
  enum class Task { explore, init, help, version };
  Task task = Task::explore;
  std::string preferences;                                    ///< empty: none was named
  std::string replay;                                         ///< script to read instead of standard input
  std::string data;                                           ///< data to load at the start
  std::vector<std::pair<std::string, std::string>> settings;  ///< keys and their values
  std::optional<unsigned long> seed;
  bool strict = false;
  bool quiet = false;
  bool interactive = false;
};

/// Reads the arguments behind the program's name. Returns what is wrong with them, in one line; empty when
/// nothing is.
std::string parse_options(const std::vector<std::string>& arguments, Options& options);

/// The text of --help.
std::string usage();

}  // namespace qvtx
