#include "base/istr.h"

#include <iostream>

#include "base/interrupt.h"

namespace qvtx {
namespace {

bool is_gap(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// A signal is no end of the input: the stream can be read again.
void heed_interrupts(std::istream& in) {
  if (!interrupted()) return;
  in.clear();
  throw GivenUp();
}

}  // namespace

Istr is;

Istr::Istr() : stream(&std::cin) {}

bool Istr::getc(char& c) {
  heed_interrupts(*stream);
  char next = '\0';
  while (stream->get(next)) {
    if (is_gap(static_cast<unsigned char>(next))) continue;
    c = next;
    return true;
  }
  heed_interrupts(*stream);
  return false;
}

bool Istr::getword(std::string& word) {
  char c = '\0';
  if (!getc(c)) return false;
  word.assign(1, c);
  // The delimiter stays in the stream.
  for (int next = stream->peek(); stream->good() && !is_gap(next); next = stream->peek()) {
    word.push_back(static_cast<char>(stream->get()));
  }
  heed_interrupts(*stream);  // the word may be a part of what was typed
  return true;
}

}  // namespace qvtx
