// Reading distances and angles typed in the drawing's units (behind acdbDisToF / acdbAngToF).
//
// Common to both: spaces at either end are ignored; an empty text, trailing garbage, "inf",
// "nan" and hexadecimal numbers are refused. A number is digits with an optional '.' part
// and an optional exponent (1.5E+01); a sign may lead the whole text.
//
// Distances, by linear mode (LUNITS):
//   1 scientific, 2 decimal   a number: "12.5", "-3", "1.55E+01"
//   5 fractional              also a fraction or mixed number: "1/2", "2 1/2", "2-1/2"
//   3 engineering,            also feet and inches, in inches (one unit is an inch):
//   4 architectural             "1'" "1'2" "1'2\"" "1'-2.5\"" "1' 2 1/2\"" "2\"" "2 1/2\"",
//                               feet may have decimals ("1.5'"), inches may be decimal or a
//                               (mixed) fraction in either mode, a sign leads the whole text.
// A plain number is accepted in every mode; feet and inch marks only in modes 3 and 4;
// fractions in modes 3, 4 and 5. A zero denominator is refused. Parts of one distance are
// joined by spaces alone or by a dash with no space either side ("1'-2", "1' 2", "2-1/2");
// "1' -2" and "2 - 1/2" are no distances (in a parameter expression they subtract).
//
// Angles, result in radians with ANGBASE 0 and ANGDIR 0 (east, counter-clockwise), brought
// into [0, 2*pi). The angular mode (AUNITS) decides only what a bare number means:
//   0 degrees, 1 degrees/minutes/seconds, 4 surveyor's: degrees; 2 grads; 3 radians.
// Marked forms are accepted in every mode:
//   10d20'30"  10d  10d20'  20'30"  (also with the degree sign)  degrees/minutes/seconds
//   100g                                                            grads
//   1.2r                                                            radians
//   N45d30'E  S10dW  N 45 E  N  E  S  W                             surveyor's bearings; the
//     angle between the letters is degrees (plain or d/'/") and at most 90.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace drawing {

// Reads digits with an optional '.' part and exponent, in the C locale whatever the process
// locale is. Nothing when the text is not wholly such a number or overflows; an underflow
// reads as (nearly) zero. Shared by the expression parser and the unit readers.
std::optional<double> readNumber(std::string_view text);

// Linear unit modes (LUNITS) and angular unit modes (AUNITS).
enum LinearUnits {
    kScientific = 1,
    kDecimal = 2,
    kEngineering = 3,
    kArchitectural = 4,
    kFractional = 5
};
enum AngularUnits { kDegrees = 0, kDegMinSec = 1, kGrads = 2, kRadians = 3, kSurveyor = 4 };

// The distance in drawing units, or nothing when the text is no distance in that mode
// (or the mode is not 1..5).
std::optional<double> parseDistance(std::wstring_view text, int mode);

// The longest distance at the start of `text` in that mode, unsigned and without leading
// spaces, with the number of characters it takes in `used`; nothing when the text starts
// with none. The expression parser reads distances with it.
std::optional<double> scanDistance(std::wstring_view text, int mode, std::size_t& used);

// The angle in radians, or nothing when the text is no angle (or the mode is not 0..4).
std::optional<double> parseAngle(std::wstring_view text, int mode);

} // namespace drawing
