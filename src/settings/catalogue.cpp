#include "settings/catalogue.h"

#include <cstdio>
#include <filesystem>
#include <string>

#include "base/files.h"
#include "base/prompts.h"

namespace qvtx {

namespace {

/// True when something stands under this name, a dangling link included.
bool taken(const char* name) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(name, error));
}

bool write_whole(const DefaultFile& entry) {
  SafeFile target(entry.name);
  if (!target.is_open()) return false;
  const std::size_t written = std::fwrite(entry.text.data(), 1, entry.text.size(), target.file());
  return written == entry.text.size() && target.commit();
}

/// A key without the blanks that pad it.
std::string trimmed(const char* label) {
  std::string key(label);
  key.resize(key.find_last_not_of(' ') + 1);
  return key;
}

}  // namespace

int write_default_files() {
  const std::vector<DefaultFile> files = default_files();
  for (const DefaultFile& entry : files) {
    if (!taken(entry.name)) continue;
    tell(std::string(entry.name) + " exists already, nothing written");
    return 0;
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (write_whole(files[i])) continue;
    tell(std::string(files[i].name) + " cannot be written");
    while (i-- > 0) std::remove(files[i].name);  // so that the next try finds the way free
    return 0;
  }
  return 1;
}

void warn_rising_pairs(const MatPrefT<double>& dpref) {
  for (long first = 0; first < dpref.count(); ++first) {
    const std::string key = trimmed(dpref.getlabel(first));
    if (!key.ends_with("aini") && !key.ends_with("lini")) continue;
    const std::string partner = key.substr(0, key.size() - 3) + "fin";
    const long last = dpref.getkey(partner.c_str());
    if (last >= 0 && dpref.getfut(last) > dpref.getfut(first))
      tell(std::string(partner).append(" is above ").append(key).append(": a schedule must not rise"));
  }
}

}  // namespace qvtx
