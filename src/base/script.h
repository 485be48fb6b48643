#pragma once
// A saved trace or a script as console input.

#include <istream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace qvtx {

/// The lines of a script, as a stream reads them. Lines that begin with "#" are comments. Those that begin
/// with
/// "#= " are notes that a saved trace holds where its text alone would not repeat the session:
///   #= real X   the next word stands for X, of which it holds fewer digits (see `trace_real`); it is
///   replaced
///   #= KIND X   anything else, for `take_note`
class Script : public std::streambuf {
 public:
  /// first: lines that come ahead of the others, but behind the notes that the script begins with.
  explicit Script(std::istream& text, const std::string& first = "");

  /// Drops the next line when it holds exactly this word, and tells whether it did. Nothing but blanks may be
  /// left of the present line. Answers stand twice in a trace: as they were typed, and as they were
  /// understood.
  bool skip(std::string_view word);
  /// Takes the note of this kind that comes next, if there is one.
  bool take_note(std::string_view kind, std::string& value);

 protected:
  int_type underflow() override;

 private:
  struct Line {
    std::string text;  ///< with its line end
    bool note;
  };
  void add(std::string line);
  bool at_line_end() const;

  std::vector<Line> lines_;
  std::size_t next_ = 0;  ///< first line that no reading has begun
  std::string exact_;     ///< digits of the note ahead of the line that is being added
};

}  // namespace qvtx
