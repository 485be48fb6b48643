#include "base/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

namespace qvtx {
namespace {

namespace fs = std::filesystem;

constexpr int most_links = 40;       ///< depth at which POSIX systems give up, too
constexpr int most_attempts = 1000;  ///< temporary names tried

/// Where the name leads to; the last link may be dangling, then it leads to the file that would be created.
/// Empty when the links go round in circles.
fs::path follow_links(fs::path name) {
  std::error_code error;
  for (int k = 0; k < most_links; ++k) {
    if (!fs::is_symlink(name, error)) return name;
    const fs::path next = fs::read_symlink(name, error);
    if (error) break;
    name = next.is_absolute() ? next : name.parent_path() / next;
  }
  return {};
}

/// Creates a new file in the directory. Its name is short, so that a target with a name as long as the system
/// allows can be replaced, too.
std::FILE* create_temporary(const fs::path& directory, std::string& name) {
  static unsigned counter = 0;
  for (int k = 0; k < most_attempts; ++k) {
    name = (directory / (".qv" + std::to_string(::getpid()) + "." + std::to_string(counter++))).string();
    if (std::FILE* file = std::fopen(name.c_str(), "wbx")) return file;
    if (errno != EEXIST) break;
  }
  name.clear();
  return nullptr;
}

WriteListener write_listener;

void tell_failure(const std::string& name) {
  if (write_listener) write_listener(name, errno);
}

}  // namespace

SafeFile::SafeFile(const char* name) : name_(name) {
  errno = 0;
  if (!open(name)) tell_failure(name_);
}

bool SafeFile::open(const char* name) {
  const fs::path target = follow_links(name);
  target_ = target.string();
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  const bool exists = fs::exists(status);
  if (exists && !fs::is_regular_file(status)) {
    file_ = std::fopen(target_.c_str(), "wb");
    return file_ != nullptr;
  }
  if (target_.empty()) errno = ELOOP;
  // Renaming would also replace a file that its owner has protected from writing.
  if (target_.empty() || (exists && ::access(target_.c_str(), W_OK) != 0)) return false;
  file_ = create_temporary(target.parent_path(), temporary_);
  if (file_ == nullptr) return false;
  if (exists) fs::permissions(temporary_, status.permissions(), error);
  errno = 0;  // from here on that of the writing
  return true;
}

SafeFile::~SafeFile() {
  if (file_ != nullptr) {
    if (std::ferror(file_) == 0) errno = 0;
    tell_failure(name_);
    std::fclose(file_);
  }
  if (!temporary_.empty()) std::remove(temporary_.c_str());
}

bool SafeFile::commit() {
  if (file_ == nullptr) return false;
  const bool placed = close();
  if (!placed) tell_failure(name_);
  return placed;
}

bool SafeFile::close() {
  const bool written = std::ferror(file_) == 0 && std::fflush(file_) == 0;
  const int error = errno;
  const bool closed = std::fclose(file_) == 0;
  if (!written) errno = error;
  file_ = nullptr;
  if (temporary_.empty() || !written || !closed) return written && closed;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return false;
  temporary_.clear();
  return true;
}

bool write_file(const char* name, const std::string& text) {
  SafeFile file(name);
  if (!file.is_open()) return false;
  return std::fwrite(text.data(), 1, text.size(), file.file()) == text.size() && file.commit();
}

WriteListener listen_to_writes(WriteListener listener) {
  return std::exchange(write_listener, std::move(listener));
}

bool write_int32(std::FILE* f, long v) {
  if (v < std::numeric_limits<std::int32_t>::min() || v > std::numeric_limits<std::int32_t>::max())
    return false;
  const auto bits = static_cast<std::uint32_t>(v);
  unsigned char bytes[4];
  for (int k = 0; k < 4; ++k) bytes[k] = static_cast<unsigned char>(bits >> (8 * k));
  return std::fwrite(bytes, 1, sizeof bytes, f) == sizeof bytes;
}

bool read_int32(std::FILE* f, long& v) {
  unsigned char bytes[4];
  if (std::fread(bytes, 1, sizeof bytes, f) != sizeof bytes) return false;
  std::uint32_t bits = 0;
  for (int k = 3; k >= 0; --k) bits = bits << 8 | bytes[k];
  v = static_cast<std::int32_t>(bits);
  return true;
}

long bytes_left(std::FILE* f) {
  struct stat status = {};
  if (::fstat(::fileno(f), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  const long position = std::ftell(f);
  return position < 0 ? -1 : status.st_size > position ? status.st_size - position : 0;
}

}  // namespace qvtx
