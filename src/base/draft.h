#pragma once
// Files on their way to their place.

#include <cstdio>
#include <string>
#include <vector>

namespace qvtx {

/// A new file that is to take the place of another one. It is written under a temporary name in the same
/// directory; a program that is killed leaves the temporary file, which the next one that writes a file of
/// that name, whatever its extension, removes. While a draft is open its file is locked (flock), so that
/// nobody takes it for such a remainder. Failures leave their reason in errno.
class Draft {
 public:
  Draft() = default;
  /// Opens the temporary file ("wb"), with the permissions of the target if that exists.
  explicit Draft(std::string target);
  /// Removes what has not been placed.
  ~Draft();
  Draft(Draft&& other) noexcept;
  Draft& operator=(Draft&&) = delete;

  /// Null when it could not be opened.
  std::FILE* file() const { return file_; }
  const std::string& target() const { return target_; }
  std::string directory() const;
  /// Writes every byte to the disk: what is renamed afterwards survives a loss of power whole.
  bool flush();
  /// Renames the file over the target. REQUIRES: flush() succeeded.
  bool place();

 private:
  std::FILE* file_ = nullptr;
  std::string target_;
  std::string temporary_;
};

/// Removes the temporary files that killed programs left beside the target when they wrote a file of its name
/// with this or another extension.
void remove_remainders(const std::string& target);

/// Names in a directory (empty: the working directory), in no order; none when it cannot be read. A directory
/// iterator of the standard library would end the program where it finds no memory.
std::vector<std::string> directory_names(const std::string& directory);

/// Writes the names in a directory (empty: the working directory) to the disk. False on a failing disk; a
/// directory that may not be read, or a file system that cannot do this, counts as done.
bool flush_directory(const std::string& directory);

}  // namespace qvtx
