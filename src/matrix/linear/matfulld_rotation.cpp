// Plane rotations of rows and columns.

#include "matrix/matfulld.h"

namespace qvtx {

void MatFullD::colrot(long i, long j, double c, double s) {
  if (i < 0 || i >= ncol()) ermessage('a', 182, 1, i);
  if (j < 0 || j >= ncol()) ermessage('a', 182, 2, j);
  for (long r = nrow() - 1; r >= 0; --r) {
    double* values = row(r);
    const double x = values[i];
    const double y = values[j];
    values[i] = c * x - s * y;
    values[j] = s * x + c * y;
  }
}

void MatFullD::rowrot(long i, long j, double c, double s) {
  if (i < 0 || i >= nrow()) ermessage('a', 181, 1, i);
  if (j < 0 || j >= nrow()) ermessage('a', 181, 2, j);
  double* first = row(i);
  double* second = row(j);
  for (long k = ncol() - 1; k >= 0; --k) {
    const double x = first[k];
    const double y = second[k];
    first[k] = c * x - s * y;
    second[k] = s * x + c * y;
  }
}

}  // namespace qvtx
