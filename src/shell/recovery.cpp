#include "shell/recovery.h"

#include <filesystem>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <utility>

#include "base/files.h"
#include "base/prompts.h"

namespace qvtx {

namespace {

bool taken(const std::string& name) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(name, error));
}

std::string free_name() {
  std::string name = "recovered";
  for (long k = 2; taken(name + ".mbf") || taken(name + ".trc"); ++k) name = "recovered-" + std::to_string(k);
  return name;
}

/// A save by itself, without a word on the console: the end of the program may have come in the middle of a
/// set of files.
bool saved_alone(const std::function<bool()>& save) {
  std::ostringstream unheard;
  FileSet own;
  const Ostr console = std::exchange(os, Ostr(unheard));
  try {
    const bool saved = save() && own.commit();
    os = console;
    return saved;
  } catch (...) {
    os = console;
    throw;
  }
}

}  // namespace

void recover(const ToMapp& analysis, std::string_view trace) try {
  const std::string name = free_name();
  const bool saved = saved_alone([&] { return analysis.save_mbf((name + ".mbf").c_str()) != 0; });
  const bool traced =
      saved_alone([&] { return write_file((name + ".trc").c_str(), std::string(trace) + "xt\ny\n"); });
  if (saved)
    tell("the analysis was not saved: it is in " + name + ".mbf" + (traced ? " and " + name + ".trc" : ""));
  else
    tell(std::string("the analysis was not saved, nor can it be") +
         (traced ? ": " + name + ".trc holds its commands" : ""));
} catch (const std::bad_alloc&) {
  tell("the analysis was not saved: there is no memory for its recovery");
}

}  // namespace qvtx
