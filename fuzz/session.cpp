// Whole sessions: the command loop survives whatever is typed and whatever its files hold. The bytes are the
// answers, behind a zero byte the data file d.dat, behind another one the snapshot d.mbf and behind a third
// the schedule d.ngp; what is not given is a small sound file. Files live in a folder of the target's own.

#include "shell/session.h"

#include <sys/time.h>

#include <array>
#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>

#include "base/ending.h"
#include "base/interrupt.h"
#include "base/random.h"
#include "base/trace.h"
#include "fuzz.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* names[] = {"d.dat", "d.mbf", "d.ngp"};

/// Thrown where the program would end.
struct Ended {};

void write(const char* name, const std::string& bytes) { std::ofstream(name, std::ios::binary) << bytes; }

std::string sound_data() {
  std::ostringstream text;
  for (int i = 0; i < 12; ++i) text << i % 5 << ' ' << 0.5 * (i * 7 % 11) << ' ' << i << '\n';
  return text.str();
}

/// The working directory of an input. Methods that take long are ended as by
/// Ctrl-C, after a tenth of a second of processor time.
class Workplace {
 public:
  Workplace() {
    std::string name = (fs::temp_directory_path() / "qvtx_fuzz_XXXXXX").string();
    qvtx::fuzz::demand(mkdtemp(name.data()) != nullptr);
    path_ = name;
    qvtx::catch_interrupts();
    std::signal(SIGVTALRM, [](int) { qvtx::interrupt(SIGINT); });
    const itimerval tenth = {{0, 100000}, {0, 100000}};
    setitimer(ITIMER_VIRTUAL, &tenth, nullptr);
  }
  ~Workplace() { fs::remove_all(path_); }
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  /// Goes there, with the files that the bytes hold, and cuts these to the answers.
  void enter(std::string& bytes) const {
    fs::current_path(path_);
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) fs::remove_all(entry.path());
    write("d.dat", sound_data());
    for (const char* name : {names[2], names[1], names[0]}) {
      const std::size_t at = nth_zero(bytes, name);
      if (at == std::string::npos) continue;
      write(name, bytes.substr(at + 1));
      bytes.resize(at);
    }
    for (char& c : bytes) c = c == '/' ? '_' : c;  // no name leads out of the directory
  }

 private:
  static std::size_t nth_zero(const std::string& bytes, const char* name) {
    std::size_t at = bytes.find('\0');
    for (const char* each : names) {
      if (each == name || at == std::string::npos) return at;
      at = bytes.find('\0', at + 1);
    }
    return at;
  }

  fs::path path_;
};

/// The fatal errors that a user can reach: a schedule of the settings that rises or has one epoch.
bool foreseen(const std::string& said) {
  const std::size_t at = said.rfind(": error ");
  return at == std::string::npos || said.compare(at, 13, ": error m191\n", 13) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const Workplace workplace;
  std::string answers(reinterpret_cast<const char*>(bytes), size);
  const fs::path home = fs::current_path();
  workplace.enter(answers);
  std::istringstream typed(answers);
  std::ostringstream record, aside;
  std::streambuf* const errors = std::cerr.rdbuf(aside.rdbuf());
  std::ostream* const output = std::exchange(qvtx::os.stream, &record);
  qvtx::is = qvtx::Istr(typed);
  qvtx::setseed(qvtx::default_seed);
  qvtx::comtrac.clear();
  try {
    std::ifstream preferences(QVTX_SOURCE_DIR "/examples/Qvtx.prf");
    qvtx::Session session(preferences, {false, false, true});
    qvtx::set_last_action([] { throw Ended(); });
    session.run();
  } catch (const Ended&) {
    qvtx::fuzz::demand(foreseen(record.str()));
  }
  qvtx::is = qvtx::Istr();
  qvtx::os.stream = output;
  std::cerr.rdbuf(errors);
  fs::current_path(home);
  return 0;
}
