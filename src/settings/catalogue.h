#pragma once
// What the program knows of its settings before it reads them: the default files that `--init` writes, and
// the pairs of a first and a last value that must not rise.

#include <string>
#include <vector>

#include "settings/matpref.h"

namespace qvtx {

struct DefaultFile {
  const char* name;
  std::string text;
};

/// "Qvtx.prf", and the two schedule files that have no keys: "default.sam" and "default.rdp". The texts are
/// those of examples/, taken into the program when it is built.
std::vector<DefaultFile> default_files();

/// Writes the default files into the working directory. Nothing is written when one of them exists, and
/// nothing stays when one of them cannot be written; standard error names the file. Returns 1 when all were
/// written, else 0.
int write_default_files();

/// One line on standard error for each pair of future values that would stop a method ("vngafin is above
/// vngaini: ..."): by the scheme of the keys, "...aini" and "...lini" are the first and "...afin" and
/// "...lfin" the last value of a decay that must not rise. A key without its partner makes no pair.
void warn_rising_pairs(const MatPrefT<double>& dpref);

}  // namespace qvtx
