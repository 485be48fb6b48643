#pragma once
// Settings as text, and settings from typed or read numbers.

#include <string>

namespace qvtx {

/// An integer bare; a real with as many digits as it needs, the first 6 significant ones always considered. A
/// real that has a single-precision value, as all that come from a preference file have, needs the digits
/// that tell it from its single-precision neighbours: 0.1, not 0.10000000149011612.
std::string value_text(long v);
std::string value_text(double v);

/// True when a table of T can hold the value nearest to x. NaN has none in the integer table.
template <class T>
bool representable(double x);
/// The value of a table of T nearest to x: the nearest long, a half away from zero, or x itself. Beyond the
/// range of long the last one within it; 0 for NaN.
template <class T>
T nearest_value(double x);

template <>
bool representable<long>(double x);
template <>
bool representable<double>(double x);
template <>
long nearest_value<long>(double x);
template <>
double nearest_value<double>(double x);

}  // namespace qvtx
