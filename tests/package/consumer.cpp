#include "matrix/matfulld.h"

int main() {
  qvtx::MatFullD m(2, 2);
  m.setrows(2, 0.0);
  m(1, 0) = 3;
  m(1, 1) = 4;
  return m.sdas(0, 1, qvtx::no_bound) == 5 ? 0 : 1;
}
