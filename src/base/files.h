#pragma once
// Files that are either written whole or left as they were.

#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/draft.h"

namespace qvtx {

/// A file being saved. The text goes to a temporary file (short name) in the target's directory, which
/// `commit` writes through to the disk and renames over the target; without a commit, or on any failure, the
/// earlier file stands as it was. A symbolic link keeps its place and its target is replaced; a target that
/// is not a regular file (a device, a pipe) is written directly. A target that may not be written is refused,
/// although renaming would replace it. While there is a FileSet the file belongs to it.
class SafeFile {
 public:
  explicit SafeFile(const char* name);
  ~SafeFile();
  SafeFile(const SafeFile&) = delete;
  SafeFile& operator=(const SafeFile&) = delete;

  bool is_open() const { return file() != nullptr; }
  /// The open stream ("wb"), null when it could not be opened.
  std::FILE* file() const { return direct_ != nullptr ? direct_ : draft_ ? draft_->file() : nullptr; }
  /// Ends the file. True when every byte has reached it and it has taken its place, which in a set it does
  /// later; false also on a second call.
  bool commit();

 private:
  bool open(const char* name);
  bool end();
  void fail() const;

  std::FILE* direct_ = nullptr;  ///< of a target that is written directly
  std::optional<Draft> draft_;
  std::string name_;  ///< as it was asked for
};

/// Files that take their places together. While a set exists the files that are committed wait under their
/// temporary names; `commit` renames all of them. When one of them fails, or without a commit, all earlier
/// files stand as they were. Sets nest: files belong to the youngest, and join no other one.
class FileSet {
 public:
  FileSet();
  ~FileSet();
  FileSet(const FileSet&) = delete;
  FileSet& operator=(const FileSet&) = delete;

  /// True when every file that was begun in the set has taken its place.
  bool commit();
  /// Number of files that have; between 0 and all only when a renaming failed.
  std::size_t placed() const { return placed_; }

 private:
  friend class SafeFile;
  /// Whether remainders of files of this name were not looked for yet.
  bool is_new(const std::string& target);
  bool place_all();

  std::vector<Draft> waiting_;
  std::set<std::string> cleared_;  ///< names without extension whose remainders have been removed
  bool failed_ = false;
  std::size_t placed_ = 0;
  FileSet* const outer_;
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
/// Why nothing can be read from a file; empty when something can. A directory opens, and then has no bytes.
/// The file is not opened: a pipe would lose what it holds.
std::string why_unreadable(const std::string& name);
/// Bytes from the position to the end of a regular file; -1 when that is unknown.
long bytes_left(std::FILE* f);

}  // namespace qvtx
