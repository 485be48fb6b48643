#pragma once
// What is a terminal.

namespace qvtx {

/// True when the descriptor is a terminal that can move its cursor, as far as the environment tells (TERM).
bool is_screen(int descriptor);

}  // namespace qvtx
