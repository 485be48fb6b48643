// What a load tells about the file it read.

#include "base/support.h"
#include "matrix/file_report.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

class Reads : public testing::Test {
 protected:
  Reads() {
    listen_to_reads([this](const ReadReport& report) { reports_.push_back(report); });
  }
  ~Reads() override { listen_to_reads({}); }

  /// "rows x columns", what was noticed of the form, and the remark with its line.
  std::string load(const std::string& text, bool binary = false) {
    test::write_file("file", text);
    reports_.clear();
    const int loaded = binary ? matrix_.load_bin("file", 0) : matrix_.load_asc("file", 0);
    if (reports_.size() != 1 || reports_[0].loaded != (loaded != 0)) return "no report";
    const ReadReport& r = reports_[0];
    std::string told = loaded ? std::to_string(r.rows) + " x " + std::to_string(r.columns) : "refused";
    if (loaded && r.header) told += ", header";
    if (r.line > 0) told.append(" ").append(std::to_string(r.line));
    return r.remark.empty() ? told : told + ": " + r.remark;
  }

  test::Scratch scratch_;
  MatFullD matrix_;
  std::vector<ReadReport> reports_;
};

TEST_F(Reads, TextIsToldWithWhatIsMissing) {
  const std::pair<const char*, const char*> cases[] = {
      {"5.1 3\n4.9 3\r\n\n4 3", "3 x 2"},
      {"2 0\n2 0\n1 2\n3 4\n", "2 x 2, header"},
      {"1\n3\n5\n6\n7\n", "3 x 1, header"},
      {"1 .5\n2 3\n", "2 x 2"},
      {"5.5 3\n1 2\n1 NA\n3 4\n",
       "2 x 2 3: 'NA' in column 2 is not a number: 2 rows read, the rest of the file was left out"},
      {"5.5 3\n? 2\n", "1 x 2 2: '?' is not a number: 1 row read, the rest of the file was left out"},
      {"5.5 3\n7 -\n",
       "2 x 2 2: '-' in column 2 is not a number: 2 rows read, the rest of the file was left out"},
      {"5.5 3\n1 2\n7\n8 9\n",
       "3 x 2 3: 1 number where a row has 2: rows were filled across line ends, the last 1 number left out"},
      {"5.5 3\n1 2 3 4\n", "3 x 2 2: 4 numbers where a row has 2: rows were filled across line ends"},
      {"1\n2.5\n3\n4\n", "2 x 2 1: 1 number where a row has 2: rows were filled across line ends"},
      {"1 3 2\n4 5 6\n7 8 9\n",
       "3 x 1, header 1: the line begins like a header of 3 x 1: the numbers from line 2 on were left out"},
      {"2 0\n1 0\n1 2\n3 4\n",
       "1 x 2, header 4: more than the 1 x 2 that the header declares: the rest of the file was left out"},
      {"sepal width\n1 2\n", "refused 1: 'sepal' is not a number"},
      {"5,1 3\n", "refused 1: '5,1' is not a number (decimals take a point)"},
      {"5.1,3,4\n",
       "refused 1: '5.1,3,4' is not a number (blanks or tabs stand between numbers, not commas)"},
      {"1.5,2\n", "refused 1: '1.5,2' is not a number (blanks or tabs stand between numbers, not commas)"},
      {"4 2", "refused: its only line has no line end"},
      {"2 0\n9 0\n1 2\n", "refused: the header declares 9 x 2, 2 numbers follow"},
      {"2 0\n2 0\n1 2\n3 x\n", "refused 4: 'x' in column 2 is not a number"},
      {"", "refused: no number in it"},
  };
  for (const auto& [text, told] : cases) EXPECT_EQ(load(text), told) << testing::PrintToString(text);
}

/// Rows are read by the piece; a line that ends early must be noticed wherever in a piece it does.
TEST_F(Reads, ALineThatEndsEarlyIsFoundAmongMany) {
  for (std::size_t line = 2; line < 40; ++line) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += "1.25 2.5 3.75 4\n";
    text[text.find("3.75", (line - 1) * 16) - 1] = '\n';
    EXPECT_EQ(load(text), "40 x 4 " + std::to_string(line) +
                              ": 2 numbers where a row has 4: rows were filled across line ends");
  }
}

TEST_F(Reads, ARefusedBinaryFileSaysWhyAndLeavesTheMatrix) {
  MatFullD two(2, 3);
  two.setrows(2, 1.5);
  ASSERT_EQ(two.save_bin("two", 0), 1);
  const std::string whole = test::read_file("two");
  std::string rowless = whole.substr(0, 20), narrow = whole;
  rowless[8] = 0;
  narrow[16] = 4;
  EXPECT_EQ(load(whole, true), "2 x 3");
  EXPECT_TRUE(reports_[0].binary);
  const std::pair<std::string, const char*> cases[] = {
      {"1 2\n", "refused: text where a binary matrix is needed"},
      {"", "refused: an empty file"},
      {whole.substr(0, 19), "refused: it ends within the 20 bytes of the header of a binary matrix"},
      {whole.substr(0, 60), "refused: the header declares 2 x 3, which the 60 bytes of the file do not hold"},
      {narrow, "refused: no binary matrix of elements of 8 bytes"},
      {rowless, "refused: no row in it"},
  };
  for (const auto& [bytes, told] : cases) {
    EXPECT_EQ(load(bytes, true), told);
    EXPECT_EQ(test::contents(matrix_), test::contents(two)) << told;
  }
  EXPECT_EQ(load(whole), "refused: binary data where text is needed");
}

}  // namespace
}  // namespace qvtx
