// A session whose memory fails at any place: the command is given up with a line, or done, and the analysis
// is what it was before or what the command makes of it.

#include <array>
#include <sstream>
#include <streambuf>

#include "base/istr.h"
#include "base/trace.h"
#include "shell/session.h"
#include "support/failing_memory.h"
#include "support/files.h"
#include "support/quantizer.h"

namespace qvtx::test {
namespace {

/// Keeps the beginning of what is written, without a request for memory.
class Record : public std::streambuf {
 public:
  Record() { clear(); }
  void clear() { setp(text_.data(), text_.data() + text_.size()); }
  std::string_view text() const { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }

 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }

 private:
  std::array<char, 1 << 16> text_;
};

/// A session that is told its commands in pieces, with verbosity on.
class Talk {
 public:
  Talk() : out_stream_(&out_), out_before_(os), in_before_(is), err_before_(std::cerr.rdbuf(&err_)) {
    os = Ostr(out_stream_);
    comtrac.clear();
    std::ifstream preferences = default_preferences();
    session_.emplace(preferences, Manner{});
  }
  ~Talk() {
    session_.reset();
    os = out_before_;
    is = in_before_;
    std::cerr.rdbuf(err_before_);
  }
  Talk(const Talk&) = delete;
  Talk& operator=(const Talk&) = delete;

  Session& session() { return *session_; }
  std::string_view errors() const { return err_.text(); }

  /// The words as input, read by the loop to their end; request `failing` for memory fails.
  void say(const std::string& words, long failing = -1, bool lasting = false) {
    out_.clear();
    err_.clear();
    std::istringstream typed(words);
    typed.exceptions(std::ios::badbit);
    is = Istr(typed);
    if (failing < 0) {
      EXPECT_EQ(0, session_->obey()) << words;
    } else {
      const FailingMemory short_of_memory(failing, lasting);
      session_->obey();
    }
  }

  /// The analysis as a snapshot holds it and as the report shows it, and the data on the map.
  std::string saved() {
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* const file = ::open_memstream(&bytes, &size);
    const ToMapp& analysis = session_->analysis();
    EXPECT_TRUE(analysis.save_vbf(file));
    EXPECT_TRUE(analysis.save_mbf(file));
    std::fclose(file);
    std::string all(bytes, size);
    std::free(bytes);
    say("dd sp state");
    all += out_.text();
    for (const char* name : {"state.prj", "state.ppr", "state.jrp"}) {
      all += read_file(name);
      std::filesystem::remove(name);
    }
    return all;
  }

 private:
  Record out_, err_;
  std::ostream out_stream_;
  Ostr out_before_;
  Istr in_before_;
  std::streambuf* err_before_;
  std::optional<Session> session_;
};

/// A command that fails early leaves words behind, which are read as commands: they have even lengths, for
/// half a command would be the end of the input inside a dialogue.
struct Case {
  const char* before;  ///< words that lead to the state
  const char* command;
  const char* key = "vgmemory";  ///< a setting
  const char* value = "1";
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.before << ": " << c.command; }

/// The state is that behind "ld points is y km 3 " and these words.
class ShortMemory : public ::testing::TestWithParam<Case> {
 protected:
  ShortMemory() {
    std::string text;
    MatFullD points;
    uniform_points(points, 24, 3, 1);
    for (long i = 0; i < 24; ++i) {
      for (long k = 0; k < 3; ++k) text += std::to_string(points(i, k)) + " ";
      text += '\n';
    }
    write_file("points.dat", text);
    write_file("sample.dat", text);
    Talk().say("ld sample is y km 4 sm sample");
    start();
  }

  void start() {
    talk.emplace();
    for (const char* key : {"vngepoq", "tcdepoq", "tsmepoq", "titepoq", "vsomepoq", "vfclepoq", "vnwepoq"})
      ASSERT_EQ("", talk->session().set(key, "2"));
    ASSERT_EQ("", talk->session().set(GetParam().key, GetParam().value));
    talk->say(std::string("ld points is y km 3 ") + GetParam().before);
  }

  Scratch directory;
  std::optional<Talk> talk;
};

TEST_P(ShortMemory, GivesTheCommandUpAndKeepsTheAnalysis) {
  const std::string command = GetParam().command;
  const std::string before = talk->saved();
  talk->say("is y " + command);
  const std::string after = talk->saved();
  const auto begin_again = [&] {
    start();
    ASSERT_TRUE(before == talk->saved());
  };
  long given_up = 0;
  for (const bool lasting : {false, true}) {
    begin_again();
    for (long k = 0;; ++k) {
      SCOPED_TRACE(std::to_string(k) + (lasting ? " and all later" : ""));
      talk->say("is y");
      talk->say(command, k, lasting);
      const bool told = talk->errors().find(": not enough memory") != std::string_view::npos;
      const bool failed = FailingMemory::happened();
      const std::string now = talk->saved();
      ASSERT_TRUE(now == before || now == after);
      if (now != after) {
        ASSERT_TRUE(told) << talk->errors();
      }
      given_up += told;
      if (!failed) break;
      if (now != before) begin_again();
    }
  }
  EXPECT_LT(0, given_up);
  EXPECT_TRUE(after == talk->saved());
}

constexpr const char* mapped = "ng 6 cc mp m 2";
constexpr const char* interpolated = "ng 6 cc mp m 2 cc il";

INSTANTIATE_TEST_SUITE_P(
    Session, ShortMemory,
    ::testing::Values(Case{"", "ng 6"}, Case{"", "ld points"}, Case{"", "nq"}, Case{"", "om 9 1"},
                      Case{"", "dk m 0.1"}, Case{"", "ng 6", "vgdimloc", "1"},
                      Case{"", "ng 6", "vglink_p", "5"}, Case{"om 9 1", "us mp"},
                      Case{"ng 6", "cc mp m 2", "tdgdtype", "2"}, Case{mapped, "nw m 0.5"},
                      Case{mapped, "fc 06 01"}, Case{mapped, "rc"}, Case{"nq", "md mp m 2"},
                      Case{mapped, "cc mp m 2"}, Case{mapped, "mm mp m 2"}, Case{mapped, "it mp m 2"},
                      Case{mapped, "bw 00 outs"}, Case{mapped, "cc il"}, Case{mapped, "mm il"},
                      Case{interpolated, "cc rd"}, Case{interpolated, "sm others"}, Case{mapped, "lm sample"},
                      Case{mapped, "la sample"}, Case{mapped, "sg"}, Case{mapped, "dd"}));

}  // namespace
}  // namespace qvtx::test
