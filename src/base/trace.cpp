#include "base/trace.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "base/files.h"

namespace qvtx {

std::string comtrac;

long trace_word(std::string& trace, const std::string& word) {
  const std::size_t before = trace.size();
  if (word.starts_with('#')) trace += ' ';
  trace += word;
  trace += '\n';
  return static_cast<long>(trace.size() - before);
}

long trace_long(std::string& trace, long v) { return trace_word(trace, std::to_string(v)); }

long trace_double(std::string& trace, double v) {
  char text[40];
  std::snprintf(text, sizeof text, "%e", v);
  const std::size_t before = trace.size();
  trace_real(trace, text, v);
  trace += '\n';
  return static_cast<long>(trace.size() - before);
}

void trace_real(std::string& trace, const std::string& text, double v) {
  if (std::strtod(text.c_str(), nullptr) != v) {
    char exact[40];
    const auto end = std::to_chars(exact, exact + sizeof exact, v).ptr;
    if (!trace.empty() && trace.back() != '\n') trace += '\n';
    trace_note(trace, "real", std::string(exact, end));
  }
  trace += text;
}

void trace_note(std::string& trace, const std::string& kind, const std::string& value) {
  trace.append("#= ").append(kind).append(" ").append(value).append("\n");
}

bool savetrc(const char* name) {
  const bool saved = write_file(name, comtrac + "xt\ny\n");
  comtrac.clear();
  if (saved) std::cerr << "  trace saved & reset!\n" << std::flush;
  return saved;
}

}  // namespace qvtx
