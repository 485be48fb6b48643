#include "matrix/binary_inspection.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "base/files.h"

namespace qvtx {

bool is_control(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code < ' ' && !(code >= '\t' && code <= '\r');
}

std::string shape(long rows, long columns) { return std::to_string(rows) + " x " + std::to_string(columns); }

bool looks_like_text(const char* name) {
  std::ifstream in(name, std::ios::binary);
  std::string sample(512, ' ');
  in.read(sample.data(), std::ssize(sample));
  sample.resize(static_cast<std::size_t>(in.gcount()));
  return std::none_of(sample.begin(), sample.end(), is_control);
}

void inspect_binary(ReadReport& report, long width) {
  report.remark = why_unreadable(report.file);
  if (!report.remark.empty()) return;
  report.text = looks_like_text(report.file.c_str());
  std::FILE* const file = std::fopen(report.file.c_str(), "rb");
  if (file == nullptr) return;
  const long size = bytes_left(file);
  long nall = 0, ncol = 0, nrow = 0, ninc = 0, bytes = 0;
  const bool whole = read_int32(file, nall) && read_int32(file, ncol) && read_int32(file, nrow) &&
                     read_int32(file, ninc) && read_int32(file, bytes);
  std::fclose(file);
  if (report.text) {
    report.remark = size == 0 ? "an empty file" : "text where a binary matrix is needed";
  } else if (!whole) {
    report.remark = "it ends within the 20 bytes of the header of a binary matrix";
  } else if (bytes != width) {
    report.remark = "no binary matrix of elements of " + std::to_string(width) + " bytes";
  } else if (nrow == 0) {
    report.remark = "no row in it";
  } else {
    report.remark = "the header declares " + shape(nrow, ncol) + ", which the " + std::to_string(size) +
                    " bytes of the file do not hold";
  }
}

}  // namespace qvtx
