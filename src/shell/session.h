#pragma once
// The command loop: reads two-letter commands and calls the methods of the one analysis object.

#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/memory.h"
#include "base/prompts.h"
#include "base/random.h"
#include "mapping/tomapp.h"
#include "matrix/file_report.h"
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

/// How a session deals with its user.
struct Manner {
  bool strict = false;       ///< it ends at the first command that is refused or given up
  bool quiet = false;        ///< it begins with verbosity off
  bool terminal = false;     ///< a person types
  bool interactive = false;  ///< SIGINT gives up a command, else it ends the program
};

/// What goes beyond the record on standard output, such as why something was refused, is told on standard
/// error (`tell`). An analysis that was not saved is recovered (shell/recovery.h) when the program ends in
/// any other way than by `xt` or where a script ends at the prompt of the loop. One session at a time.
class Session {
 public:
  Session(std::ifstream& prefs, Manner manner);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Gives a setting of either table both its values. Returns why it did not; empty when it did.
  std::string set(const std::string& key, const std::string& value);
  /// Sets the state of the random numbers, and notes it in the trace.
  void seed(unsigned long state);

  /// Prints the banner and obeys; returns the exit status (shell/startup.h).
  int run();
  /// The loop alone, until a confirmed `xt` or the end of the input. No lack of memory ends it.
  int obey();

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

  const ToMapp& analysis() const { return analysis_; }
  /// True when the state allows the command.
  bool allowed(const Command& command) const;
  /// Prototypes with this number of hits, for the help lines of `rl` and `rc`.
  long prototypes_with(long nhits) const { return analysis_.protnbr(nhits); }

 private:
  /// One pass of the loop; false when the loop ends.
  bool step();
  bool perform();
  void finish(const Command& command, Outcome outcome);
  /// What signals, a closed console and strictness make of a command that is over; false when the loop ends.
  bool settle(bool goes_on);
  bool leave(int status);
  bool unsaved() const { return unsaved_ && analysis_.done(VeQuan::pinidone) != 0; }
  void recover_unsaved();
  void banner() const;
  void take_notes();

  /// The analysis, for a command to change: what it was is backed up first, once in a command, and comes back
  /// when the command is given up. with_data: the data, too, are going to be others.
  ToMapp& alter(bool with_data = false);
  /// Takes back what the command at hand has changed.
  void undo() noexcept;
  void tell_lack(double bytes);

  // Dialogues. False: a word was not a number.
  bool ask_long(const char* text, long& v) const;
  bool ask_double(const char* text, double& v) const;
  /// `automatic()`, then the figure typed after `text` or the automatic one of the confidence.
  bool ask_radius(const char* text, double& radius) const;
  /// The output dimension, typed or chosen by the local PCA at a confidence (-1: none reaches it).
  bool ask_dimension(long& dimension);

  // Files (file_dialogue.cpp).
  struct FileKind {
    const char* extension;
    std::function<bool()> load;                    ///< tries the name that was typed, tells why it failed
    std::function<bool(const std::string&)> fits;  ///< whether a file is worth to be listed
  };
  /// Asks for a name until it loads; a strict session gives up instead.
  void ask_file(std::string& name, const FileKind& kind);
  void list_files(const std::string& name, const FileKind& kind) const;
  void hear_read(const ReadReport& report);
  void tell_report(const ReadReport& report);
  /// Calls load, which may try several forms of the file, and tells of the one that decided.
  bool read_data(const std::string& file, const std::function<bool()>& load);
  void tell_snapshot(const std::string& file);
  bool fits_data(const std::string& file) const;
  void tell_unwritten();

  void load_data_file();
  bool load_snapshot(const std::string& name);
  /// level: of `ToMapp::show`; graphs: with those of the GoD criteria.
  void write_report(Ostr& o, int level, bool graphs);
  void save_parts(const std::string& name);
  void save_log(const std::string& name);
  const MatFullD& reference() const { return work_.dat.nrow() > 0 ? work_.dat : analysis_.getdat(); }
  std::string data_file(const char* extension) const { return data_name_ + extension; }

  // The projection sub-menus.
  using Mapping = long (ToMapp::*)(long, const char*);
  Outcome projection_menu(const char* title, Mapping method, bool sammon_variants);
  void sub_menu(const char* title, bool interpolation) const;
  Outcome map_prototypes(Mapping method);
  /// A map of this dimension that was not made is a refusal.
  Outcome mapped(long dimension, long result);
  // Hints (hints.cpp), with verbosity on.
  void hint_data() const;
  void hint_metric() const;
  void hint_stress();
  bool maps_along_links();
  void hint_mapping();
  void hint_links(bool along_links);
  void hint_spectrum() const;
  void hint_interpolation(const MatFullD& data, const MatFullD& positions) const;
  void hint_labels() const;
  bool interpolate(const MatFullD& data, bool sammon_variants);
  /// A GoD graph and its statistics, which replace those of the same kind.
  bool rate(MatSparT<long>& graph, MatFullD& statistics, int curvilinear, int self);
  Outcome interpolate_validation(bool sammon_variants);
  Outcome reconstruct(bool sammon_variants);
  Outcome bad_command(char c1, char c2, const std::string& reason);
  /// A command that was refused in a script may leave its answers, which are read as commands then.
  void expect_leftovers();
  void tell_leftovers();
  /// Tells why a command was refused, which a strict session takes as its end.
  void refuse(const std::string& reason);
  /// The same for a command that the analysis refused, with the reason that it gave.
  void refuse_because(const std::string& consequence);
  /// The same for one that was refused in part, or whose consequence is plain.
  void tell_refusal();
  std::string refusal();
  /// A quantization by the command `name` that left no final prototypes is a refusal.
  Outcome quantized(const char* name);
  /// The same for those that are told how many.
  Outcome quantized(const char* name, long n);
  /// The same for those that grow until a prototype lies within a radius of every datum.
  Outcome grown(const char* name, double radius);

  /// What a command may change and does not want to.
  struct Before {
    ToMapp::Backup analysis;
    RandomState random{};
    Metric metric;
    std::string data_name, loaded;
    bool unsaved = false;
  };

  const MemoryWatch watch_;
  ToMapp analysis_;
  Work work_;
  std::optional<Before> before_;  ///< of the command at hand, from its first change on
  std::string data_name_;         ///< name that `ld`, `la` or `lm` last loaded
  std::string loaded_;            ///< that of the present data
  const Manner manner_;
  const char* command_ = "";  ///< letters of the command at hand
  std::size_t mark_ = 0;      ///< length of the trace ahead of the command at hand
  int status_ = 0;            ///< what `run` returns
  bool asking_ = false;       ///< the prompt of the loop waits for a command
  bool refused_ = false;      ///< the command at hand was refused something
  /// Whether words that come may be answers to a command that was refused.
  enum class Leftovers { none, likely, told } leftovers_ = Leftovers::none;
  bool unsaved_ = false;  ///< the analysis has changed since it was saved or loaded
  bool collects_reads_ = false;
  std::vector<ReadReport> reads_;
  std::vector<std::pair<std::string, int>> unwritten_;  ///< files that could not be written, and why
};

/// What can be typed for the name of a file with this extension: those that are there, and folders.
Completion names_with(const std::string& extension);

}  // namespace qvtx
