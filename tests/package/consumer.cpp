#include "matrix/matfulld.h"

double length(double x, double y);  // of the shared library that holds qvtx, too

int main() {
  qvtx::MatFullD m(1, 1);
  m.setrows(1, 5.0);
  return length(3, 4) == m(0, 0) ? 0 : 1;
}
