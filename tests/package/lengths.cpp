#include "matrix/matfulld.h"

double length(double x, double y) {
  qvtx::MatFullD m(2, 2);
  m.setrows(2, 0.0);
  m(1, 0) = x;
  m(1, 1) = y;
  return m.sdas(0, 1, qvtx::no_bound);
}
