#include "shell/startup.h"

#include <fstream>
#include <iostream>
#include <string>

#include "settings/catalogue.h"
#include "shell/session.h"
#include "shell/version.h"

namespace qvtx {

namespace {

constexpr const char* default_preferences = "Qvtx.prf";

constexpr const char* usage =
    "usage: qvtx [preference file]\n"
    "       qvtx --init | --help | --version\n"
    "\n"
    "Explores numeric data: vector quantization, graph distances and projection, driven by two-letter "
    "commands\n"
    "typed after the prompt \">> \" (hh lists them). The preference file is Qvtx.prf when none is named.\n"
    "\n"
    "  --init     write the default Qvtx.prf, default.jpp, default.sam and default.rdp into this directory\n"
    "  --help     print this text\n"
    "  --version  print the version\n";

int explore(const std::string& preferences) {
  std::ifstream file(preferences);
  if (!file) {
    os.ow("Preference file ").ow(preferences).ow(" is missing!").nl().flush();
    return 1;
  }
  Session session(file);
  file.close();
  const int status = session.run();
  os.flush();
  return status;
}

}  // namespace

int run_program(int argc, char** argv) {
  const std::string argument = argc > 1 ? argv[1] : default_preferences;
  if (argument == "--help") {
    std::cout << usage;
    return 0;
  }
  if (argument == "--version") {
    std::cout << "qvtx " << version << '\n';
    return 0;
  }
  if (argument == "--init") return write_default_files() ? 0 : 1;
  return explore(argument);
}

}  // namespace qvtx
