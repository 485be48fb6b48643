#include "base/script.h"

#include <algorithm>
#include <sstream>

namespace qvtx {

namespace {

constexpr std::string_view note_mark = "#= ";
constexpr std::string_view real_mark = "#= real ";
constexpr std::string_view gaps = " \t\r\n";

}  // namespace

Script::Script(std::istream& text, const std::string& first) {
  for (std::string line; std::getline(text, line);) add(std::move(line));
  std::istringstream ahead(first);
  const auto place = std::find_if(lines_.begin(), lines_.end(), [](const Line& line) { return !line.note; });
  std::vector<Line> added;
  for (std::string line; std::getline(ahead, line);) added.push_back({line + "\n", false});
  lines_.insert(place, added.begin(), added.end());
}

void Script::add(std::string line) {
  if (line.starts_with(real_mark)) {
    exact_ = line.substr(real_mark.size());
  } else if (line.starts_with(note_mark)) {
    lines_.push_back({line.substr(note_mark.size()), true});
  } else if (!line.starts_with('#')) {
    if (!exact_.empty()) {
      const std::size_t begin = std::min(line.find_first_not_of(gaps), line.size());
      const std::size_t end = std::min(line.find_first_of(gaps, begin), line.size());
      line.replace(begin, end - begin, exact_);
      exact_.clear();
    }
    lines_.push_back({line + "\n", false});
  }
}

bool Script::at_line_end() const {
  return std::all_of(gptr(), egptr(), [](char c) { return gaps.find(c) != std::string_view::npos; });
}

bool Script::skip(std::string_view word) {
  if (!at_line_end() || next_ >= lines_.size() || lines_[next_].note) return false;
  const std::string& text = lines_[next_].text;
  if (text.substr(0, text.find_last_not_of(gaps) + 1) != word) return false;
  ++next_;
  return true;
}

bool Script::take_note(std::string_view kind, std::string& value) {
  if (!at_line_end() || next_ >= lines_.size()) return false;
  const Line& line = lines_[next_];
  if (!line.note || !line.text.starts_with(std::string(kind) + ' ')) return false;
  value = line.text.substr(kind.size() + 1);
  ++next_;
  return true;
}

Script::int_type Script::underflow() {
  while (next_ < lines_.size() && lines_[next_].note) ++next_;
  if (next_ >= lines_.size()) return traits_type::eof();
  std::string& text = lines_[next_++].text;
  setg(text.data(), text.data(), text.data() + text.size());
  return traits_type::to_int_type(text.front());
}

}  // namespace qvtx
