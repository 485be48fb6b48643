// Text files: the number scanner, the reader and the writer of the dense matrix.

#include <bit>
#include <cstring>
#include <iomanip>

#include "base/isa.h"
#include "base/support.h"
#include "matrix/matfullc.h"
#include "matrix/matfulld.h"
#include "matrix/text/number_scanner.h"

namespace qvtx {
namespace {

constexpr double largest = std::numeric_limits<double>::max();

using test::contents;
using Engine = std::mt19937_64;

std::size_t draw(Engine& engine, std::size_t n) { return static_cast<std::size_t>(engine() % n); }

/// One pick of the list.
template <class T, std::size_t n>
T pick(Engine& engine, const T (&list)[n]) {
  return list[draw(engine, n)];
}

// ---- The scanner against the standard extraction ----

void expect_as_standard(const std::string& text) {
  std::istringstream in(text);
  double value = 0;
  in >> value;
  const bool failed = in.fail();
  in.clear();
  const auto taken = static_cast<long>(in.tellg());
  const ScannedNumber scanned = scan_number(text.c_str());
  EXPECT_EQ(scanned.valid, !failed) << testing::PrintToString(text);
  EXPECT_EQ(scanned.end - text.c_str(), taken) << testing::PrintToString(text);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(scanned.value), std::bit_cast<std::uint64_t>(value))
      << testing::PrintToString(text);
}

TEST(NumberScanner, OddFormsAreTakenAsByTheStandardExtraction) {
  std::istringstream forms(
      "1 +1 -1 1e 1e+ 1e- 1E5 1e5.3 1e5e3 1.2.3 +-5 --1 . -. .5 5. -5.e2 .e5 e5 0x10 1,5 nan inf -inf 1e999 "
      "-1e999 1e-999 -1e-999 1e308 1e309 1.8e308 4.9e-324 2.4e-324 2.5e-324 2.2250738585072011e-308 1f 1d2 "
      "-0 "
      "+.0 00012 -0.0e99 1e00002 1e-00002 12a 1-2 1+2 1e5-3 + - 0e 1e99999999999999999999 "
      "1e-99999999999999999999 0e99999999999999999999 1_000 1'000 \x80"
      "1");
  for (std::string text; forms >> text;) expect_as_standard(text);
  for (const std::size_t zeros : {17u, 19u, 20u, 330u, 800u}) {
    const std::string run(zeros, '0');
    for (const std::string& text : {"1" + run, "0." + run + "1", run + "1", "1." + run + "1",
                                    "1" + run + "e-400", "0." + run + "1e" + std::to_string(zeros + 1)})
      expect_as_standard(text);
  }
}

TEST(NumberScanner, RandomNumbersAreTakenAsByTheStandardExtraction) {
  Engine engine(1);
  for (int k = 0; k < 100000; ++k) {
    std::string soup;
    for (std::size_t n = 1 + draw(engine, 12); n > 0; --n) soup += "00112358799..eE+-,x\t"[draw(engine, 20)];
    if (soup[0] != '\t') expect_as_standard(soup);
    // Digits 1 to 22 with a point anywhere and small and large exponents: every way of the conversion.
    std::string number = std::to_string(engine()) + std::to_string(engine());
    number.resize(1 + draw(engine, 22));
    number.insert(draw(engine, number.size()), 1, '.');
    if (k % 2 == 0) number.insert(0, 1, '-');
    if (k % 3 == 0)
      (number += 'e') += std::to_string(static_cast<long>(draw(engine, k % 9 == 0 ? 700 : 60)) - 30);
    expect_as_standard(number);
    // At and next to the middle of two doubles, where a conversion that rounds twice fails; (2 m + 1) / 2^e
    // has few enough digits to be written exactly for e <= 9.
    const std::uint64_t m = (std::uint64_t{1} << 53) + engine() % (std::uint64_t{1} << 53);
    char text[64];
    std::snprintf(text, sizeof text, "%.9Lf", static_cast<long double>(2 * m + 1) / (1u << draw(engine, 10)));
    std::string middle(text);
    expect_as_standard(middle);
    middle.back() = static_cast<char>('0' + draw(engine, 10));
    expect_as_standard(middle);
    expect_as_standard(middle.substr(0, middle.find('.') + draw(engine, 10)));
  }
}

// ---- The reader ----

class Text : public testing::Test {
 protected:
  /// Loads a file with this text.
  template <class M>
  static int load(M& m, const std::string& text) {
    test::write_file("text", text);
    return m.load_asc("text", 0);
  }
  static MatFullD row(const std::vector<double>& values) {
    MatFullD m(1, static_cast<long>(values.size()));
    m.setrows(1);
    std::copy(values.begin(), values.end(), m.data());
    return m;
  }

