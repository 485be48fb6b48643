#include "base/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

namespace qvtx {
namespace {

namespace fs = std::filesystem;

constexpr int most_links = 40;  ///< depth at which POSIX systems give up, too

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

WriteListener write_listener;
FileSet* youngest_set = nullptr;

void tell_failure(const std::string& name) {
  if (write_listener) write_listener(name, errno);
}

}  // namespace

SafeFile::SafeFile(const char* name) : name_(name) {
  errno = 0;
  if (!open(name)) fail();
}

void SafeFile::fail() const {
  if (youngest_set != nullptr) youngest_set->failed_ = true;
  tell_failure(name_);
}

bool SafeFile::open(const char* name) {
  const fs::path target = follow_links(name);
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  const bool exists = fs::exists(status);
  if (exists && !fs::is_regular_file(status)) {
    direct_ = std::fopen(target.c_str(), "wb");
    return direct_ != nullptr;
  }
  if (target.empty()) errno = ELOOP;
  // Renaming would also replace a file that its owner has protected from writing.
  if (target.empty() || (exists && ::access(target.c_str(), W_OK) != 0)) return false;
  if (youngest_set == nullptr || youngest_set->is_new(target.string())) remove_remainders(target.string());
  draft_.emplace(target.string());
  if (draft_->file() == nullptr) return false;
  errno = 0;  // from here on that of the writing
  return true;
}

SafeFile::~SafeFile() {
  // On the way out of something that failed, which tells why, nothing is told here.
  if (is_open() && std::uncaught_exceptions() == 0) {
    if (std::ferror(file()) == 0) errno = 0;
    try {
      fail();
    } catch (const std::bad_alloc&) {
      errno = ENOMEM;  // the caller knows of the failure
    }
  }
  if (direct_ != nullptr) std::fclose(direct_);
}

bool SafeFile::commit() {
  if (!is_open()) return false;
  const bool ended = end();
  if (!ended) fail();
  draft_.reset();
  return ended;
}

bool SafeFile::end() {
  if (direct_ != nullptr) {
    const bool written = std::ferror(direct_) == 0 && std::fflush(direct_) == 0;
    const int error = errno;
    const bool closed = std::fclose(std::exchange(direct_, nullptr)) == 0;
    if (!written) errno = error;
    return written && closed;
  }
  if (!draft_->flush()) return false;
  if (youngest_set == nullptr) return draft_->place() && flush_directory(draft_->directory());
  youngest_set->waiting_.push_back(std::move(*draft_));
  return true;
}

FileSet::FileSet() : outer_(std::exchange(youngest_set, this)) {}

FileSet::~FileSet() { youngest_set = outer_; }

bool FileSet::commit() {
  if (!failed_) failed_ = !place_all();
  waiting_.clear();
  return !failed_;
}

bool FileSet::is_new(const std::string& target) {
  return cleared_.insert(fs::path(target).replace_extension().string()).second;
}

bool FileSet::place_all() {
  std::set<std::string> directories;  // before any file is placed: it may find no memory
  for (const Draft& file : waiting_) directories.insert(file.directory());
  for (Draft& file : waiting_) {
    if (!file.place()) {
      tell_failure(file.target());
      return false;
    }
    ++placed_;
  }
  for (const std::string& directory : directories) {
    if (flush_directory(directory)) continue;
    tell_failure(directory);
    return false;
  }
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

std::string why_unreadable(const std::string& name) {
  struct stat status = {};
  if (::stat(name.c_str(), &status) != 0) return std::strerror(errno);
  if (S_ISDIR(status.st_mode)) return std::strerror(EISDIR);
  return ::access(name.c_str(), R_OK) != 0 ? std::strerror(errno) : "";
}

long bytes_left(std::FILE* f) {
  struct stat status = {};
  if (::fstat(::fileno(f), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  const long position = std::ftell(f);
  return position < 0 ? -1 : status.st_size > position ? status.st_size - position : 0;
}

}  // namespace qvtx
