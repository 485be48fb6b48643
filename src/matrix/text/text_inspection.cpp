#include "matrix/text/text_inspection.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "base/files.h"
#include "matrix/binary_inspection.h"
#include "matrix/text/number_scanner.h"

namespace qvtx {
namespace {

constexpr std::size_t longest_quote = 30;  ///< characters of a word that a remark repeats

bool is_blank(int c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; }

std::string quoted(const std::string& word) {
  std::string shown;
  for (const char c : word.substr(0, longest_quote)) shown += is_control(c) || c == 0x7f ? '?' : c;
  return word.size() > longest_quote ? "'" + shown + "...'" : "'" + shown + "'";
}

std::string numbers(long n) { return std::to_string(n) + (n == 1 ? " number" : " numbers"); }

/// How many numbers a word holds ("1-2" are two, as for the reader); -1 when it is no number, or not only.
long count_numbers(const std::string& word) {
  long count = 0;
  for (const char* p = word.c_str(); *p != '\0'; ++count) {
    const bool opens = (*p >= '0' && *p <= '9') || *p == '+' || *p == '-' || *p == '.';
    if (!opens) return -1;
    const ScannedNumber scanned = scan_number(p);
    if (!scanned.valid) return -1;
    p = scanned.end;
  }
  return count;
}

std::string advice(const std::string& word) {
  if (word.starts_with("\xef\xbb\xbf")) return " (a byte order mark stands in front of it)";
  const std::size_t sign = word.find_first_of(",;");
  if (sign == std::string::npos || count_numbers(word.substr(0, sign)) != 1) return "";
  if (word[sign] == ';') return " (blanks or tabs stand between numbers, not semicolons)";
  // "1,5" is taken for a decimal; "1.5,2", "1,5,2" and "1," are lists.
  const bool decimal = word.find(',', sign + 1) == std::string::npos && sign + 1 < word.size() &&
                       word.find('.') == std::string::npos;
  return decimal ? " (decimals take a point)" : " (blanks or tabs stand between numbers, not commas)";
}

/// Words and line ends of a text, one after the other.
class Words {
 public:
  explicit Words(const std::string& name) : in_(name, std::ios::binary) {}

  enum class Kind { word, line_end, end };

  /// A word is left in `word`; `line` is the line that it stands in.
  Kind next() {
    if (ended_) ++line;
    ended_ = false;
    int c = in_.peek();
    while (is_blank(c)) c = after();
    if (c == end) return Kind::end;
    if (c == '\n' || c == '\r') {
      if (after() == '\n' && c == '\r') in_.get();
      ended_ = true;
      return Kind::line_end;
    }
    word.clear();
    for (; c != end && !is_blank(c) && c != '\n' && c != '\r'; c = after()) word += static_cast<char>(c);
    return Kind::word;
  }

  std::string word;
  long line = 1;

 private:
  static constexpr int end = std::char_traits<char>::eof();

  /// The character behind the present one. The stream makes the end of its buffer's exceptions, which come
  /// when a disk cannot be read.
  int after() {
    in_.get();
    return in_.peek();
  }

  std::ifstream in_;
  bool ended_ = false;  ///< a line end was the last thing read
};

/// Walks through the text until the first thing that the reader did not take as it stands.
class Inspection {
 public:
  explicit Inspection(ReadReport& report) : report_(report), words_(report.file) {
    if (!report.header) return;
    head_ = 2 * report.columns;
    wanted_ = head_ + report.rows * report.columns;
  }

  void run() {
    for (Words::Kind kind = words_.next(); report_.remark.empty(); kind = words_.next()) {
      if (kind == Words::Kind::word) {
        word();
      } else {
        line();
        if (kind == Words::Kind::end) break;
        line_ended_ = total_ > 0;
      }
    }
    finish();
  }

 private:
  void remark(std::string text) {
    report_.line = words_.line;
    report_.remark = std::move(text);
  }

  void word() {
    const long more = count_numbers(words_.word);
    if (report_.loaded && report_.header && total_ >= wanted_) {
      left_over();
    } else if (more < 0) {
      foreign_word();
    } else {
      in_line_ += more;
      total_ += more;
    }
  }

  void left_over() {
    if (first_line_ > report_.columns) {
      report_.line = 1;
      report_.remark = "the line begins like a header of " + shape(report_.rows, report_.columns) +
                       ": the numbers from line " + std::to_string(words_.line) + " on were left out";
    } else {
      remark("more than the " + shape(report_.rows, report_.columns) +
             " that the header declares: the rest of the file was left out");
    }
  }

  void foreign_word() {
    std::string text = quoted(words_.word);
    if (in_line_ > 0) text += " in column " + std::to_string(in_line_ + 1);
    text += " is not a number" + advice(words_.word);
    if (report_.loaded)
      text += ": " + std::to_string(report_.rows) + (report_.rows == 1 ? " row" : " rows") +
              " read, the rest of the file was left out";
    remark(std::move(text));
  }

  /// The line is complete.
  void line() {
    const long count = in_line_;
    in_line_ = 0;
    if (count == 0) return;
    if (first_line_ == 0) first_line_ = count;
    // Header lines hold as many numbers as a row does.
    if (!report_.loaded || count == report_.columns || odd_line_ > 0) return;
    odd_line_ = words_.line;
    odd_count_ = count;
  }

  void finish() {
    if (!report_.loaded && report_.remark.empty()) {
      report_.remark = total_ == 0 ? "no number in it" : declared();
      return;
    }
    // The earlier line is named; both leave rows that are not those of the file.
    if (odd_line_ == 0 || (report_.line > 0 && report_.line <= odd_line_)) return;
    report_.line = odd_line_;
    std::string text = numbers(odd_count_) + " where a row has " + std::to_string(report_.columns) +
                       ": rows were filled across line ends";
    const long left = report_.header ? 0 : total_ % report_.columns;
    if (report_.remark.empty() && left > 0) text += ", the last " + numbers(left) + " left out";
    if (!report_.remark.empty()) text += ", and the file was not read to its end";
    report_.remark = std::move(text);
  }

  /// Why numbers alone made no matrix.
  std::string declared() const {
    if (!report_.header || total_ <= report_.columns)
      return line_ended_ ? "a header line, and no line with the number of rows behind it"
                         : "its only line has no line end";
    return "the header declares " + shape(report_.rows, report_.columns) + ", " +
           numbers(std::max(total_ - head_, 0L)) + (total_ - head_ == 1 ? " follows" : " follow");
  }

  ReadReport& report_;
  Words words_;
  long head_ = 0;    ///< numbers in the header
  long wanted_ = 0;  ///< numbers in header and matrix
  long total_ = 0;
  long in_line_ = 0;     ///< numbers in this line so far
  long first_line_ = 0;  ///< in the first line that holds any
  long odd_line_ = 0;    ///< first line with another count than a row
  long odd_count_ = 0;
  bool line_ended_ = false;
};

}  // namespace

void inspect_text(ReadReport& report) {
  report.remark = why_unreadable(report.file);
  if (!report.remark.empty()) return;
  report.text = looks_like_text(report.file.c_str());
  if (report.text) {
    Inspection(report).run();
  } else if (!report.loaded) {
    report.remark = "binary data where text is needed";
  }
}

}  // namespace qvtx
