#include "shell/recovery.h"

#include <filesystem>
#include <functional>
#include <sstream>

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

/// A save by itself: the end of the program may have come in the middle of a set of files.
bool saved_alone(const std::function<bool()>& save) {
  FileSet own;
  return save() && own.commit();
}

}  // namespace

void recover(const ToMapp& analysis, const std::string& trace) {
  const std::string name = free_name();
  std::ostringstream unheard;
  const Ostr console = os;
  os = Ostr(unheard);
  const bool saved = saved_alone([&] { return analysis.save_mbf((name + ".mbf").c_str()) != 0; });
  os = console;
  const bool traced = saved_alone([&] { return write_file((name + ".trc").c_str(), trace + "xt\ny\n"); });
  if (saved)
    tell("the analysis was not saved: it is in " + name + ".mbf" + (traced ? " and " + name + ".trc" : ""));
  else
    tell("the analysis was not saved, and " + name + ".mbf cannot be written");
}

}  // namespace qvtx
