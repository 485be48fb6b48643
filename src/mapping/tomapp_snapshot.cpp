// The mapping binary file: the quantizer's snapshot, then the mapping's own block. Copies to return to.

#include <cstring>
#include <memory>

#include "base/files.h"
#include "mapping/tomapp.h"

namespace qvtx {

long ToMapp::save_mbf(std::FILE* f) const {
  if (!f) return 0;
  return write_int32(f, prot.nrow()) && write_int32(f, prot.ncol()) &&
         std::apply([f](const auto&... field) { return (field.save_bin(f) && ...); },
                    mapping_fields<const MappingState>(*this));
}

long ToMapp::save_mbf(const char* file) const {
  if (!file) return 0;
  SafeFile out(file);
  if (!out.is_open()) {
    if (verbose) os.ow(prefix).ow("save_mbf: file ").ow(file).ow(" not found!").nl();
    return 0;
  }
  say("save_mbf: saving binary file ");
  if (verbose) os.ow(file).ow(" ... ").flush();
  const bool saved = save_vbf(out.file()) && save_mbf(out.file()) && out.commit();
  say_end(saved ? "done!" : "failed!");
  return saved;
}

bool ToMapp::read_mapping(std::FILE* f, const QuantizerState& quantizer, MappingState& saved) {
  const MatFullD& prototypes = quantizer.prot;
  const auto promised = [&](const char* name) { return quantizer.state.getflag(step(name)) != 0; };
  long nprot = 0, dim = 0;
  if (!read_int32(f, nprot) || !read_int32(f, dim)) return refuse_load("cut off or damaged: mapping");
  if (nprot != prototypes.nrow() || dim != prototypes.ncol()) {
    say_piece("size mismatch ... ");
    return refuse_load("its mapping belongs to other prototypes");
  }
  if (!saved.mprot.load_bin(f)) return refuse_load("cut off or damaged: images");
  if (!saved.mlink.load_bin(f)) return refuse_load("cut off or damaged: links of the images");
  // Before their step is done both may be those of earlier prototypes: nothing reads them.
  if (promised(minidone) && saved.mprot.nrow() != nprot)
    return refuse_load("its images do not fit its prototypes");
  if (promised(mfindone) && (saved.mlink.nnode() != nprot || saved.mlink.nvalue() != 2))
    return refuse_load("the links of its images do not fit its prototypes");
  return true;
}

long ToMapp::load_mbf(std::FILE* f) {
  if (!f) return 0;
  MappingState saved;
  if (!read_mapping(f, *this, saved)) return 0;
  exchange(mapping_fields<MappingState>(*this), mapping_fields(saved));
  return 1;
}

long ToMapp::load_mbf(const char* file) {
  if (!done(datadone) || !file) return 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(file, "rb"), std::fclose);
  if (!f) {
    if (verbose) os.ow(prefix).ow("load_mbf: file ").ow(file).ow(" not found!").nl();
    return 0;
  }
  const bool report = verbose != 0;  // the load replaces `verbose`
  if (report) os.ow(prefix).ow("load_mbf: loading binary file ").ow(file).ow(" ... ").flush();
  SavedState quantizer;
  MappingState mapping;
  const bool loaded = read_state(f.get(), quantizer) && read_mapping(f.get(), quantizer, mapping);
  if (loaded) {
    take_over(quantizer);
    exchange(mapping_fields<MappingState>(*this), mapping_fields(mapping));
    forget_unsaved();
  }
  if (report) os.ow(loaded ? "done!" : "failed!").nl();
  return loaded;
}

void ToMapp::forget_unsaved() {
  mname[0] = '\0';
  rank_figures.reset();
  reset_image_order();
  nbwidth.setdim(0, 1);
}

void ToMapp::back_up(Backup& backup) const {
  VeQuan::back_up(backup);
  duplicate(mapping_fields<MappingState>(backup), mapping_fields<const MappingState>(*this));
  std::memcpy(backup.mname, mname, sizeof mname);
  backup.spectrum = spectrum;
  backup.nbwidth.duplicate(nbwidth);
}

void ToMapp::go_back(Backup& backup) noexcept {
  VeQuan::go_back(backup);
  exchange(mapping_fields<MappingState>(*this), mapping_fields<MappingState>(backup));
  std::memcpy(mname, backup.mname, sizeof mname);
  spectrum = backup.spectrum;
  nbwidth.swap(backup.nbwidth);
  rank_figures.reset();
  memory.orders.clear();
}

}  // namespace qvtx
