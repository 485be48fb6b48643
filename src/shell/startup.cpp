#include "shell/startup.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include "base/files.h"
#include "base/interrupt.h"
#include "base/memory.h"
#include "base/prompts.h"
#include "base/script.h"
#include "settings/catalogue.h"
#include "shell/console_input.h"
#include "shell/options.h"
#include "shell/session.h"
#include "shell/version.h"

namespace qvtx {

namespace {

constexpr const char* default_preferences = "Qvtx.prf";
constexpr int wrong_usage = 2;

int refuse_start(const std::string& reason) {
  tell(reason);
  return wrong_usage;
}

/// How to come by a preference file that does not open.
void tell_missing(const std::string& name, bool named) {
  const std::string data = name + ".dat";
  if (!named) {
    tell("run qvtx --init");
  } else if (why_unreadable(data).empty()) {
    tell("a preference file is named here: --data " + name + " loads " + data);
  } else {
    tell(name + ": " + why_unreadable(name));
  }
}

/// True for a file that begins as data do: with a number, or with the bytes of a binary matrix.
bool looks_like_data(std::ifstream& file) {
  char begin[20] = {};
  file.read(begin, sizeof begin);
  const std::string text(begin, static_cast<std::size_t>(file.gcount()));
  file.clear();
  file.seekg(0);
  const std::size_t at = text.find_first_not_of(" \t\r\n");
  if (at == std::string::npos) return false;
  return text.find('\0') != std::string::npos || std::strchr("0123456789+-.", text[at]) != nullptr;
}

/// Standard input, or the script in its place, with the commands that come first.
class Input {
 public:
  Input(const Options& options, OpenLineEditor editor) {
    const std::string first = options.data.empty() ? "" : "ld\n" + options.data + "\n";
    if (options.replay.empty()) {
      auto console = std::make_unique<ConsoleInput>(first, editor());
      terminal_ = console->is_terminal();
      bytes_ = std::move(console);
    } else {
      trouble_ = why_unreadable(options.replay);
      if (!trouble_.empty()) return;
      std::ifstream file(options.replay);
      auto script = std::make_unique<Script>(file, first);
      script_ = script.get();
      bytes_ = std::move(script);
    }
    stream_.rdbuf(bytes_.get());
    stream_.exceptions(std::ios::badbit);  // a lack of memory is no end of the input
    is = Istr(stream_);
    is.script = script_;
  }
  ~Input() { is = Istr(); }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Why the script cannot be read; empty when it can.
  const std::string& trouble() const { return trouble_; }
  bool is_terminal() const { return terminal_; }

 private:
  std::unique_ptr<std::streambuf> bytes_;
  Script* script_ = nullptr;
  bool terminal_ = false;
  std::string trouble_;
  std::istream stream_{nullptr};
};

int explore(const Options& options, OpenLineEditor editor) {
  const bool named = !options.preferences.empty();
  const std::string preferences = named ? options.preferences : default_preferences;
  std::ifstream file(preferences);
  if (!file) {
    os.ow("Preference file ").ow(preferences).ow(" is missing!").nl().flush();
    tell_missing(preferences, named);
    return 1;
  }
  if (const std::string trouble = why_unreadable(preferences); !trouble.empty())
    return refuse_start(preferences + ": " + trouble);
  if (looks_like_data(file))
    return refuse_start(preferences +
                        " looks like data, not like a preference file: --data NAME loads NAME.dat");
  const Input input(options, editor);
  if (!input.trouble().empty()) return refuse_start("--replay " + options.replay + ": " + input.trouble());
  catch_interrupts();
  Session session(
      file, {options.strict, options.quiet, input.is_terminal(), options.interactive || input.is_terminal()});
  file.close();
  for (const auto& [key, value] : options.settings)
    if (const std::string trouble = session.set(key, value); !trouble.empty()) return refuse_start(trouble);
  if (options.seed) session.seed(*options.seed);
  return session.run();
}

}  // namespace

int run_program(int argc, char** argv, OpenLineEditor editor) {
  // Files that are opened would take its place.
  if (::fcntl(STDOUT_FILENO, F_GETFD) < 0) {
    tell("standard output is closed");
    return 1;
  }
  Options options;
  const std::string trouble = parse_options({argv + 1, argv + argc}, options);
  if (!trouble.empty()) return refuse_start(trouble);
  switch (options.task) {
    case Options::Task::help:
      std::cout << usage();
      return 0;
    case Options::Task::version:
      std::cout << "qvtx " << version << '\n';
      return 0;
    case Options::Task::init:
      return write_default_files() ? 0 : 1;
    case Options::Task::explore:
      break;
  }
  try {
    limit_memory();
    return explore(options, editor);
  } catch (const std::bad_alloc&) {
    tell("not enough memory to begin");
    return 1;
  }
}

}  // namespace qvtx
