// The mapping binary file: the quantizer's snapshot, then the mapping's own block.

#include "base/files.h"
#include "mapping/tomapp.h"

namespace qvtx {

long ToMapp::save_mbf(std::FILE* f) const {
  if (!f) return 0;
  return write_int32(f, prot.nrow()) && write_int32(f, prot.ncol()) && mprot.save_bin(f) && mlink.save_bin(f);
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

long ToMapp::load_mbf(std::FILE* f) {
  if (!f) return 0;
  long nprot = 0;
  long dim = 0;
  if (!read_int32(f, nprot) || !read_int32(f, dim)) return 0;
  if (nprot != prot.nrow() || dim != prot.ncol()) {
    if (verbose) os.ow("size mismatch ... ");
    return 0;
  }
  MatFullD positions;
  MatLinkD links(0, 2, 5);
  if (!positions.load_bin(f) || !links.load_bin(f)) return 0;
  // Before their step is done both may be those of earlier prototypes: nothing reads them.
  if (done(minidone) && positions.nrow() != prot.nrow()) return 0;
  if (done(mfindone) && (links.nnode() != prot.nrow() || links.nvalue() != 2)) return 0;
  mprot.swap(positions);
  mlink.swap(links);
  return 1;
}

long ToMapp::load_mbf(const char* file) {
  if (!done(datadone) || !file) return 0;
  std::FILE* f = std::fopen(file, "rb");
  if (!f) {
    if (verbose) os.ow(prefix).ow("load_mbf: file ").ow(file).ow(" not found!").nl();
    return 0;
  }
  const bool report = verbose != 0;  // the load replaces `verbose`
  if (report) os.ow(prefix).ow("load_mbf: loading binary file ").ow(file).ow(" ... ").flush();
  const bool quantizer = load_vbf(f) != 0;
  const bool loaded = quantizer && load_mbf(f) != 0;
  std::fclose(f);
  if (quantizer) settle_mapping(loaded);
  if (report) os.ow(loaded ? "done!" : "failed!").nl();
  return loaded;
}

void ToMapp::settle_mapping(bool loaded) {
  mname[0] = '\0';
  rank_figures.reset();
  reset_image_order();
  nbwidth.setdim(0, 1);
  // Only the data survive a failed load: what its first half brought belongs to an analysis that is not
  // there.
  if (!loaded) state.shutflag(step(pinidone));
}

}  // namespace qvtx
