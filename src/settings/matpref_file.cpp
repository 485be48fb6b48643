// Reading one block of a preference file.

#include <cctype>
#include <fstream>
#include <utility>

#include "base/prompts.h"
#include "settings/matpref.h"
#include "settings/value_text.h"

namespace qvtx {

namespace {

// Characters that a text argument may have; the table keeps fewer of them (MatPrefT::key_length and so on).
constexpr std::size_t key_capacity = 14;
constexpr std::size_t meaning_capacity = 14;
constexpr std::size_t description_capacity = 94;
constexpr std::size_t comment_capacity = 94;

/// Marks the streams whose trouble has been told.
const int told = std::ios_base::xalloc();

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
      if (!execute(c)) return unread();
    }
    expected_ = "the end of a block (x)";
    return unread();
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
        expected_ = "a command (p, v, h, c or x)";
        taken_ = 1;
        return false;
    }
  }

  /// The block cannot be read on. The first place of a file is told: the following blocks begin in the
  /// middle.
  int unread() {
    if (std::exchange(in_.iword(told), 1L) == 0) tell_place();
    return 0;
  }

  void tell_place() {
    const std::ios_base::iostate state = in_.rdstate();
    in_.clear();
    const std::streampos place = in_.tellg();
    in_.seekg(0);
    long line = 1;
    for (char c; in_.tellg() < place - taken_ && in_.get(c);) line += c == '\n' ? 1 : 0;
    std::string word;
    in_ >> word;
    in_.clear();
    in_.seekg(place);
    in_.clear(state);
    std::string text = "preference file, line " + std::to_string(line);
    if (word.empty()) {
      text += ": it ends where ";
    } else {
      text.append(": '").append(word, 0, description_capacity).append("' stands where ");
    }
    tell(text + expected_ + " was expected");
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
    expected_ = "a text in braces";
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
    expected_ = "a number";
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
  const char* expected_ = "";  ///< what the file lacks where reading it fails
  std::streamoff taken_ = 0;   ///< characters of what stands there that have been read
  long current_;               ///< entry that `v` and `h` refer to; ahead of the block's first entry, none
};

}  // namespace

template <class T>
int MatPrefT<T>::load_asc(std::ifstream& f) {
  return BlockReader<T>(*this, f).run();
}

template int MatPrefT<long>::load_asc(std::ifstream&);
template int MatPrefT<double>::load_asc(std::ifstream&);

}  // namespace qvtx
