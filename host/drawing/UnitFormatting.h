// Writing distances and angles as the host shows them, by the drawing's units and precision
// (LUNITS and LUPREC, AUNITS and AUPREC): the reverse of UnitParsing.
//
// Distances, by linear mode, with precision p (0..8):
//   1 scientific    1.2346E+06               p decimals
//   2 decimal       1234567.8900             p decimals
//   3 engineering   5'-9.5000"               feet and p-decimal inches
//   4 architectural 5'-9 1/2"                feet and inches to the nearest 1/2^p
//   5 fractional    69 1/2                   to the nearest 1/2^p
// Angles, given in radians, by angular mode:
//   0 degrees 45.00, 1 degrees/minutes/seconds 45d30'15" (p 0: degrees, 1-2: minutes, 3-4:
//   seconds, more: decimals of seconds), 2 grads 50.00g, 3 radians 0.79r, 4 surveyor's
//   N 45d E (the bearing's angle as in mode 1).
// A value that rounds to zero has no sign. Values too large for feet and fractions are
// written as decimals. An unknown mode or precision is taken as decimal, 4 places.
#pragma once

#include <string>

namespace drawing {

std::wstring formatDistance(double value, int mode, int precision);

std::wstring formatAngle(double radians, int mode, int precision);

} // namespace drawing
