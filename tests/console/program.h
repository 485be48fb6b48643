#pragma once
// Runs the real program in a working directory of its own.

#include <filesystem>
#include <string>
#include <vector>

namespace qvtx::console {

struct Result {
  int status;
  std::string out;  ///< standard output
  std::string err;  ///< standard error
};

/// A temporary working directory with the shipped preference file; removed at the end.
class Workplace {
 public:
  /// parent: where the directory is made; that of temporary files when it does not exist.
  explicit Workplace(const std::filesystem::path& parent = {});
  ~Workplace();

  /// Runs the program with the words as its input, one a line. options: shell text ahead of the program's
  /// name, such as an environment variable; arguments: behind it.
  Result run(const std::vector<std::string>& words, const std::string& arguments = "",
             const std::string& options = "") const;
  /// The same as `run` with the input as it stands.
  Result feed(const std::string& input, const std::string& arguments = "",
              const std::string& options = "") const;

  /// Copies a file of examples/ here.
  void bring(const std::string& name) const;
  void write(const std::string& name, const std::string& content) const;
  std::string read(const std::string& name) const;
  bool has(const std::string& name) const;
  /// Names of all files here, sorted.
  std::vector<std::string> files() const;
  std::filesystem::path path(const std::string& name) const { return directory_ / name; }

 private:
  std::filesystem::path directory_;
};

/// The words between blanks of a text: a comfortable way to write a session.
std::vector<std::string> words(const std::string& text);
/// How often part occurs in text.
long occurrences(const std::string& text, const std::string& part);

}  // namespace qvtx::console
