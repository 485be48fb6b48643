// What the program takes from the C library.

#include <gtest/gtest.h>
#include <stdio.h>

#include <regex>

#include "console/program.h"

namespace qvtx::console {
namespace {

std::string output_of(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) text += static_cast<char>(c);
  return pclose(pipe) == 0 ? text : "";
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer);
#else
constexpr bool sanitized = false;
#endif

/// Their last bits depend on the processor and on the library's version. Square roots and roundings are
/// exact.
TEST(Imports, NoTranscendentalFunctionComesFromTheCLibrary) {
  if (sanitized) GTEST_SKIP() << "the sanitizers bring the whole C library";
  const std::string symbols = output_of("nm -D --undefined-only '" QVTX_PROGRAM "'");
  ASSERT_NE(symbols.find("strlen"), std::string::npos) << "nm told nothing:\n" << symbols;
  const std::regex transcendental(
      R"(\bU (_ZGV\w+|_*(a?(sin|cos|tan)h?|atan2|sincos|exp(2|10|m1)?|log(2|10|1p)?|pow|hypot|cbrt|erfc?|)"
      R"(([lt]?gamma)(_r)?|[jy][01n])(f|l)?(_finite)?)(@|\n))");
  std::string found;
  for (std::sregex_iterator match(symbols.begin(), symbols.end(), transcendental), end; match != end; ++match)
    found += match->str(1) + "\n";
  EXPECT_EQ(found, "");
}

}  // namespace
}  // namespace qvtx::console