  test::Scratch scratch_;
};

TEST_F(Text, KnownTextsAreReadFromStreamsAndFiles) {
  const struct {
    const char* text;
    long columns;
    std::vector<double> values;
    bool loads;  // whether a file with this text is accepted
  } cases[] = {
      {"     2\t     0\t\n     2\t     0\t\n  1.000000\t  2.000000\t\n3\t4\t\n", 2, {1, 2, 3, 4}, true},
      {"1.000000\t2.000000\n3 4\n5 6\n", 1, {3, 4}, true},  // the first value opens a one-column header
      {"2 0\n5 7\n", 4, {2, 0, 5, 7}, true},
      {"2 0\n1 -0 4 5\n", 2, {4, 5}, true},
      {"3 -1 0\n5 6 7\n", 3, {3, -1, 0, 5, 6, 7}, true},
      {"3 0 0\n2 -1 0\n1 2 3\n4 5 6\n", 6, {3, 0, 0, 2, -1, 0, 1, 2, 3, 4, 5, 6}, true},
      {"2 0\n-0 0\n", 2, {}, false},
      {"3 0 x", 1, {}, false},
      {"2 0\n2 x\n", 1, {}, false},
      {"1.5 2 3\n4 5 6 7", 3, {1.5, 2, 3, 4, 5, 6}, true},
      {"", 1, {0}, false},
      {"1e999 2\n", 1, {largest}, false},
      {"1.5 2", 1, {}, false},  // no line end, no row
      {"5", 1, {5}, true},      // an early end is the line's end
      {"3 0 0\n2 0\n7 8 9 10 11", 5, {3, 0, 0, 2, 0, 7, 8, 9, 10, 11}, true},
      {"2 0 -1 4\n5 6 7 8", 4, {2, 0, -1, 4, 5, 6, 7, 8}, true},
      {"2 0\n2 0\n1 2\n3 x", 2, {1, 2}, false},           // a foreign word among the header's numbers
      {"2 0\n2 0\n1 2 3\n\n4 5", 2, {1, 2, 3, 4}, true},  // nothing behind them is read
      {"3 0 0\n0 0 0\n", 3, {}, false},
      {"1.5 2\r\n3 4 # 5 6\r\n", 2, {1.5, 2, 3, 4}, true},
      {"2 0 1e999 0 7", 3, {2, 0, largest}, false},  // the stream is dead: the second line ends early
      {"1e30 0 0\n4", 3, {1e30, 0, 0}, true},
      {"-1 --1\n", 1, {}, false},
      {"-1 2\n3 --1 5 6\n", 2, {-1, 2, 3, 0}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    std::istringstream in(c.text);
    Istr from(in);
    MatFullD m(3, 2), loaded(3, 2);
    EXPECT_EQ(m.read(from), static_cast<long>(c.values.size()) / c.columns);
    EXPECT_EQ(m.ncol(), c.columns);
    EXPECT_EQ(contents(m), c.values);
    ASSERT_EQ(load(loaded, c.text), c.loads ? 1 : 0);
    if (!c.loads) continue;
    EXPECT_EQ(loaded.ncol(), c.columns);
    EXPECT_EQ(contents(loaded), c.values);
  }
  std::istringstream in("2 0\n1 0\n3 4 rest");
  MatFullD m;
  std::string rest;
  EXPECT_TRUE(in >> m >> rest);
  EXPECT_EQ(rest, "rest");  // not a character behind the header's numbers was taken
}

/// Both sources of numbers must agree, on odd texts and on long ones, over the edges of the blocks.
TEST_F(Text, FilesAreReadAsStreams) {
  Engine engine(5);
  const char* const tokens[] = {"1", "2", "3", "4.5", "-1",  "+2",    "0",   "-0",  "+0",  "0.0",  "0e5",
                                "0", "0", "2", "3",   "1e1", "1e",    ".",   "abc", "--1", "1,5",  "0x2",
                                "7", "8", "9", "2.0", "nan", "1e999", "1-2", "",    "00",  "1.2.3"};
  const char* const gaps[] = {" ", " ", "\t", "\n", "\n", "\r\n", " \n", "\n\n", "\v", ""};
  std::vector<std::string> texts = {"2.5 3 7\n", "3 0 0\n9000 0 0\n", "3 0 0\n9001 0 0\n"};
  for (std::string& text : texts) {
    for (int k = 0; k < 27000; ++k)
      text +=
          std::to_string(static_cast<double>(static_cast<std::int64_t>(engine())) / 1e13) + "\t\n"[k % 3 / 2];
  }
  const char* const numbers[] = {"1", "-2.5", "3.25e-3", "1234567.875", "0.1234567890123456789012345", "+4"};
  const char* const spaces[] = {" ", "\t", "\n", "  \t ", "\r\n", " \v\f"};
  for (std::size_t k = 0; k < 30; ++k) {
    std::string text = "0.5 1\n";
    while (text.size() < 150000) (text += pick(engine, numbers)) += pick(engine, spaces);
    text.insert(65530 + k % 15, 1, k % 2 == 0 ? ' ' : '0');
    if (k == 7) text.insert(1000, 200000, '5');
    texts.push_back(k > 20 ? text + "1e" : text);
  }
  for (int k = 0; k < 6000; ++k) {
    texts.emplace_back();
    // The first tokens alone, half of the time: headers that go well, to reach what comes behind them.
    for (std::size_t n = draw(engine, 14); n > 0; --n)
      (texts.back() += tokens[draw(engine, k % 2 == 0 ? std::size(tokens) : 15)]) += pick(engine, gaps);
  }
  long loads = 0;
  for (const std::string& text : texts) {
    std::istringstream in(text);
    Istr from(in);
    MatFullD m, loaded;
    const long rows = m.read(from);
    if (load(loaded, text) == 0) continue;
    ASSERT_EQ(loaded.nrow(), rows) << testing::PrintToString(text);
    ASSERT_EQ(loaded.ncol(), m.ncol()) << testing::PrintToString(text);
    ASSERT_EQ(contents(loaded), contents(m)) << testing::PrintToString(text);
    loads += rows == 9000 || text.size() < 1000 ? 1 : 0;
  }
  EXPECT_GT(loads, 2000);
}

/// A number in one of the forms that programs write.
std::string formed(Engine& engine, std::size_t form) {
  const char* const forms[] = {"%.6f", "%10.6f", "%.0f", "%+.3f", "%#.0f", "%.15f", "%.17g", "%.18e", "%G"};
  char text[64];
  const double x =
      static_cast<double>(static_cast<std::int64_t>(engine())) / std::pow(10.0, draw(engine, 22));
  std::snprintf(text, sizeof text, forms[form], form == 5 ? std::fmod(x, 1e4) : x);
  return text;
}

/// Lines that are rows are read many numbers at a time; one thing that is odd must not be lost among them.
TEST_F(Text, LinesAreReadAsStreamsOnEveryInstructionSet) {
  Engine engine(9);
  const char* const odd[] = {"",      "\n",    " ",   "x",  ".",     "-",       "1e",
                             "1e999", "1.2.3", "1-2", "\v", "\t.5 ", "\n\n5.\n"};
  int loads = 0;
  for (int k = 0; k < 900; ++k) {
    const std::size_t columns = 1 + draw(engine, 12), form = draw(engine, 10);
    std::string zeros, text;
    for (std::size_t n = 1; n < columns; ++n) zeros += " 0";
    if (k % 4 == 0) text = std::to_string(columns) + zeros + "\n40" + zeros + "\n";
    for (std::size_t n = 0; n < 40 * columns; ++n)
      (text += formed(engine, form < 9 ? form : draw(engine, 9))) += (n + 1) % columns == 0 ? "\r\n" : "\t ";
    if (k % 3 != 0) text.insert(draw(engine, text.size()), pick(engine, odd));
    std::istringstream in(text);
    Istr from(in);
    MatFullD m, loaded;
    const long rows = m.read(from);
    set_isa_level(pick(engine, {Isa::baseline, Isa::avx2, Isa::avx512}));
    if (load(loaded, text) == 0) continue;
    ++loads;
    ASSERT_EQ(loaded.nrow(), rows) << text;
    ASSERT_EQ(loaded.ncol(), m.ncol()) << text;
    ASSERT_EQ(std::memcmp(loaded.data(), m.data(), contents(m).size() * sizeof(double)), 0) << text;
  }
  set_isa_level(isa_best());
  EXPECT_GT(loads, 500);
}

TEST_F(Text, IntegersAreRoundedAndClamped) {
  const std::string text = "7.5 -7.5 0.49 1e30 -1e30 200 -200 2147483648\n";
  constexpr long most = std::numeric_limits<long>::max();
  MatFullL l;
  MatFullT<int> i;
  MatFullC c;
  ASSERT_EQ(load(l, text), 1);
  ASSERT_EQ(load(i, text), 1);
  ASSERT_EQ(load(c, text), 1);
  EXPECT_EQ(contents(l), (std::vector<long>{8, -8, 0, most, -most - 1, 200, -200, 2147483648}));
  EXPECT_EQ(i(0, 7), 2147483647);
  EXPECT_EQ(i(0, 4), -2147483647 - 1);
  for (const auto& [k, code] : {std::pair{5, 127}, {6, -128}, {1, -8}})
    EXPECT_EQ(static_cast<signed char>(c(0, k)), code);
  std::ostringstream codes;
  codes << c;
  EXPECT_EQ(codes.str().substr(0, 22), "         8\t        -8\t");
}

TEST_F(Text, RefusedLoadsLeaveTheMatrixAndAreReported) {
  MatFullD m(1, 1, 7);
  m.addrow();
  m(0, 0) = 42;
  for (const char* text : {"", "word", "1.5 2", "2 0\n1000000 0\n1 2\n", "1 1e300 5\n",
                           "2 0\n9223372036854775807 0\n1 2\n", "3 0 0\n0 0 0\n", "2 0\n"}) {
    EXPECT_EQ(load(m, text), 0) << testing::PrintToString(text);
    ASSERT_EQ(contents(m), std::vector{42.0}) << testing::PrintToString(text);
  }
  EXPECT_EQ(load(m, "1 3 5 x 6\n"), 0);  // noticed when the storage has been given away
  EXPECT_EQ(m.nrow(), 0);
  EXPECT_EQ(m.ninc(), 7);
  const ConsoleRedirect console;
  EXPECT_EQ(m.load_asc("missing", 1), 0);
  EXPECT_EQ(m.load_asc(".", 1), 0);  // a directory opens, but does not read
  EXPECT_EQ(m.load_asc("missing", 0), 0);
  EXPECT_EQ(console.out(), "MatFullT.load_asc: file missing not found!\nloading ASCII-file . ... failed!\n");
}

// ---- The writer ----

TEST_F(Text, FilesHaveTheDocumentedLayout) {
  MatFullL m(3, 2);
  m.setrows(3);
  for (int k = 0; k < 6; ++k) m.data()[k] = k + 1;
  const ConsoleRedirect console;
  ASSERT_EQ(m.save_asc("saved", 1, 1), 1);
  EXPECT_EQ(test::read_file("saved"),
            "     2\t     0\t\n     3\t     0\t\n         1\t         2\t\n         3\t         4\t\n"
            "         5\t         6\t\n");
  for (const char* name : {"no_such_folder/x", "/dev/full"}) EXPECT_EQ(m.save_asc(name, 1, 0), 0);
  EXPECT_EQ(console.out(),
            "saving ASCII-file saved ... done!\nMatFullT.save_asc: file no_such_folder/x not found!\n"
            "saving ASCII-file /dev/full ... failed!\n");
  std::ostringstream text;
  Ostr out(text);
  out.depth = out.noindent = 1;
  m.setrows(1);
  m.show(out, 1);
  EXPECT_EQ(text.str(), "     2\t     0\t\n       1\t     0\t\n           1\t         2\t\n");
}

/// Widths, ties and all magnitudes, with blocks that fill up in the middle of a line.
TEST_F(Text, NumbersHaveTheBytesOfTheStandardStream) {
  Engine engine(7);
  const double infinity = std::numeric_limits<double>::infinity();
  std::vector<double> values = {0x1p43,    0x1.fffffffffffffp42, 0x1p-20,
                                0x1p-1022, 9007199254740993.0,   0x1p-74};
  for (const double x : {0.0, 1e-7, 5e-7, 0.0078125, 0.0234375, 0.9999995, 0.99999951, 123456.5, 99999.25,
                         999999.9999995, 5e-324, largest, infinity}) {
    values.push_back(x);
    values.push_back(-x);
  }
  for (int k = 0; k < 20000; ++k) {
    const double ties = static_cast<double>(static_cast<std::int32_t>(engine())) / (1 << k % 31);
    const double any = std::bit_cast<double>(engine());
    const double usual = static_cast<double>(static_cast<std::int64_t>(engine())) / std::pow(10.0, k % 25);
    for (const double x : {ties, std::isnan(any) ? 0 : any, usual}) values.push_back(x);
  }
  std::ostringstream wanted, text;
  wanted << std::fixed << std::right << std::setprecision(6);
  for (const double x : values) wanted << std::setw(10) << x << '\t';
  text << std::scientific << row(values);
  EXPECT_TRUE(text.str() == wanted.str() + "\n");
  EXPECT_EQ(text.flags() & std::ios_base::floatfield, std::ios_base::scientific);
  text.str("");
  text << row({-std::nan(""), std::nan("")});
  EXPECT_EQ(text.str(), "       nan\t       nan\t\n");
}

}  // namespace
}  // namespace qvtx
