#pragma once
// What somebody may have meant who typed a word that does not exist.

#include <string>
#include <vector>

namespace qvtx {

/// " (vldnbr, vlnnbr?)": the known words, five at most and in their order, that contain `word`, else those
/// that the fewest changes of a letter make of it (V. I. Levenshtein, 1966), two at most. Capitals count as
/// small letters. Empty when there are none.
std::string suggestion(const std::string& word, const std::vector<std::string>& known);

}  // namespace qvtx
