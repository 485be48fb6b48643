// The listing and the interactive editor of a preference table.

#include <iostream>
#include <string_view>
#include <vector>

#include "base/prompts.h"
#include "base/trace.h"
#include "settings/matpref.h"
#include "settings/similar_words.h"
#include "settings/value_text.h"

namespace qvtx {

namespace {

constexpr const char* menu_prompt = "pref # ";

/// Text right-justified in a field.
std::string right(const std::string& text, std::size_t width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

template <class T>
void show_meaning(Ostr& o, const MatPrefT<T>& table, long k, T v) {
  std::string text;
  if (table.gethlp(k, v, text)) o.ow(" (").ow(text).ow(")");
}

/// One session of the editor.
template <class T>
class Menu {
 public:
  Menu(MatPrefT<T>& table, Ostr& o, Istr& in, std::string& trace)
      : table_(table), o_(o), in_(in), trace_(trace) {}

  /// True when every command was obeyed.
  bool run() {
    const Indent indent(o_);
    o_.nl();
    o_.ow("Type '?' to display menu").nl();
    while (command()) {
    }
    question() = {};
    trace_ += '\n';
    return !refused_;
  }

 private:
  /// One command; false when it ends the menu.
  bool command() {
    const char c = ask();
    if (std::string_view("?s+-hlxqb").find(c) == std::string_view::npos) {
      o_.ow("Bad command: ").ow(c).nl();
      refused_ = true;
      return true;
    }
    const std::size_t before = trace_.size();
    trace_ += c;
    switch (c) {
      case '?':
        help();
        return true;
      case 'l':
        list();
        return true;
      case 'h':
      case 's':
      case '+':
      case '-':
        // A command that is given up was never typed, as far as a replay is concerned.
        if (!entry_command(c)) trace_.resize(before);
        return true;
      default:
        return false;
    }
  }

  char ask() {
    o_.ow(menu_prompt).flush();
    if (&o_ != &os) os.flush();
    question() = {std::string(static_cast<std::size_t>(o_.depth * o_.step), o_.fill) + menu_prompt,
                  [this](const std::string& word) { return keys_from(word); }};
    char c;
    if (!in_.getc(c)) end_of_input();
    question().text.clear();
    o_.nl();
    return c;
  }

  /// The keys that begin with the word.
  std::vector<std::string> keys_from(const std::string& word) const {
    std::vector<std::string> keys = table_.keys();
    std::erase_if(keys, [&word](const std::string& key) { return !key.starts_with(word); });
    return keys;
  }

  void help() {
    o_.ow("exit=> 'x' or 'b'   set => 's' <key> ' ' <value>").nl();
    o_.ow("list=> 'l'          min => '-' <key>").nl();
    o_.ow("help=> 'h' <key>    max => '+' <key>").nl();
  }

  /// The listing stands at the depth of the menu's caller.
  void list() {
    --o_.depth;
    table_.show(o_);
    ++o_.depth;
  }

  /// A command about one entry; false when a word is not a number, nor a key where an entry is asked for.
  bool entry_command(char c) {
    long k;
    const std::string word = next_word();
    if (!parse_long(word, k) && (k = table_.getkey(word.c_str())) < 0) {
      not_a_number(word);
      tell("nor is it the key of a setting in this menu" + suggestion(word, table_.keys()));
      return false;
    }
    trace_ += std::to_string(k) + ' ';
    if (k < 0 || k >= table_.count()) {
      o_.ow("pref. ").ow(k).ow(" does not exist!").nl();
      refused_ = true;
      return true;
    }
    switch (c) {
      case 'h':
        describe(k);
        return true;
      case 's':
        return set_typed(k);
      default:
        set(k, c == '-' ? table_.getmin(k) : table_.getmax(k));
        return true;
    }
  }

  /// The typed number is a real for both tables; false when it is not one.
  bool set_typed(long k) {
    double x;
    const std::string word = next_word();
    if (!parse_double(word, x)) return not_a_number(word);
    trace_real(trace_, std::to_string(x), x);  // "%f "
    trace_ += ' ';
    if (representable<T>(x)) {
      set(k, table_.typed(k, x));
    } else {
      announce(k);
      refuse(k, value_text(x));
    }
    return true;
  }

  std::string next_word() {
    o_.flush();
    std::string word;
    if (!in_.getword(word)) end_of_input();
    return word;
  }

  bool not_a_number(const std::string& word) {
    o_.flush();
    std::cerr << "not a number: " << word << '\n';
    refused_ = true;
    return false;
  }

  void describe(long k) {
    o_.ow("pref. ").ow(k, 3).ow(": value meanings").nl();
    const Indent indent(o_);
    for (const typename MatPrefT<T>::Meaning& meaning : table_.meanings(k)) {
      if (!(table_.getmin(k) <= meaning.value && meaning.value <= table_.getmax(k))) continue;
      o_.ow("value ").ow(right(value_text(meaning.value), 6)).ow(" means ").ow(meaning.text).nl();
    }
    o_.nl();
    o_.ow("actual value = ").ow(right(value_text(table_.getval(k)), 12)).nl();
    o_.ow("future value = ").ow(right(value_text(table_.getfut(k)), 12)).nl();
  }

  void set(long k, T v) {
    announce(k);
    if (!table_.newval(k, v)) {
      refuse(k, value_text(v));
      return;
    }
    o_.ow("set to ").ow(right(value_text(v), 12));
    show_meaning(o_, table_, k, v);
    o_.nl();
  }

  /// The beginning of the answer, once the command is complete.
  void announce(long k) {
    trace_ += '\n';
    o_.ow("pref. ").ow(k, 3).ow(" [").ow(table_.getlabel(k)).ow("]: value ");
  }

  void refuse(long k, const std::string& value) {
    o_.ow(value)
        .ow(" out of range [")
        .ow(value_text(table_.getmin(k)))
        .ow(",")
        .ow(value_text(table_.getmax(k)));
    o_.ow("]").nl();
    refused_ = true;
  }

  MatPrefT<T>& table_;
  Ostr& o_;
  Istr& in_;
  std::string& trace_;
  bool refused_ = false;
};

}  // namespace

template <class T>
void MatPrefT<T>::show(Ostr& o) const {
  o.ow("MatPrefT: list of preferences").nl();
  const Indent indent(o);
  o.ow("key", 3).ow(" [").ow("label", key_length).ow("]: ").ow("description", description_length);
  o.ow(" = ").ow("value", 8).ow(" (").ow("meaning").ow(")").nl();
  o.nl();
  for (long k = 0; k < count(); ++k) {
    o.ow(k, 3).ow(" [").ow(getlabel(k), key_length).ow("]: ").ow(getdescription(k), description_length);
    o.ow(" = ").ow(right(value_text(getval(k)), 8));
    show_meaning(o, *this, k, getval(k));
    if (changed(k)) {
      o.ow(" -> ").ow(value_text(getfut(k)));
      show_meaning(o, *this, k, getfut(k));
    }
    o.nl();
  }
}

template <class T>
long MatPrefT<T>::menu(Ostr& o, Istr& in, std::string* trace) {
  menu_refused_ = false;
  if (count() == 0) return 0;
  std::string unused;
  std::string& target = trace != nullptr ? *trace : unused;
  const std::size_t before = target.size();
  menu_refused_ = !Menu<T>(*this, o, in, target).run();
  return trace != nullptr ? static_cast<long>(target.size() - before) : 0;
}

template void MatPrefT<long>::show(Ostr&) const;
template void MatPrefT<double>::show(Ostr&) const;
template long MatPrefT<long>::menu(Ostr&, Istr&, std::string*);
template long MatPrefT<double>::menu(Ostr&, Istr&, std::string*);

}  // namespace qvtx
