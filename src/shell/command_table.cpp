#include "shell/command_table.h"

#include <iostream>

namespace qvtx {

namespace {

using S = Session;

constexpr Command table[] = {
    // name, needs, handler, report, staleness, heading, help, counted
    {"hh", Needs::nothing, &S::help, false, 0, nullptr, nullptr},
    {"xt", Needs::nothing, &S::exit, false, 0, "General :", "  xt = eXiT"},
    {"is", Needs::nothing, &S::initialize_seed, false, 0, nullptr, "  is = Initialize Seed"},
    {"tv", Needs::nothing, &S::toggle_verbosity, false, 0, nullptr, "  tv = Toggle Verbosity"},
    {"ms", Needs::nothing, &S::modify_settings, false, 0, nullptr, "  ms = Modify Settings"},
    {"mx", Needs::nothing, &S::modify_exponent, false, 3, nullptr, nullptr},
    {"dd", Needs::nothing, &S::display_details, false, 0, nullptr, "  dd = Display Details"},
    {"dc", Needs::nothing, &S::modify_class, false, 3, nullptr, nullptr},
    {"la", Needs::nothing, &S::load_all, false, 3, nullptr, "  la = Load All (.dat & .mbf)"},
    {"ld", Needs::nothing, &S::load_data, false, 3, nullptr, "  ld = Load Data file"},

    {"lm", Needs::data, &S::load_mapping, false, 3, nullptr, "  lm = Load Mapping file"},
    {"sm", Needs::data, &S::save_all, false, 0, nullptr, "  sm = Save Mapping file as ..."},
    {"st", Needs::data, &S::save_trace, false, 0, nullptr, "  st = Save Trace"},
    {"xg", Needs::data, &S::save_clusters, false, 0, nullptr, nullptr},
    {"nq", Needs::data, &S::no_quantization, false, 3, "Quantization :", "  nq = No Quantization"},
    {"gc", Needs::data, &S::g_center, false, 3, nullptr, "  gc = G-Center (for GPCA)"},
    {"km", Needs::data, &S::k_means, true, 3, nullptr, "  km = K-Means (or LBG)"},
    {"dk", Needs::data, &S::dynamic_k_means, true, 3, nullptr, "  dk = Dynamic K-means"},
    {"xn", Needs::data, &S::exin, true, 3, nullptr, "  xn = EXIN PLN"},
    {"nw", Needs::data, &S::neural_water, true, 3, nullptr, "  nw = Neural Water"},
    {"cl", Needs::data, &S::competitive_learning, true, 3, nullptr, "  cl = Comp. Learning"},
    {"fc", Needs::data, &S::fast_competitive, true, 3, nullptr, "  fc = Fast CL"},
    {"ng", Needs::data, &S::neural_gas, true, 3, nullptr, "  ng = Neural Gas"},
    {"om", Needs::data, &S::self_organizing_map, true, 3, nullptr, "  om = self-Organizing Map"},
    {"jp", Needs::data, &S::jarvis_patrick, true, 3, nullptr, "  jp = Jarvis-Patrick method"},

    {"rl", Needs::prototypes, &S::remove_lost, false, 3, nullptr, "  rl = Remove Lost prototypes", 0},
    {"rc", Needs::prototypes, &S::remove_copies, false, 3, nullptr, "  rc = Remove Copy prototypes", 1},
    {"us", Needs::prototypes, &S::unfold_map, true, 3,
     "Dimension Reduction :", "  us = Unfold Self-organizing map"},
    {"md", Needs::prototypes, &S::scaling, true, 3, nullptr, "  md = MultiDimensional Scaling"},
    {"mm", Needs::prototypes, &S::sammon, true, 3, nullptr, "  mm = Sammon Mapping"},
    {"cc", Needs::prototypes, &S::curvilinear, true, 3, nullptr, "  cc = Curvilinear Component Analysis"},
    {"it", Needs::prototypes, &S::isotop, true, 3, nullptr, "  it = IsoTop"},
    {"sg", Needs::prototypes, &S::self_god, false, 0, "GoD :", "  sg = Self-God"},

    {"bw", Needs::distances, &S::save_path, false, 0, nullptr, nullptr},

    {"eg", Needs::mapping, &S::euclidean_god, false, 0, nullptr, "  eg = Eucl.God"},
    {"cg", Needs::mapping, &S::curvilinear_god, false, 0, nullptr, "  cg = Curv.God"},
    {"ag", Needs::mapping, &S::all_gods, false, 0, nullptr, "  ag = All Gods"},

    {"sp", Needs::projection, &S::save_projections, false, 0, nullptr, "  sp = Save Proj./deproj. data"},
    {"mq", Needs::reconstruction, &S::mean_error, false, 0, nullptr, "  mq = Mean Quad. error"},
};

}  // namespace

std::span<const Command> command_table() { return table; }

const Command* find_command(char c1, char c2) {
  for (const Command& command : table)
    if (command.name[0] == c1 && command.name[1] == c2) return &command;
  return nullptr;
}

bool Session::allowed(const Command& command) const {
  switch (command.needs) {
    case Needs::nothing:
      return true;
    case Needs::data:
      return analysis_.done(VeQuan::datadone);
    case Needs::prototypes:
      return analysis_.done(VeQuan::pfindone);
    case Needs::distances:
      return analysis_.done(VeQuan::dinidone);
    case Needs::mapping:
      return analysis_.done(ToMapp::minidone);
    case Needs::projection:
      return work_.prj.nrow() > 0;
    case Needs::reconstruction:
      return work_.jrp.nrow() > 0;
  }
  return false;
}

std::string missing_state(const Command& command) {
  switch (command.needs) {
    case Needs::nothing:
      return "";
    case Needs::data:
      return "needs data: ld";
    case Needs::prototypes:
      return "needs prototypes: ng or another quantization";
    case Needs::distances:
      return "needs distances: cc or another mapping";
    case Needs::mapping:
      return "needs a mapping: cc or another one";
    case Needs::projection:
      return "needs projected data: il or iv behind the mapping";
    case Needs::reconstruction:
      return "needs reconstructed data: rd behind the mapping";
  }
  return "";
}

Outcome Session::help() {
  std::cerr << "\nAVAILABLE COMMANDS IN CURRENT STATE ...\n";
  for (const Command& command : table) {
    if (!command.help || !allowed(command)) continue;
    if (command.heading) std::cerr << command.heading << '\n';
    if (command.counted < 0) {
      std::cerr << command.help << '\n';
    } else if (const long count = prototypes_with(command.counted); count > 0) {
      std::cerr << command.help << " (" << count << ")\n";
    }
  }
  return Outcome::quiet;
}

}  // namespace qvtx
