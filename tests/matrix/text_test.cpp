// Text files: the number scanner, the reader and the writer of the dense matrix.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "matrix/matfullc.h"
#include "matrix/matfulld.h"
#include "matrix/number_scanner.h"

namespace qvtx {
namespace {

constexpr double largest = std::numeric_limits<double>::max();

// ---- Helpers ----

using Engine = std::mt19937_64;

std::size_t draw(Engine& engine, std::size_t n) { return static_cast<std::size_t>(engine() % n); }

/// A file that exists as long as the object. Several tests may run at the same time.
class TextFile {
 public:
  explicit TextFile(const std::string& text = "")
      : name_(::testing::TempDir() + "qvtx_text_test" + std::to_string(::getpid()) + ".dat") {
    std::ofstream(name_, std::ios::binary) << text;
  }
  ~TextFile() { std::remove(name_.c_str()); }
  const char* name() const { return name_.c_str(); }
  std::string text() const {
    std::ifstream in(name_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  std::string name_;
};

/// Collects what goes to the console.
class Console {
 public:
  Console() : earlier_(os) { os = Ostr(text_); }
  ~Console() { os = earlier_; }
  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  Ostr earlier_;
};

/// Text with its control characters visible.
std::string visible(const std::string& text) {
  std::ostringstream out;
  for (const char c : text) {
    if (c >= ' ') {
      out << c;
    } else {
      out << '<' << static_cast<int>(c) << '>';
    }
  }
  return out.str();
}

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
  EXPECT_EQ(scanned.valid, !failed) << visible(text);
  EXPECT_EQ(scanned.end - text.c_str(), taken) << visible(text);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(scanned.value), std::bit_cast<std::uint64_t>(value))
      << visible(text);
}

TEST(NumberScanner, OddFormsAreTakenAsByTheStandardExtraction) {
  for (const char* text : {"1",
                           "+1",
                           "-1",
                           "1e",
                           "1e+",
                           "1e-",
                           "1E5",
                           "1e5.3",
                           "1e5e3",
                           "1.2.3",
                           "+-5",
                           "--1",
                           ".",
                           "-.",
                           ".5",
                           "5.",
                           "-5.e2",
                           ".e5",
                           "e5",
                           "0x10",
                           "1,5",
                           "nan",
                           "inf",
                           "-inf",
                           "1e999",
                           "-1e999",
                           "1e-999",
                           "-1e-999",
                           "1e308",
                           "1e309",
                           "1.8e308",
                           "4.9e-324",
                           "2.4e-324",
                           "2.5e-324",
                           "2.2250738585072011e-308",
                           "1f",
                           "1d2",
                           "-0",
                           "+.0",
                           "00012",
                           "-0.0e99",
                           "1e00002",
                           "1e-00002",
                           "12a",
                           "1-2",
                           "1+2",
                           "1e5-3",
                           "+",
                           "-",
                           "0e",
                           "1e99999999999999999999",
                           "1e-99999999999999999999",
                           "0e99999999999999999999",
                           "1_000",
                           "1'000",
                           "\x80"
                           "1"}) {
    expect_as_standard(text);
  }
  for (const std::size_t zeros : {17u, 19u, 20u, 330u, 800u}) {
    const std::string run(zeros, '0');
    for (const std::string& text :
         {"1" + run, "0." + run + "1", run + "1", "1." + run + "1", "1" + run + "e-" + "400",
          "0." + run + "1e" + std::to_string(zeros + 1)}) {
      expect_as_standard(text);
    }
  }
}

TEST(NumberScanner, RandomSoupsAreTakenAsByTheStandardExtraction) {
  Engine engine(1);
  for (int k = 0; k < 100000; ++k) {
    std::string text;
    for (std::size_t n = 1 + draw(engine, 12); n > 0; --n) text += "00112358799..eE+-,x\t"[draw(engine, 20)];
    if (text[0] != '\t') expect_as_standard(text);
  }
}

/// Digits 1 to 22 with a point anywhere and small and large exponents: every way of the conversion.
TEST(NumberScanner, RandomNumbersAreRoundedCorrectly) {
  Engine engine(2);
  for (int k = 0; k < 200000; ++k) {
    std::string text = k % 2 == 0 ? "-" : "";
    const std::size_t digits = 1 + draw(engine, 22);
    const std::size_t point = draw(engine, digits + 1);
    for (std::size_t i = 0; i < digits; ++i) {
      if (i == point) text += '.';
      text += static_cast<char>('0' + draw(engine, 10));
    }
    if (k % 3 == 0)
      (text += 'e') += std::to_string(static_cast<long>(draw(engine, k % 9 == 0 ? 700 : 60)) - 30);
    expect_as_standard(text);
  }
}

/// Decimal numbers at and next to the middle of two doubles, where a conversion that rounds twice fails.
TEST(NumberScanner, NumbersNearTheMiddleOfTwoDoublesAreRoundedCorrectly) {
  Engine engine(3);
  for (int k = 0; k < 50000; ++k) {
    // (2 m + 1) / 2^e has few enough digits to be written exactly for e <= 9.
    const std::uint64_t m = (std::uint64_t{1} << 53) + engine() % (std::uint64_t{1} << 53);
    const unsigned halvings = static_cast<unsigned>(draw(engine, 10));
    char text[64];
    std::snprintf(text, sizeof text, "%.9Lf", static_cast<long double>(2 * m + 1) / (1u << halvings));
    std::string number(text);
    expect_as_standard(number);
    number.back() = static_cast<char>('0' + draw(engine, 10));
    expect_as_standard(number);
    const std::size_t cut = number.find('.') + draw(engine, 10);
    expect_as_standard(number.substr(0, cut));
  }
}

/// Both sources must agree on long texts, over the edges of the blocks, whatever the order of the calls.
TEST(NumberSources, FileAgreesWithStreamAcrossBlocks) {
  Engine engine(4);
  const char* const tokens[] = {"1", "-2.5", "3.25e-3", "1234567.875", "0.1234567890123456789012345", "+4"};
  const char* const gaps[] = {" ", "\t", "\n", "  \t ", "\r\n", " \v\f"};
  for (int k = 0; k < 30; ++k) {
    std::string text;
    while (text.size() < 150000) (text += pick(engine, tokens)) += pick(engine, gaps);
    text.insert(text.begin() + 65530 + k % 15, k % 2 == 0 ? ' ' : '0');
    if (k == 7) text.insert(1000, 200000, '5');
    if (k > 20) text += "1e";
    std::FILE* const file = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), file);
    std::rewind(file);
    std::istringstream in(text);
    FileNumbers left(file);
    StreamNumbers right(in);
    EXPECT_LE(static_cast<long>(text.size()) / 20, left.capacity());
    while (!right.failed()) {
      const int c = right.look();
      ASSERT_EQ(left.look(), c);
      if ((c == '\n' || c == '\r') && engine() % 2 == 0) {
        left.take();
        right.take();
      } else {
        ASSERT_EQ(left.number(), right.number());
        ASSERT_EQ(left.failed(), right.failed());
      }
    }
    std::fclose(file);
  }
}

