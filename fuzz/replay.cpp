// Runs a target over files: REPLAY FILE...

#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz.h"

namespace {

bool finished = false;

}  // namespace

int main(int count, char** names) {
  std::atexit([] {
    if (!finished) std::_Exit(1);  // a fatal error ended the program
  });
  for (int i = 1; i < count; ++i) {
    std::ifstream file(names[i], std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::fprintf(stderr, "%s: %zu bytes\n", names[i], bytes.size());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  finished = true;
  return count > 1 ? 0 : 1;
}
