#include "base/draft.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace qvtx {
namespace {

namespace fs = std::filesystem;

constexpr int most_attempts = 1000;  ///< temporary names tried

/// What temporary names for the target begin with. They are short, so that a target with a name as long as
/// the system allows can be replaced, too; names that share a beginning by chance do no harm, since nobody
/// removes a file that is locked.
std::string temporary_prefix(const fs::path& target) {
  std::uint32_t hash = 2166136261u;  // FNV-1a
  for (const char c : target.stem().string()) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  std::string prefix = ".qv";
  for (int shift = 28; shift >= 0; shift -= 4) prefix += "0123456789abcdef"[hash >> shift & 15];
  return prefix + '.';
}

/// Locks a file that has just been created. False when somebody took it for a remainder before.
bool keep(std::FILE* file) {
  struct stat status = {};
  // Only one who is about to remove the file can hold the lock, for a moment. A file system without locks
  // has no such people.
  return ::flock(::fileno(file), LOCK_EX) != 0 || ::fstat(::fileno(file), &status) != 0 ||
         status.st_nlink > 0;
}

std::FILE* create_temporary(const fs::path& target, std::string& name) {
  static unsigned counter = 0;
  for (int k = 0; k < most_attempts; ++k) {
    name = (target.parent_path() / (temporary_prefix(target) + std::to_string(counter++))).string();
    std::FILE* const file = std::fopen(name.c_str(), "wbx");
    if (file == nullptr && errno != EEXIST) break;
    if (file == nullptr) continue;
    if (keep(file)) return file;
    std::fclose(file);
  }
  name.clear();
  return nullptr;
}

/// Removes the file unless the program that writes it is alive.
void remove_unlocked(const std::string& name) {
  const int file = ::open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return;
  if (::flock(file, LOCK_EX | LOCK_NB) == 0) ::unlink(name.c_str());
  ::close(file);
}

/// fsync; some file systems do not know it.
bool write_through(int file) {
  while (::fsync(file) != 0)
    if (errno != EINTR) return errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
  return true;
}

}  // namespace

Draft::Draft(std::string target) : target_(std::move(target)) {
  std::error_code error;
  const fs::file_status status = fs::status(target_, error);
  file_ = create_temporary(target_, temporary_);
  if (file_ == nullptr || !fs::exists(status)) return;
  if (::fchmod(::fileno(file_), static_cast<mode_t>(status.permissions())) != 0) errno = 0;
}

Draft::Draft(Draft&& other) noexcept
    : file_(std::exchange(other.file_, nullptr)),
      target_(std::move(other.target_)),
      temporary_(std::exchange(other.temporary_, {})) {}

Draft::~Draft() {
  const int error = errno;
  if (!temporary_.empty()) std::remove(temporary_.c_str());
  if (file_ != nullptr) std::fclose(file_);
  errno = error;
}

std::string Draft::directory() const { return fs::path(target_).parent_path().string(); }

bool Draft::flush() {
  return std::ferror(file_) == 0 && std::fflush(file_) == 0 && write_through(::fileno(file_));
}

bool Draft::place() {
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return false;
  temporary_.clear();
  return true;
}

void remove_remainders(const std::string& target) {
  const fs::path directory = fs::path(target).parent_path();
  const std::string prefix = temporary_prefix(target);
  for (const std::string& name : directory_names(directory.string()))
    if (name.starts_with(prefix)) remove_unlocked((directory / name).string());
}

std::vector<std::string> directory_names(const std::string& directory) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(directory.empty() ? "." : directory.c_str()),
                                                 ::closedir);
  if (!open) return names;
  while (const struct dirent* const entry = ::readdir(open.get())) names.emplace_back(entry->d_name);
  return names;
}

bool flush_directory(const std::string& directory) {
  const int file = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) return true;
  const bool written = write_through(file);
  const int error = errno;
  ::close(file);
  errno = error;
  return written;
}

}  // namespace qvtx