// ---- The reader ----

/// What a text holds.
struct Contents {
  long columns = 1;
  std::vector<double> values;
  bool loads = false;  ///< whether a file with this text is accepted

  long rows() const { return static_cast<long>(values.size()) / columns; }
};

/// The algorithm of the text files, on the standard extraction, without any regard for speed or memory.
class PlainReader {
 public:
  explicit PlainReader(const std::string& text) : in_(text) {}

  Contents read() {
    const double x = number();
    row_ = {x};
    if (failed_) return {1, row_, false};
    if (x >= 1 && std::round(x) == x) {
      switch (zeros(x)) {
        case 'e':
          return rows_behind();
        case 'n':
          return first_line();
      }
      const double y = number();
      row_.push_back(y);
      if (y < 0 || std::round(y) != y) return first_line();
      switch (zeros(x)) {
        case 'e':
          return rows_behind();
        case 'n':
          return first_line();
      }
      return header(x, y);
    }
    return first_line();
  }

 private:
  double number() {
    double x = 0;
    failed_ = !(in_ >> x);
    return x;
  }

  /// Next character behind blanks and tabs; 0 for a line end, 1 for the start of a number, -1 for anything
  /// else, -2 at the end.
  int look() {
    while (in_.good() && (in_.peek() == ' ' || in_.peek() == '\t')) in_.get();
    const int c = in_.good() ? in_.peek() : -1;
    if (c < 0) return -2;
    if (c == '\n' || c == '\r') return 0;
    return std::string("0123456789+-.").find(static_cast<char>(c)) == std::string::npos ? -1 : 1;
  }

