#include "matrix/file_report.h"

#include "base/ostr.h"

namespace qvtx {

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

}  // namespace qvtx
