#pragma once
// Which schedule a method takes: its file, the default file of the working directory, or the keys.

#include "support/files.h"
#include "support/quantizer.h"

namespace qvtx::test {

/// A schedule file of `rows` epochs with both parameters 0.5.
inline void write_schedule(const char* name, int rows) {
  std::ofstream out(name);
  while (rows-- > 0) out << "0.5\t0.5\t\n";
}

/// Runs a method whose epoch key says 4 with a file of 2 epochs and a default file of 3, each there or not,
/// and counts its epochs by the loop counter. `object` and `verb` are those of the method's messages.
template <class Run>
void expect_schedule_order(CaughtConsole& console, VeQuan& vq, const std::string& method,
                           const char* default_file, Run run, const std::string& object = "VeQuan.",
                           const std::string& verb = "quantizing") {
  const Scratch directory;
  const struct {
    bool given, has_file, has_default;
    int epochs;
  } cases[] = {{true, true, true, 2},
               {true, true, false, 2},
               {true, false, true, 3},
               {true, false, false, 4},
               {false, true, true, 4}};
  vq.verbose = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << method << ", file given " << c.given << ", there " << c.has_file << c.has_default);
    std::filesystem::remove("own.sched");
    std::filesystem::remove(default_file);
    if (c.has_file) write_schedule("own.sched", 2);
    if (c.has_default) write_schedule(default_file, 3);
    console.take();
    run(c.given ? "own.sched" : nullptr);
    const std::string text = console.take();
    const std::string keys = object + method + ": using default parameters\n";
    const std::string last = "loop " + std::to_string(c.epochs) + "/" + std::to_string(c.epochs) + " ";
    EXPECT_NE(std::string::npos, text.find(last)) << text;
    EXPECT_EQ(c.epochs == 4, text.find(keys) != std::string::npos) << text;
    EXPECT_NE(std::string::npos, text.find(object + method + ": " + verb + " ... \n")) << text;
  }
  vq.verbose = 0;
}

}  // namespace qvtx::test