  /// 'h' when the header line is complete, 'e' when the line ends early, 'n' when it is none.
  char zeros(double columns) {
    for (double k = 1; k < columns; ++k) {
      const int c = look();
      if (c == 0) in_.get();
      if (c == 0 || c == -2) return 'e';
      if (c == -1) return 'n';
      row_.push_back(number());
      if (row_.back() != 0) return 'n';
      row_.back() = 0;
    }
    return 'h';
  }

  Contents first_line() {
    for (;;) {
      const int c = look();
      if (c < 0) return {};
      if (c == 0) {
        in_.get();
        return rows_behind();
      }
      row_.push_back(number());
    }
  }

  Contents rows_behind() {
    Contents result = {static_cast<long>(row_.size()), row_, !failed_};
    for (;;) {
      int c = look();
      for (; c == 0; c = look()) in_.get();
      if (c != 1) break;
      result.values.push_back(number());
    }
    result.values.resize(static_cast<std::size_t>(result.rows() * result.columns));
    return result;
  }

  Contents header(double columns, double rows) {
    Contents result = {static_cast<long>(columns), {}, false};
    const double all = columns * rows;
    while (static_cast<double>(result.values.size()) < all) {
      const double x = number();
      if (failed_) break;
      result.values.push_back(x);
    }
    result.loads = rows > 0 && !failed_;
    result.values.resize(static_cast<std::size_t>(result.rows() * result.columns));
    return result;
  }

  std::istringstream in_;
  bool failed_ = false;  ///< of the last extraction; looking at the end also changes the state of the stream
  std::vector<double> row_;
};

void expect_contents(const MatFullD& m, const Contents& wanted, const std::string& text) {
  ASSERT_EQ(m.ncol(), wanted.columns) << visible(text);
  ASSERT_EQ(m.nrow(), wanted.rows()) << visible(text);
  for (std::size_t k = 0; k < wanted.values.size(); ++k) {
    ASSERT_EQ(m.data()[k], wanted.values[k]) << visible(text) << " value " << k;
  }
}

void expect_as_plain(const std::string& text) {
  const Contents wanted = PlainReader(text).read();
  std::istringstream in(text);
  Istr from(in);
  MatFullD m(3, 2);
  EXPECT_EQ(m.read(from), wanted.rows());
  expect_contents(m, wanted, text);
  const TextFile file(text);
  MatFullD loaded(3, 2);
  ASSERT_EQ(loaded.load_asc(file.name(), 0), wanted.loads ? 1 : 0) << visible(text);
  if (wanted.loads) expect_contents(loaded, wanted, text);
}

