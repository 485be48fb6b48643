#pragma once
// What the file operations say: on the console, and to who wants to know what was read.

#include <functional>
#include <string>

namespace qvtx {

/// Each prints on the line that has begun, and only when verbose is not 0.
/// "<operation>: file <name> not found!" and a line end; operation is the class and the method. Returns 0.
int report_missing(const char* operation, const char* name, int verbose);
/// "<activity><name> ... ", flushed.
void report_start(const char* activity, const char* name, int verbose);
/// "done!" or "failed!" and a line end. Returns 1 or 0.
int report_end(bool done, int verbose);

/// What a load of a dense matrix by file name came to.
struct ReadReport {
  std::string file;
  bool loaded = false;
  bool binary = false;  ///< the binary form was asked for
  bool header = false;  ///< a text header was taken
  long rows = 0;        ///< of the matrix that was loaded
  long columns = 0;
  long line = 0;  ///< text line that the remark is about, from 1; 0: the file as a whole
  std::string
      remark;  ///< why the load was refused, or what of the file is not in the matrix as it stands there
  bool text = true;  ///< the file looks like text
};

/// Hears of every load of a dense matrix by file name, after its last message on the console; files that are
/// missing are not told. Remarks cost a second look at the files that need one, and only while somebody
/// listens.
using ReadListener = std::function<void(const ReadReport&)>;
/// Takes the place of the listener, who is returned; an empty one: nobody listens, as at the start.
ReadListener listen_to_reads(ReadListener listener);
/// True when somebody listens.
bool reads_are_heard();
void tell_read(const ReadReport& report);

}  // namespace qvtx
