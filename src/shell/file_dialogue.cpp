// Asking for the names of files, and telling what became of them.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "base/draft.h"
#include "base/files.h"
#include "base/interrupt.h"
#include "base/prompts.h"
#include "shell/session.h"

namespace qvtx {

namespace {

namespace fs = std::filesystem;

constexpr int names_before_listing = 2;  ///< refused names after which a person wants to see what there is
constexpr std::size_t most_listed = 8;

std::string shape(long rows, long columns) { return std::to_string(rows) + " x " + std::to_string(columns); }

/// The first two integers of a snapshot: rows and columns of its data.
bool snapshot_shape(const std::string& file, long& rows, long& columns) {
  std::FILE* const in = std::fopen(file.c_str(), "rb");
  if (in == nullptr) return false;
  const bool read = read_int32(in, rows) && read_int32(in, columns);
  std::fclose(in);
  return read;
}

/// Names without extension of the files that fit, in order.
std::vector<std::string> fitting_names(const fs::path& directory, const std::string& extension,
                                       const std::function<bool(const std::string&)>& fits) {
  std::vector<std::string> names;
  std::error_code error;
  for (const std::string& entry : directory_names(directory.string())) {
    const fs::path name = directory / entry;
    if (name.extension() == extension && fs::is_regular_file(name, error) && fits(name.string()))
      names.push_back((directory / name.stem()).string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

Completion names_with(const std::string& extension) {
  return [extension](const std::string& word) {
    const fs::path folder = fs::path(word).parent_path();
    std::vector<std::string> names =
        fitting_names(folder, extension, [](const std::string&) { return true; });
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder.empty() ? "." : folder, error))
      if (entry.is_directory(error)) names.push_back((folder / entry.path().filename()).string() + "/");
    std::erase_if(names, [&word](const std::string& name) { return !name.starts_with(word); });
    std::sort(names.begin(), names.end());
    return names;
  };
}

void Session::ask_file(std::string& name, const FileKind& kind) {
  for (int refusals = 0;;) {
    getfile(name, names_with(kind.extension));
    if (kind.load()) return;
    refused_ = true;
    if (name.ends_with(kind.extension)) tell(std::string("names are typed without ") + kind.extension);
    if (manner_.strict) throw GivenUp();
    if (++refusals == names_before_listing) list_files(name, kind);
  }
}

void Session::list_files(const std::string& name, const FileKind& kind) const {
  std::vector<std::string> names = fitting_names(fs::path(name).parent_path(), kind.extension, kind.fits);
  if (names.empty()) {
    tell("no file " + (fs::path(name).parent_path() / "*").string() + kind.extension + " fits");
    return;
  }
  std::string list = "files that fit:";
  for (std::size_t k = 0; k < std::min(names.size(), most_listed); ++k) list.append(" ").append(names[k]);
  tell(names.size() > most_listed ? list + " ..." : list);
}

void Session::hear_read(const ReadReport& report) {
  if (collects_reads_) {
    reads_.push_back(report);
  } else {
    tell_report(report);
  }
}

void Session::tell_report(const ReadReport& report) {
  if (report.loaded && analysis_.verbose != 0) {
    tell("read " + shape(report.rows, report.columns) + (report.header ? ", header" : "") +
         (report.binary ? ", binary" : ""));
  }
  if (report.remark.empty()) return;
  const std::string line = std::to_string(report.line);
  const std::string place = report.line == 0 ? ": "
                            : report.loaded  ? ":" + line + ": "
                                             : ": line " + line + ": ";
  tell(report.file + place + report.remark);
  if (!report.loaded) refused_ = true;
}

bool Session::read_data(const std::string& file, const std::function<bool()>& load) {
  reads_.clear();
  collects_reads_ = true;
  const bool loaded = load();
  collects_reads_ = false;
  if (reads_.empty()) {
    refuse(file + ": " + why_unreadable(file));
  } else if (loaded || reads_.back().text) {
    tell_report(reads_.back());
  } else {
    tell_report(reads_.front());  // the text reader has nothing to say about bytes
  }
  return loaded;
}

void Session::tell_snapshot(const std::string& file) {
  const MatFullD& data = analysis_.getdat();
  long rows = 0, columns = 0;
  if (const std::string closed = why_unreadable(file); !closed.empty()) {
    refuse(file + ": " + closed);
  } else if (snapshot_shape(file, rows, columns) && (rows != data.nrow() || columns != data.ncol())) {
    refuse(file + " belongs to data of " + shape(rows, columns) + ", these are " +
           shape(data.nrow(), data.ncol()));
  } else {
    refuse(file + ": " + analysis_.getloadtrouble());
  }
}

bool Session::fits_data(const std::string& file) const {
  long rows = 0, columns = 0;
  return snapshot_shape(file, rows, columns) && rows == analysis_.getdat().nrow() &&
         columns == analysis_.getdat().ncol();
}

void Session::tell_unwritten() {
  if (unwritten_.empty()) return;
  const auto& [name, error] = unwritten_.front();
  std::string text = "cannot write " + name + ": ";
  text += error != 0 ? std::strerror(error) : "a number does not fit its format";
  if (unwritten_.size() > 1) text += " (and " + std::to_string(unwritten_.size() - 1) + " more)";
  unwritten_.clear();
  refuse(text);
}

}  // namespace qvtx
