#pragma once
// The command loop: reads two-letter commands and calls the methods of the one analysis object.

#include <fstream>
#include <string>

#include "mapping/tomapp.h"
#include "shell/work.h"

namespace qvtx {

struct Command;

/// How a command ended.
enum class Outcome {
  done,      ///< what the table says follows: the report, the staleness level
  quiet,     ///< nothing follows
  given_up,  ///< a typed word was not a number: nothing has changed, the trace forgets the command
  leave      ///< the loop ends
};

class Session {
 public:
  explicit Session(std::ifstream& prefs);

  /// Prints the banner and runs the loop until a confirmed `xt` or the end of the input; returns the exit
  /// status 0.
  int run();

  // ---- Handlers, one per command of the table ----
  Outcome help();                  // hh  (command_table.cpp)
  Outcome exit();                  // xt  (general_commands.cpp)
  Outcome initialize_seed();       // is
  Outcome toggle_verbosity();      // tv
  Outcome modify_settings();       // ms
  Outcome modify_exponent();       // mx
  Outcome modify_class();          // dc
  Outcome display_details();       // dd
  Outcome load_all();              // la  (file_commands.cpp)
  Outcome load_data();             // ld
  Outcome load_mapping();          // lm
  Outcome save_all();              // sm
  Outcome save_trace();            // st
  Outcome save_clusters();         // xg
  Outcome save_projections();      // sp
  Outcome save_path();             // bw
  Outcome no_quantization();       // nq  (quantization_commands.cpp)
  Outcome g_center();              // gc
  Outcome k_means();               // km
  Outcome dynamic_k_means();       // dk
  Outcome exin();                  // xn
  Outcome neural_water();          // nw
  Outcome competitive_learning();  // cl
  Outcome fast_competitive();      // fc
  Outcome neural_gas();            // ng
  Outcome self_organizing_map();   // om
  Outcome jarvis_patrick();        // jp
  Outcome remove_lost();           // rl
  Outcome remove_copies();         // rc
  Outcome unfold_map();            // us  (projection_commands.cpp)
  Outcome scaling();               // md
  Outcome sammon();                // mm
  Outcome curvilinear();           // cc
  Outcome isotop();                // it
  Outcome self_god();              // sg
  Outcome euclidean_god();         // eg
  Outcome curvilinear_god();       // cg
  Outcome all_gods();              // ag
  Outcome mean_error();            // mq

  /// True when the state allows the command.
  bool allowed(const Command& command) const;
  /// Prototypes with this number of hits, for the help lines of `rl` and `rc`.
  long prototypes_with(long nhits) const { return analysis_.protnbr(nhits); }

 private:
  /// One pass of the loop; false when the loop ends.
  bool step();
  void finish(const Command& command, Outcome outcome);
  void banner() const;

  // Dialogues. False: a word was not a number.
  bool ask_long(const char* text, long& v) const;
  bool ask_double(const char* text, double& v) const;
  /// `automatic()`, then the figure typed after `text` or the automatic one of the confidence.
  bool ask_radius(const char* text, double& radius) const;
  /// The output dimension, typed or chosen by the local PCA at a confidence (-1: none reaches it).
  bool ask_dimension(long& dimension);

  void load_data_file();
  void write_report(Ostr& o, bool graphs);
  int save_log(const std::string& name);
  const MatFullD& reference() const { return work_.dat.nrow() > 0 ? work_.dat : analysis_.getdat(); }
  std::string data_file(const char* extension) const { return data_name_ + extension; }

  // The projection sub-menus.
  using Mapping = long (ToMapp::*)(long, const char*);
  Outcome projection_menu(const char* title, Mapping method, bool sammon_variants);
  void sub_menu(const char* title, bool interpolation) const;
  Outcome map_prototypes(Mapping method);
  bool interpolate(const MatFullD& data, bool sammon_variants);
  Outcome interpolate_validation(bool sammon_variants);
  Outcome reconstruct(bool sammon_variants);
  Outcome bad_command(char c1, char c2) const;

  ToMapp analysis_;
  Work work_;
  std::string data_name_;  ///< name last typed at `ld`, `la` or `lm`
};

}  // namespace qvtx
