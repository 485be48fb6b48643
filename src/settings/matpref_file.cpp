// Reading one block of a preference file.

#include <cctype>
#include <fstream>

#include "settings/matpref.h"
#include "settings/value_text.h"

namespace qvtx {

namespace {

// Characters that a text argument may have; the table keeps fewer of them (MatPrefT::key_length and so on).
constexpr std::size_t key_capacity = 14;
constexpr std::size_t meaning_capacity = 14;
constexpr std::size_t description_capacity = 94;
constexpr std::size_t comment_capacity = 94;

/// Reads the commands of one block into a table. Every read checks the stream, so that a file that ends
/// within a brace or a number ends the block.
template <class T>
class BlockReader {
 public:
  BlockReader(MatPrefT<T>& table, std::istream& in) : table_(table), in_(in), current_(table.count()) {}

  int run() {
    char c;
    while (command(c)) {
      if (const int end = lower(c); end == 'b' || end == 'x' || end == 'q') return 1;
      if (!execute(c)) return 0;
    }
    return 0;
  }

 private:
  static int lower(char c) { return std::tolower(static_cast<unsigned char>(c)); }

  bool execute(char c) {
    switch (lower(c)) {
      case 'p':
        return entry();
      case 'v':
        return value();
      case 'h':
      case '?':
        return meaning();
      case 'c':
        return comment();
      default:
        os.ow("MatPrefT.read_asc: bad command: ").ow(c).nl();
        return false;
    }
  }

  /// Next character that is not a blank, a tab or a line end.
  bool command(char& c) {
    while (in_.get(c))
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') return true;
    return false;
  }

  /// The text between the next pair of braces, its first `capacity` characters kept.
  bool braced(std::string& text, std::size_t capacity) {
    text.clear();
    char c;
    do {
      if (!in_.get(c)) return false;
    } while (c != '{');
    while (in_.get(c)) {
      if (c == '}') return true;
      if (text.size() < capacity) text += c;
    }
    return false;
  }

  /// The number is read in single precision for both tables: a setting that went through a file has the same
  /// value whichever program wrote its digits.
  bool number(double& x) {
    float single;
    if (!(in_ >> single)) return false;
    x = static_cast<double>(single);
    return true;
  }

  bool entry() {
    std::string key, description;
    double a, b;
    if (!braced(key, key_capacity) || !braced(description, description_capacity) || !number(a) || !number(b))
      return false;
    if (key.empty()) {
      os.ow("MatPrefT.read_asc: empty label for description ").ow(description).nl();
    } else {
      current_ = table_.addkey(key.c_str(), description.c_str(), nearest_value<T>(a), nearest_value<T>(b));
    }
    return true;
  }

  bool value() {
    double x;
    if (!number(x)) return false;
    const T low = table_.getmin(current_), high = table_.getmax(current_);
    if (representable<T>(x) && table_.newval(current_, nearest_value<T>(x))) {
      table_.commit(current_);
      return true;
    }
    os.ow("MatPrefT.read_asc: pref. ")
        .ow(table_.getlabel(current_))
        .ow(": value ")
        .ow(value_text(nearest_value<T>(x)));
    os.ow(" out of bounds [").ow(value_text(low)).ow(",").ow(value_text(high)).ow("]").nl();
    return true;
  }

  bool meaning() {
    double x;
    std::string text;
    if (!number(x) || !braced(text, meaning_capacity)) return false;
    if (!text.empty()) table_.sethlp(current_, nearest_value<T>(x), text.c_str());
    return true;
  }

  bool comment() {
    std::string text;
    return braced(text, comment_capacity);
  }

  MatPrefT<T>& table_;
  std::istream& in_;
  long current_;  ///< entry that `v` and `h` refer to; ahead of the block's first entry, none
};

}  // namespace

template <class T>
int MatPrefT<T>::load_asc(std::ifstream& f) {
  return BlockReader<T>(*this, f).run();
}

template int MatPrefT<long>::load_asc(std::ifstream&);
template int MatPrefT<double>::load_asc(std::ifstream&);

}  // namespace qvtx
