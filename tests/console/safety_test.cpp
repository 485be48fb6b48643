// Saves that are killed, and saves that cannot be.

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <random>
#include <thread>

#include "console/terminal.h"

namespace qvtx::console {
namespace {

/// A directory in memory, where there is one: kills come between the steps of a save, not in waits for the
/// disk.
const char* const memory_disk = "/dev/shm";

using Contents = std::map<std::string, std::string>;

/// The files of a name by their extensions.
Contents files_of(const Workplace& here, const std::string& name) {
  Contents found;
  for (const std::string& file : here.files())
    if (file.starts_with(name + ".")) found[file.substr(name.size())] = here.read(file);
  return found;
}

long remainders(const Workplace& here) {
  long count = 0;
  for (const std::string& file : here.files()) count += file.starts_with(".qv") ? 1 : 0;
  return count;
}

/// Two analyses of the same data, x and y, with what `sm` saves of them after they were loaded.
struct TwoAnalyses {
  TwoAnalyses() {
    here.bring("iris.dat");
    for (const char* name : {"x", "y"}) here.write(std::string(name) + ".dat", here.read("iris.dat"));
    here.run(words("ld iris km 30 md mp m 2 sm x km 24 cc mp m 2 sm y xt y"));
    here.run(words("la x ag sm a la y ag sm b xt y"));
    x = files_of(here, "a");
    y = files_of(here, "b");
  }

  /// Extensions of files of the name a that belong to neither analysis.
  std::string spoiled() const {
    std::string list;
    for (const auto& [extension, content] : files_of(here, "a"))
      if (content != x.at(extension) && content != y.at(extension)) list += extension;
    return list;
  }

  const Workplace here{memory_disk};
  Contents x, y;
};

TEST(KilledSave, LeavesWholeFilesAndTheNextOneClearsUp) {
  const TwoAnalyses both;
  ASSERT_EQ(both.x.size(), 16U);
  ASSERT_NE(both.x, both.y);
  std::string session;
  for (int k = 0; k < 100; ++k) session += "la\ny\nag\nsm\na\nla\nx\nag\nsm\na\n";
  std::mt19937 random(7);
  long caught = 0;
  for (int kill = 0; kill < 200; ++kill) {
    Terminal t(both.here, {"--quiet"}, true);
    t.type(session);
    t.find("log saved!");
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
    t.send(SIGKILL);
    ASSERT_EQ(t.end(), -SIGKILL);
    ASSERT_EQ(both.spoiled(), "") << kill;
    caught += remainders(both.here) > 0 ? 1 : 0;
  }
  EXPECT_GT(caught, 20) << "the kills missed the saves";
  EXPECT_EQ(both.here.run(words("la x ag sm a xt y")).status, 0);
  EXPECT_EQ(files_of(both.here, "a"), both.x);
  EXPECT_EQ(remainders(both.here), 0);
}

TEST(FailedSave, IsToldAndLeavesEarlierFilesAsTheyWere) {
  const char* const disk_full = "for f in a.map a.trc a.prj c.map; do ln -sf /dev/full $f; done;";
  const char* const directory_gone = "mkdir gone; cd gone; rmdir ../gone;";
  const std::string full = ": No space left on device\n", gone = ": No such file or directory";
  const struct {
    const char* ahead;  ///< shell commands ahead of the program
    const char* save;
    std::string told;
  } faults[] = {{disk_full, "sm a", "a.map" + full},
                {disk_full, "st a", "a.trc" + full},
                {disk_full, "sp a", "a.prj" + full},
                {disk_full, "xg c", "c.map" + full},
                {"ulimit -f 8;", "sm a", "a.mbf: File too large (and "},
                {"rm a.ind; mkdir a.ind;", "sm a", "a.ind: Is a directory\n"},
                {"", "sm a.mbf/a", "a.mbf/a.mbf: Not a directory (and 15 more)\n"},
                {directory_gone, "sm a", "a.mbf" + gone + " (and 15 more)\n"},
                {directory_gone, "st a", "a.trc" + gone + "\n"}};
  for (const auto& [ahead, save, told] : faults) {
    const TwoAnalyses both;
    const std::string data = both.here.path("y").string(), settings = both.here.path("Qvtx.prf").string();
    const Result r = both.here.run(words("la " + data + " ag cc il " + save + " hh xt y"),
                                   "--quiet '" + settings + "'", ahead);
    EXPECT_EQ(r.status, 0) << save;
    EXPECT_NE(r.err.find("  cannot write " + told), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("AVAILABLE"), std::string::npos) << "the session goes on";
    for (const auto& [extension, content] : both.x)
      if (std::filesystem::is_regular_file(both.here.path("a" + extension))) {
        EXPECT_EQ(both.here.read("a" + extension), content) << extension;
      }
    EXPECT_EQ(remainders(both.here), 0) << save;
  }
}

}  // namespace
}  // namespace qvtx::console
