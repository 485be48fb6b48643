#include "settings/similar_words.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace qvtx {

namespace {

constexpr std::size_t shortest_part = 3;  ///< letters that a part has at least: two are in most keys
constexpr std::size_t most_changes = 2;
constexpr std::size_t most_suggested = 5;

std::string in_small_letters(std::string word) {
  for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return word;
}

/// Letters to be put in, left out or replaced to make b of a.
std::size_t changes(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);  // to make the first j letters of b of those of a seen so far
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
  const std::string typed = in_small_letters(word);
  std::vector<std::string> near;
  std::size_t least = most_changes;
  for (const std::string& candidate : known) {
    const bool part = typed.size() >= shortest_part && candidate.find(typed) != std::string::npos;
    const std::size_t needed = part ? 0 : changes(typed, candidate);
    if (needed > least) continue;
    if (needed < least) near.clear();
    least = needed;
    near.push_back(candidate);
  }
  std::string text;
  for (std::size_t k = 0; k < std::min(near.size(), most_suggested); ++k)
    text.append(k == 0 ? " (" : ", ").append(near[k]);
  return near.empty() ? text : text + "?)";
}

}  // namespace qvtx
