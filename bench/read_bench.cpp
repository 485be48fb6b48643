// Text matrices: the whole command `ld` and its reader against a bare std::from_chars loop over the same
// bytes, writing against an iostream loop.
//
// Arguments: rows of ten columns, and the number of decimals: 6 as the program writes them, 15 as other
// programs do; decimals below 0: so many in scientific notation.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/random.h"
#include "matrix/matfulld.h"
#include "preferences.h"
#include "shell/session.h"

namespace {

constexpr long columns = 10;

void fill(qvtx::MatFullD& m, long rows) {
  qvtx::setseed(4357);
  m.setdim(rows, columns);
  m.setrows(rows, 0);
  for (long k = 0; k < rows * columns; ++k) m.data()[k] = qvtx::u_rand() * 200 - 100;
}

void write(const qvtx::MatFullD& m, std::ostream& out) {
  for (long i = 0; i < m.nrow(); ++i) {
    for (long j = 0; j < columns; ++j) out << std::setw(10) << m.data()[i * columns + j] << '\t';
    out << '\n';
  }
}

std::string iostream_text(const qvtx::MatFullD& m, int decimals) {
  std::ostringstream out;
  out << (decimals < 0 ? std::scientific : std::fixed) << std::setprecision(std::abs(decimals));
  write(m, out);
  return out.str();
}

/// A file of the system's folder for temporary files, removed in the end.
class TemporaryFile {
 public:
  TemporaryFile()
      : name_(std::filesystem::temp_directory_path() / ("qvtx_bench" + std::to_string(::getpid()) + ".dat")) {
  }
  ~TemporaryFile() { std::filesystem::remove(name_); }
  const char* name() const { return name_.c_str(); }

 private:
  std::string name_;
};

/// Made once for all repetitions, which takes longer than they do.
const std::string& random_text(const benchmark::State& state) {
  static std::map<std::pair<long, long>, std::string> texts;
  std::string& text = texts[{state.range(0), state.range(1)}];
  if (text.empty()) {
    qvtx::MatFullD m;
    fill(m, state.range(0));
    text = iostream_text(m, static_cast<int>(state.range(1)));
  }
  return text;
}

void report(benchmark::State& state, std::size_t bytes) {
  state.SetItemsProcessed(state.iterations() * state.range(0) * columns);
  state.SetBytesProcessed(state.iterations() * static_cast<long>(bytes));
}

void sizes(benchmark::internal::Benchmark* b) {
  for (const long decimals : {6, 15, -6, -18}) b->Args({100000, decimals});
  b->Args({1000000, 6})->Unit(benchmark::kMillisecond);
}

/// Console and messages go nowhere, and are there for a look.
class Redirect {
 public:
  Redirect() : errors_(std::cerr.rdbuf(aside_.rdbuf())), output_(std::exchange(qvtx::os.stream, &record_)) {}
  ~Redirect() {
    qvtx::is = qvtx::Istr();
    qvtx::os.stream = output_;
    std::cerr.rdbuf(errors_);
  }
  bool said(const std::string& text) const { return aside_.str().find(text) != std::string::npos; }

 private:
  std::ostringstream record_, aside_;
  std::streambuf* errors_;
  std::ostream* output_;
};

/// The command as it is typed in a new session: both forms of files are tried, what was read is looked
/// through and told.
void LoadCommand(benchmark::State& state) {
  const std::string& text = random_text(state);
  const TemporaryFile file;
  std::ofstream(file.name(), std::ios::binary) << text;
  const std::string stem = std::filesystem::path(file.name()).replace_extension("").string();
  const std::string told = "read " + std::to_string(state.range(0)) + " x " + std::to_string(columns);
  for (auto _ : state) {
    const Redirect redirect;
    std::istringstream typed("ld\n" + stem + "\n");
    qvtx::is = qvtx::Istr(typed);
    std::ifstream preferences = qvtx::default_preferences();
    qvtx::Session session(preferences, {});
    session.obey();
    if (!redirect.said(told)) state.SkipWithError("not loaded");
  }
  report(state, text.size());
}
BENCHMARK(LoadCommand)->Apply(sizes);

void LoadAsc(benchmark::State& state) {
  const std::string& text = random_text(state);
  const TemporaryFile file;
  std::ofstream(file.name(), std::ios::binary) << text;
  for (auto _ : state) {
    qvtx::MatFullD m;
    if (m.load_asc(file.name(), 0) == 0 || m.nrow() != state.range(0)) state.SkipWithError("not loaded");
    benchmark::DoNotOptimize(m.data());
  }
  report(state, text.size());
}
BENCHMARK(LoadAsc)->Apply(sizes);

/// The text stands in memory and the result has its size from the start: less than any reader of files can
/// do.
void FromCharsLoop(benchmark::State& state) {
  const std::string& text = random_text(state);
  for (auto _ : state) {
    std::vector<double> values(static_cast<std::size_t>(state.range(0) * columns));
    const char* p = text.data();
    const char* const end = p + text.size();
    for (double& value : values) {
      while (*p == ' ' || *p == '\t' || *p == '\n') ++p;
      p = std::from_chars(p, end, value).ptr;
    }
    benchmark::DoNotOptimize(values.data());
  }
  report(state, text.size());
}
BENCHMARK(FromCharsLoop)->Apply(sizes);

void IostreamReadLoop(benchmark::State& state) {
  std::istringstream in(random_text(state));
  const std::size_t bytes = in.str().size();
  for (auto _ : state) {
    in.clear();
    in.seekg(0);
    std::vector<double> values(static_cast<std::size_t>(state.range(0) * columns));
    for (double& value : values) in >> value;
    benchmark::DoNotOptimize(values.data());
  }
  report(state, bytes);
}
BENCHMARK(IostreamReadLoop)->Apply(sizes);

void SaveAsc(benchmark::State& state) {
  qvtx::MatFullD m;
  fill(m, state.range(0));
  const TemporaryFile file;
  for (auto _ : state) {
    if (m.save_asc(file.name(), 0, 0) == 0) state.SkipWithError("not saved");
  }
  report(state, std::filesystem::file_size(file.name()));
}
BENCHMARK(SaveAsc)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void IostreamWriteLoop(benchmark::State& state) {
  qvtx::MatFullD m;
  fill(m, state.range(0));
  const TemporaryFile file;
  for (auto _ : state) {
    std::ofstream out(file.name(), std::ios::binary);
    out << std::fixed << std::setprecision(6);
    write(m, out);
  }
  report(state, std::filesystem::file_size(file.name()));
}
BENCHMARK(IostreamWriteLoop)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