TEST(TextReader, KnownTexts) {
  const struct {
    const char* text;
    Contents wanted;
  } cases[] = {
      {"     2\t     0\t\n     2\t     0\t\n  1.000000\t  2.000000\t\n3\t4\t\n", {2, {1, 2, 3, 4}, true}},
      {"1.000000\t2.000000\n3 4\n5 6\n", {1, {3, 4}, true}},  // the first value opens a one-column header
      {"2 0\n5 7\n", {4, {2, 0, 5, 7}, true}},
      {"1.5 2 3\n4 5 6 7", {3, {1.5, 2, 3, 4, 5, 6}, true}},
      {"", {1, {0}, false}},
      {"hello", {1, {0}, false}},
      {"1e999 2\n", {1, {largest}, false}},
      {"1.5 2", {1, {}, false}},  // no line end, no row
      {"5", {1, {5}, true}},      // an early end is the line's end
      {"3 0\n4 5 6", {2, {3, 0, 4, 5}, true}},
      {"3 0 0\n2 0\n7 8 9 10 11", {5, {3, 0, 0, 2, 0, 7, 8, 9, 10, 11}, true}},
      {"2 0 -1 4\n5 6 7 8", {4, {2, 0, -1, 4, 5, 6, 7, 8}, true}},
      {"2 0\n2 0\n1 2\n3 x", {2, {1, 2}, false}},           // a foreign word among the header's numbers
      {"2 0\n2 0\n1 2 3\n\n4 5", {2, {1, 2, 3, 4}, true}},  // nothing behind them is read
      {"3 0 0\n0 0 0\n", {3, {}, false}},
      {"1", {1, {}, false}},
      {"1 2 nan 4", {1, {}, false}},
      {"1.5 2\r\n3 4 # 5 6\r\n", {2, {1.5, 2, 3, 4}, true}},
      {"2 0 1e999 0 7", {3, {2, 0, largest}, false}},  // the stream is dead: the second line ends early
      {"1e30 0 0\n4", {3, {1e30, 0, 0}, true}},
      {"-1 --1\n", {1, {}, false}},
      {"-1 2\n3 --1 5 6\n", {2, {-1, 2, 3, 0}, true}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(visible(c.text));
    const Contents plain = PlainReader(c.text).read();
    EXPECT_EQ(plain.columns, c.wanted.columns);
    EXPECT_EQ(plain.values, c.wanted.values);
    EXPECT_EQ(plain.loads, c.wanted.loads);
    expect_as_plain(c.text);
  }
}

TEST(TextReader, RandomSoupsAreReadAsByThePlainReader) {
  Engine engine(5);
  const char* const tokens[] = {"1", "2", "3", "4.5", "-1",  "+2",    "0",   "-0",  "+0",  "0.0",  "0e5",
                                "0", "0", "2", "3",   "1e1", "1e",    ".",   "abc", "--1", "1,5",  "0x2",
                                "7", "8", "9", "2.0", "nan", "1e999", "1-2", "",    "00",  "1.2.3"};
  const char* const gaps[] = {" ", " ", "\t", "\n", "\n", "\r\n", " \n", "\n\n", "\v", ""};
  for (int k = 0; k < 6000; ++k) {
    std::string text;
    // The first tokens alone, half of the time: headers that go well, to reach what comes behind them.
    const std::size_t variety = k % 2 == 0 ? std::size(tokens) : 15;
    for (std::size_t n = draw(engine, 14); n > 0; --n)
      (text += tokens[draw(engine, variety)]) += pick(engine, gaps);
    expect_as_plain(text);
    if (HasFailure()) return;
  }
}

TEST(TextReader, LongTextsAreReadAsByThePlainReader) {
  Engine engine(6);
  for (const char* start : {"2.5 3 7\n", "3 0 0\n9000 0 0\n", "3 0 0\n9001 0 0\n"}) {
    std::string text = start;
    for (int k = 0; k < 27000; ++k) {
      text += std::to_string(static_cast<double>(static_cast<std::int64_t>(engine())) / 1e13);
      text += k % 3 == 2 ? "\n" : "\t";
    }
    expect_as_plain(text);
  }
}

TEST(TextReader, LeavesTheTextBehindTheHeadersNumbersOnTheStream) {
  std::istringstream in("2 0\n1 0\n3 4 rest");
  MatFullD m;
  EXPECT_TRUE(in >> m);
  std::string rest;
  in >> rest;
  EXPECT_EQ(rest, "rest");
  EXPECT_EQ(m(0, 1), 4);
}

TEST(TextReader, IntegersAreRoundedAndClamped) {
  const TextFile file("7.5 -7.5 0.49 1e30 -1e30 200 -200 2147483648\n");
  MatFullL l;
  ASSERT_EQ(l.load_asc(file.name(), 0), 1);
  const std::vector<long> longs = {
      8, -8, 0, std::numeric_limits<long>::max(), std::numeric_limits<long>::min(), 200, -200, 2147483648};
  EXPECT_EQ(std::vector<long>(l.data(), l.data() + l.ncol()), longs);
  MatFullT<int> i;
  ASSERT_EQ(i.load_asc(file.name(), 0), 1);
  EXPECT_EQ(i(0, 7), 2147483647);
  EXPECT_EQ(i(0, 4), -2147483647 - 1);
  MatFullC c;
  ASSERT_EQ(c.load_asc(file.name(), 0), 1);
  EXPECT_EQ(static_cast<signed char>(c(0, 5)), 127);
  EXPECT_EQ(static_cast<signed char>(c(0, 6)), -128);
  EXPECT_EQ(static_cast<signed char>(c(0, 1)), -8);
}

TEST(TextReader, RefusedLoadsLeaveTheMatrix) {
  MatFullD m(1, 1, 7);
  m.addrow();
  m(0, 0) = 42;
  for (const char* text : {"", "word", "1.5 2", "2 0\n1000000 0\n1 2\n", "1 1e300 5\n",
                           "2 0\n9223372036854775807 0\n1 2\n", "3 0 0\n0 0 0\n", "2 0\n"}) {
    const TextFile file(text);
    EXPECT_EQ(m.load_asc(file.name(), 0), 0) << visible(text);
    ASSERT_EQ(m.nrow(), 1) << visible(text);
    EXPECT_EQ(m(0, 0), 42) << visible(text);
  }
  const TextFile broken("1 3 5 x 6\n");  // noticed when the storage has been given away
  EXPECT_EQ(m.load_asc(broken.name(), 0), 0);
  EXPECT_EQ(m.nrow(), 0);
  EXPECT_EQ(m.ninc(), 7);
}

TEST(TextReader, ReportsWhatItDoes) {
  const TextFile file("1.5 2\n");
  const std::string missing = ::testing::TempDir() + "no_such_file.dat";
  MatFullD m;
  {
    const Console console;
    EXPECT_EQ(m.load_asc(missing.c_str(), 1), 0);
    EXPECT_EQ(console.text(), "MatFullT.load_asc: file " + missing + " not found!\n");
  }
  const Console console;
  EXPECT_EQ(m.load_asc(::testing::TempDir().c_str(), 1), 0);  // a directory opens, but does not read
  EXPECT_EQ(m.load_asc(missing.c_str(), 0), 0);
  EXPECT_EQ(console.text(), "loading ASCII-file " + ::testing::TempDir() + " ... failed!\n");
}

// ---- The writer ----

TEST(TextWriter, WritesTheDocumentedLayout) {
  MatFullD m(3, 2);
  m.setrows(3);
  for (int k = 0; k < 6; ++k) m.data()[k] = k + 1;
  const TextFile file;
  const Console console;
  ASSERT_EQ(m.save_asc(file.name(), 1, 1), 1);
  EXPECT_EQ(console.text(), std::string("saving ASCII-file ") + file.name() + " ... done!\n");
  EXPECT_EQ(file.text(),
            "     2\t     0\t\n     3\t     0\t\n  1.000000\t  2.000000\t\n  3.000000\t  4.000000\t\n"
            "  5.000000\t  6.000000\t\n");
  MatFullD again;
  ASSERT_EQ(again.load_asc(file.name(), 0), 1);
  expect_contents(again, {2, {1, 2, 3, 4, 5, 6}, true}, "saved");
}

TEST(TextWriter, ConsoleTextIsIndented) {
  MatFullL m(2, 1);
  m.setrows(2, 7);
  std::ostringstream text;
  Ostr out(text);
  out.depth = 1;
  out.noindent = 1;
  m.show(out, 1);
  EXPECT_EQ(text.str(), "     1\t\n       2\t\n           7\t\n           7\t\n");
}

TEST(TextWriter, StreamOperatorsShareTheLayoutAndKeepTheFlags) {
  MatFullC labels(0, 4);
  labels.addstr("ab");
  labels(0, 3) = static_cast<char>(-28);
  std::stringstream text;
  text << std::scientific << labels;
  EXPECT_EQ(text.str(), "        97\t        98\t         0\t       -28\t\n");
  EXPECT_TRUE(text.flags() & std::ios_base::scientific);
  MatFullC again;
  EXPECT_TRUE(text >> again);
  ASSERT_EQ(again.ncol(), 4);
  EXPECT_EQ(again.label(0), std::string("ab"));
  EXPECT_EQ(static_cast<signed char>(again(0, 3)), -28);
}

/// Widths, ties and all magnitudes, with blocks that fill up in the middle of a line.
TEST(TextWriter, NumbersHaveTheBytesOfTheStandardStream) {
  Engine engine(7);
  const double infinity = std::numeric_limits<double>::infinity();
  std::vector<double> values = {0.0,
                                -0.0,
                                1e-7,
                                5e-7,
                                -5e-7,
                                0.0078125,
                                0.0234375,
                                0.9999995,
                                0.99999951,
                                123456.5,
                                -99999.25,
                                largest,
                                -largest,
                                infinity,
                                -infinity,
                                0x1p43,
                                0x1.fffffffffffffp42,
                                0x1p-20,
                                5e-324,
                                0x1p-1022,
                                999999.9999995,
                                9007199254740993.0,
                                -0x1p-74};
  values.push_back(std::numeric_limits<double>::quiet_NaN());
  for (int k = 0; k < 20000; ++k) {
    const double ties = static_cast<double>(static_cast<std::int32_t>(engine())) / (1 << k % 31);
    const double any = std::bit_cast<double>(engine());
    const double usual = static_cast<double>(static_cast<std::int64_t>(engine())) / std::pow(10.0, k % 25);
    for (const double x : {ties, std::isnan(any) ? 0 : any, usual}) values.push_back(x);
  }
  const auto columns = static_cast<long>(values.size());
  MatFullD m(1, columns);
  m.setrows(1);
  std::copy(values.begin(), values.end(), m.data());
  std::ostringstream wanted;
  wanted << std::fixed << std::right << std::setprecision(6);
  for (const double x : values) wanted << std::setw(10) << x << '\t';
  wanted << '\n';
  std::ostringstream text;
  text << m;
  EXPECT_TRUE(text.str() == wanted.str());
}

TEST(TextWriter, SignOfNaNIsNotWritten) {
  MatFullD m(1, 1);
  m.setrows(1);
  m(0, 0) = -std::numeric_limits<double>::quiet_NaN();
  std::ostringstream text;
  text << m;
  EXPECT_EQ(text.str(), "       nan\t\n");
}

TEST(TextWriter, FailedSavesAreReported) {
  MatFullL m(1, 1);
  m.setrows(1, 5);
  const std::string nowhere = ::testing::TempDir() + "no_such_folder/x.dat";
  const Console console;
  EXPECT_EQ(m.save_asc(nowhere.c_str(), 1, 0), 0);
  EXPECT_EQ(m.save_asc("/dev/full", 1, 0), 0);
  EXPECT_EQ(m.save_asc("/dev/full", 0, 0), 0);
  EXPECT_EQ(console.text(),
            "MatFullT.save_asc: file " + nowhere + " not found!\nsaving ASCII-file /dev/full ... failed!\n");
}

}  // namespace
}  // namespace qvtx
