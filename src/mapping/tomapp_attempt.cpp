// Mappings that are given up.

#include <cstring>
#include <utility>

#include "base/interrupt.h"
#include "base/random.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

/// What a mapping changes before it can no longer be given up.
struct Before {
  std::pair<const char*, bool> steps[3] = {
      {VeQuan::dinidone, false}, {ToMapp::minidone, false}, {ToMapp::mfindone, false}};
  MatFullL integers;
  MatFullD reals, images;
  std::optional<MapRanks> ranks;
  std::string name;
  RandomState random;
};

}  // namespace

long ToMapp::attempt(const std::function<long()>& mapping) {
  Before before;
  for (auto& [name, set] : before.steps) set = done(name) != 0;
  lpref.keep(before.integers);
  dpref.keep(before.reals);
  before.images.copy(mprot);
  before.ranks = rank_figures;
  before.name = mname;
  before.random = getrandom();
  try {
    return mapping();
  } catch (const GivenUp&) {
    lpref.give_back(before.integers);
    dpref.give_back(before.reals);
    mprot.swap(before.images);
    rank_figures = std::move(before.ranks);
    std::strcpy(mname, before.name.c_str());
    setrandom(before.random);
    for (const auto& [name, set] : before.steps) {
      if (set) {
        state.setflag(step(name));
      } else {
        state.shutflag(step(name));
      }
    }
    throw;
  }
}

}  // namespace qvtx
