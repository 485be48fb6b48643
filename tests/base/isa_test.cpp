#include "base/isa.h"

#include <gtest/gtest.h>

namespace qvtx {
namespace {

TEST(Isa, LevelNeverExceedsTheMachine) {
  const Isa before = isa_level();
  for (const Isa wanted : {Isa::avx512, Isa::avx2, Isa::baseline}) {
    set_isa_level(wanted);
    EXPECT_EQ(isa_level(), wanted < isa_best() ? wanted : isa_best());
  }
  set_isa_level(before);
}

}  // namespace
}  // namespace qvtx
