#include "console/program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace qvtx::console {

namespace fs = std::filesystem;

namespace {

const fs::path examples = fs::path(QVTX_SOURCE_DIR) / "examples";

std::string slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

Workplace::Workplace(const fs::path& parent) {
  static int number = 0;
  directory_ = (fs::is_directory(parent) ? parent : fs::temp_directory_path()) /
               ("qvtx-" + std::to_string(::getpid()) + "-" + std::to_string(number++));
  fs::create_directories(directory_);
  bring("Qvtx.prf");
}

Workplace::~Workplace() {
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

Result Workplace::run(const std::vector<std::string>& input, const std::string& arguments,
                      const std::string& options) const {
  std::string text;
  for (const std::string& word : input) text += word + "\n";
  return feed(text, arguments, options);
}

Result Workplace::feed(const std::string& input, const std::string& arguments,
                       const std::string& options) const {
  // The streams are kept beside the directory, so that the session sees its own files only.
  const std::string base = directory_.string();
  std::ofstream(base + ".in", std::ios::binary) << input;
  const std::string command = options + " timeout 300 '" QVTX_PROGRAM "' " + arguments;
  const std::string streams = " < '" + base + ".in' > '" + base + ".out' 2>'" + base + ".err'";
  const int status = std::system(("cd '" + base + "' && " + command + streams).c_str());
  Result result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(base + ".out"), slurp(base + ".err")};
  for (const char* end : {".in", ".out", ".err"}) fs::remove(base + end);
  return result;
}

void Workplace::bring(const std::string& name) const {
  fs::copy_file(examples / name, directory_ / fs::path(name).filename(),
                fs::copy_options::overwrite_existing);
}

void Workplace::write(const std::string& name, const std::string& content) const {
  std::ofstream(directory_ / name, std::ios::binary) << content;
}

std::string Workplace::read(const std::string& name) const { return slurp(directory_ / name); }

bool Workplace::has(const std::string& name) const { return fs::exists(directory_ / name); }

std::vector<std::string> Workplace::files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory_))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> result;
  for (std::string word; in >> word;) result.push_back(word);
  return result;
}

long occurrences(const std::string& text, const std::string& part) {
  long count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
    ++count;
  return count;
}

}  // namespace qvtx::console
