// Text matrices: reading against a bare std::from_chars loop over the same bytes, writing against an iostream
// loop.
//
// The argument is the number of decimals: 6 as the program writes them, 15 as other programs do.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "base/random.h"
#include "matrix/matfulld.h"

namespace {

constexpr long rows = 100000;
constexpr long columns = 10;

void fill(qvtx::MatFullD& m) {
  qvtx::setseed(4357);
  m.setdim(rows, columns);
  m.setrows(rows, 0);
  for (long k = 0; k < rows * columns; ++k) m.data()[k] = qvtx::u_rand() * 200 - 100;
}

std::string iostream_text(const qvtx::MatFullD& m, int decimals) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(decimals);
  for (long i = 0; i < rows; ++i) {
    for (long j = 0; j < columns; ++j) out << std::setw(10) << m.data()[i * columns + j] << '\t';
    out << '\n';
  }
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

std::string random_text(int decimals) {
  qvtx::MatFullD m;
  fill(m);
  return iostream_text(m, decimals);
}

void report(benchmark::State& state, std::size_t bytes) {
  state.SetItemsProcessed(state.iterations() * rows * columns);
  state.SetBytesProcessed(state.iterations() * static_cast<long>(bytes));
}

void LoadAsc(benchmark::State& state) {
  const std::string text = random_text(static_cast<int>(state.range(0)));
  const TemporaryFile file;
  std::ofstream(file.name(), std::ios::binary) << text;
  for (auto _ : state) {
    qvtx::MatFullD m;
    if (m.load_asc(file.name(), 0) == 0 || m.nrow() != rows) state.SkipWithError("not loaded");
    benchmark::DoNotOptimize(m.data());
  }
  report(state, text.size());
}
BENCHMARK(LoadAsc)->Arg(6)->Arg(15)->Unit(benchmark::kMillisecond);

/// The text stands in memory and the result has its size from the start: less than any reader of files can
/// do.
void FromCharsLoop(benchmark::State& state) {
  const std::string text = random_text(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::vector<double> values(rows * columns);
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
BENCHMARK(FromCharsLoop)->Arg(6)->Arg(15)->Unit(benchmark::kMillisecond);

void IostreamReadLoop(benchmark::State& state) {
  std::istringstream in(random_text(static_cast<int>(state.range(0))));
  const std::size_t bytes = in.str().size();
  for (auto _ : state) {
    in.clear();
    in.seekg(0);
    std::vector<double> values(rows * columns);
    for (double& value : values) in >> value;
    benchmark::DoNotOptimize(values.data());
  }
  report(state, bytes);
}
BENCHMARK(IostreamReadLoop)->Arg(6)->Arg(15)->Unit(benchmark::kMillisecond);

void SaveAsc(benchmark::State& state) {
  qvtx::MatFullD m;
  fill(m);
  const TemporaryFile file;
  for (auto _ : state) {
    if (m.save_asc(file.name(), 0, 0) == 0) state.SkipWithError("not saved");
  }
  report(state, std::filesystem::file_size(file.name()));
}
BENCHMARK(SaveAsc)->Unit(benchmark::kMillisecond);

void IostreamWriteLoop(benchmark::State& state) {
  qvtx::MatFullD m;
  fill(m);
  const TemporaryFile file;
  for (auto _ : state) {
    std::ofstream out(file.name(), std::ios::binary);
    out << std::fixed << std::setprecision(6);
    for (long i = 0; i < rows; ++i) {
      for (long j = 0; j < columns; ++j) out << std::setw(10) << m.data()[i * columns + j] << '\t';
      out << '\n';
    }
  }
  report(state, std::filesystem::file_size(file.name()));
}
BENCHMARK(IostreamWriteLoop)->Unit(benchmark::kMillisecond);

}  // namespace
