#include "base/trace.h"

#include <cstdio>
#include <iostream>

#include "base/files.h"

namespace qvtx {

std::string comtrac;

long trace_word(std::string& trace, const std::string& word) {
  trace += word;
  trace += '\n';
  return static_cast<long>(word.size()) + 1;
}

long trace_long(std::string& trace, long v) { return trace_word(trace, std::to_string(v)); }

long trace_double(std::string& trace, double v) {
  char text[40];
  std::snprintf(text, sizeof text, "%e", v);
  return trace_word(trace, text);
}

void savetrc(const char* name) {
  comtrac += "xt\ny\n";
  SafeFile out(name);
  if (out.is_open()) {
    std::fwrite(comtrac.data(), 1, comtrac.size(), out.file());
    out.commit();
  }
  comtrac.clear();
  std::cerr << "  trace saved & reset!\n" << std::flush;
}

}  // namespace qvtx
