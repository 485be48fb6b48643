#pragma once
// What the file operations say on the console.

namespace qvtx {

/// Each prints on the line that has begun, and only when verbose is not 0.
/// "<operation>: file <name> not found!" and a line end; operation is the class and the method. Returns 0.
int report_missing(const char* operation, const char* name, int verbose);
/// "<activity><name> ... ", flushed.
void report_start(const char* activity, const char* name, int verbose);
/// "done!" or "failed!" and a line end. Returns 1 or 0.
int report_end(bool done, int verbose);

}  // namespace qvtx
