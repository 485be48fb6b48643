#pragma once
// Files that are either written whole or left as they were.

#include <cstdio>
#include <functional>
#include <string>

namespace qvtx {

/// A file being saved. The text goes to a temporary file (short name) in the target's directory, which
/// `commit` renames over the target after a successful flush and close; without a commit, or on any failure,
/// the earlier file stands as it was. A symbolic link keeps its place and its target is replaced; a target
/// that is not a regular file (a device, a pipe) is written directly. A target that may not be written is
/// refused, although renaming would replace it.
class SafeFile {
 public:
  explicit SafeFile(const char* name);
  ~SafeFile();
  SafeFile(const SafeFile&) = delete;
  SafeFile& operator=(const SafeFile&) = delete;

  bool is_open() const { return file_ != nullptr; }
  /// The open stream ("wb"), null when it could not be opened.
  std::FILE* file() const { return file_; }
  /// Closes the file. True when every byte has reached it and it has taken its place; false also on a second
  /// call.
  bool commit();

 private:
  bool open(const char* name);
  bool close();

  std::FILE* file_ = nullptr;
  std::string name_;       ///< as it was asked for
  std::string target_;     ///< what is replaced, links resolved
  std::string temporary_;  ///< what is written; empty when the target is written directly
};

/// Writes the text as a file of its own, as a SafeFile; true on success.
bool write_file(const char* name, const std::string& text);

/// Hears of every SafeFile that did not come about: its name, and the error number of the system or 0 when a
/// number did not fit the file's format.
using WriteListener = std::function<void(const std::string& name, int error)>;
/// Takes the place of the listener, who is returned; an empty one: nobody listens, as at the start.
WriteListener listen_to_writes(WriteListener listener);

/// 4-byte little-endian integers, the form of every integer in a binary file. Writing fails for a value that
/// does not fit, and nothing is written; reading fails at a short read, and v is unchanged.
bool write_int32(std::FILE* f, long v);
bool read_int32(std::FILE* f, long& v);
/// Bytes from the position to the end of a regular file; -1 when that is unknown.
long bytes_left(std::FILE* f);

}  // namespace qvtx
