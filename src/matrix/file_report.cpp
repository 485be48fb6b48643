#include "matrix/file_report.h"

#include <utility>

#include "base/ostr.h"

namespace qvtx {

namespace {

ReadListener read_listener;

}  // namespace

int report_missing(const char* operation, const char* name, int verbose) {
  if (verbose != 0) os.ow(operation).ow(": file ").ow(name).ow(" not found!").nl();
  return 0;
}

void report_start(const char* activity, const char* name, int verbose) {
  if (verbose != 0) os.ow(activity).ow(name).ow(" ... ").flush();
}

int report_end(bool done, int verbose) {
  if (verbose != 0) os.ow(done ? "done!" : "failed!").nl();
  return done ? 1 : 0;
}

ReadListener listen_to_reads(ReadListener listener) {
  return std::exchange(read_listener, std::move(listener));
}

bool reads_are_heard() { return static_cast<bool>(read_listener); }

void tell_read(const ReadReport& report) {
  if (read_listener) read_listener(report);
}

}  // namespace qvtx
