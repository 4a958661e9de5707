#include "drawing/UnitParsing.h"
#include "drawing/UnitFormatting.h"

#include <gtest/gtest.h>

#include "dbunits.h"
#include "sdk/control/SystemVariables.h"
#include "testkit/Transcript.h"

#include <numbers>

using drawing::parseAngle;
using drawing::parseDistance;

namespace {

constexpr double kPi = std::numbers::pi;
double deg(double d) {
    return d * kPi / 180.0;
}

} // namespace

TEST(DistanceParsing, NumbersInEveryMode) {
    for (int mode = 1; mode <= 5; ++mode) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(parseDistance(L"12.5", mode), 12.5);
        EXPECT_EQ(parseDistance(L"-3", mode), -3.0);
        EXPECT_EQ(parseDistance(L"+.5", mode), 0.5);
        EXPECT_EQ(parseDistance(L"1.55E+01", mode), 15.5);
        EXPECT_EQ(parseDistance(L"  7  ", mode), 7.0);
        EXPECT_FALSE(parseDistance(L"", mode));
        EXPECT_FALSE(parseDistance(L"abc", mode));
        EXPECT_FALSE(parseDistance(L"12abc", mode));
        EXPECT_FALSE(parseDistance(L"1,5", mode));
        EXPECT_FALSE(parseDistance(L"inf", mode));
        EXPECT_FALSE(parseDistance(L"nan", mode));
        EXPECT_FALSE(parseDistance(L"0x10", mode));
        EXPECT_FALSE(parseDistance(L"--1", mode));
        EXPECT_FALSE(parseDistance(L"1e999", mode));
        EXPECT_EQ(parseDistance(L"1e-999", mode), 0.0);
    }
}

TEST(DistanceParsing, ScientificAndDecimalRefuseOtherForms) {
    for (int mode : {1, 2}) {
        EXPECT_FALSE(parseDistance(L"1/2", mode));
        EXPECT_FALSE(parseDistance(L"2 1/2", mode));
        EXPECT_FALSE(parseDistance(L"1'", mode));
        EXPECT_FALSE(parseDistance(L"2\"", mode));
    }
}

TEST(DistanceParsing, Fractional) {
    EXPECT_EQ(parseDistance(L"1/2", 5), 0.5);
    EXPECT_EQ(parseDistance(L"2 1/2", 5), 2.5);
    EXPECT_EQ(parseDistance(L"2-1/4", 5), 2.25);
    EXPECT_EQ(parseDistance(L"-2 1/2", 5), -2.5);
    EXPECT_FALSE(parseDistance(L"1/0", 5));
    EXPECT_FALSE(parseDistance(L"1.5/2", 5));
    EXPECT_FALSE(parseDistance(L"2.5 1/2", 5));
    EXPECT_FALSE(parseDistance(L"1 / 2", 5));
    EXPECT_FALSE(parseDistance(L"2 -1/2", 5));
    EXPECT_FALSE(parseDistance(L"2- 1/2", 5));
    EXPECT_FALSE(parseDistance(L"2 1/", 5));
    EXPECT_FALSE(parseDistance(L"1'", 5));
}

TEST(DistanceParsing, EngineeringAndArchitecturalFeetAndInches) {
    for (int mode : {3, 4}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(parseDistance(L"1'", mode), 12.0);
        EXPECT_EQ(parseDistance(L"1'2", mode), 14.0);
        EXPECT_EQ(parseDistance(L"1'2\"", mode), 14.0);
        EXPECT_EQ(parseDistance(L"1'-2.5\"", mode), 14.5);
        EXPECT_EQ(parseDistance(L"1'-2 1/2\"", mode), 14.5);
        EXPECT_EQ(parseDistance(L"1' 2 1/2\"", mode), 14.5);
        EXPECT_EQ(parseDistance(L"1.5'", mode), 18.0);
        EXPECT_EQ(parseDistance(L"2\"", mode), 2.0);
        EXPECT_EQ(parseDistance(L"2 1/2\"", mode), 2.5);
        EXPECT_EQ(parseDistance(L"3/4", mode), 0.75);
        EXPECT_EQ(parseDistance(L"-1'-2\"", mode), -14.0);
        EXPECT_EQ(parseDistance(L"14", mode), 14.0);
        EXPECT_FALSE(parseDistance(L"1e308'", mode)); // overflows to infinity
        EXPECT_FALSE(parseDistance(L"1'-", mode));
        EXPECT_FALSE(parseDistance(L"1'--2", mode));
        EXPECT_FALSE(parseDistance(L"1'-2\"3", mode));
        EXPECT_FALSE(parseDistance(L"'2", mode));
        EXPECT_FALSE(parseDistance(L"1''", mode));
        EXPECT_FALSE(parseDistance(L"1'-2 1/0\"", mode));
        EXPECT_FALSE(parseDistance(L"2\"\"", mode));
        // A dash with a space beside it joins nothing: in an expression it subtracts.
        EXPECT_FALSE(parseDistance(L"1' -2\"", mode));
        EXPECT_FALSE(parseDistance(L"1'- 2\"", mode));
        EXPECT_FALSE(parseDistance(L"2 - 1/2\"", mode));
    }
}

TEST(DistanceParsing, UnknownModesAreRefused) {
    EXPECT_FALSE(parseDistance(L"1", 0));
    EXPECT_FALSE(parseDistance(L"1", 6));
    EXPECT_FALSE(parseDistance(L"1", -1));
}

TEST(AngleParsing, BareNumberByMode) {
    EXPECT_DOUBLE_EQ(*parseAngle(L"90", 0), deg(90));
    EXPECT_DOUBLE_EQ(*parseAngle(L"90", 1), deg(90));
    EXPECT_DOUBLE_EQ(*parseAngle(L"100", 2), deg(90));
    EXPECT_DOUBLE_EQ(*parseAngle(L"1.2", 3), 1.2);
    EXPECT_DOUBLE_EQ(*parseAngle(L"45.5", 4), deg(45.5));
    EXPECT_FALSE(parseAngle(L"1", 5));
    EXPECT_FALSE(parseAngle(L"1", -1));
}

TEST(AngleParsing, MarkedFormsInEveryMode) {
    for (int mode = 0; mode <= 4; ++mode) {
        SCOPED_TRACE(mode);
        EXPECT_NEAR(*parseAngle(L"10d20'30\"", mode), deg(10 + 20 / 60.0 + 30 / 3600.0), 1e-12);
        EXPECT_NEAR(*parseAngle(L"10d", mode), deg(10), 1e-12);
        EXPECT_NEAR(*parseAngle(L"10D30'", mode), deg(10.5), 1e-12);
        EXPECT_NEAR(*parseAngle(L"10\u00B030'", mode), deg(10.5), 1e-12);
        EXPECT_NEAR(*parseAngle(L"30'", mode), deg(0.5), 1e-12);
        EXPECT_NEAR(*parseAngle(L"100g", mode), deg(90), 1e-12);
        EXPECT_NEAR(*parseAngle(L"1.2r", mode), 1.2, 1e-12);
        EXPECT_NEAR(*parseAngle(L"N45d30'E", mode), deg(44.5), 1e-12);
        EXPECT_NEAR(*parseAngle(L"n 45 w", mode), deg(135), 1e-12);
        EXPECT_NEAR(*parseAngle(L"S10dE", mode), deg(280), 1e-12);
        EXPECT_NEAR(*parseAngle(L"S10dW", mode), deg(260), 1e-12);
        EXPECT_NEAR(*parseAngle(L"N", mode), deg(90), 1e-12);
        EXPECT_NEAR(*parseAngle(L"W", mode), deg(180), 1e-12);
        EXPECT_NEAR(*parseAngle(L"S", mode), deg(270), 1e-12);
        EXPECT_NEAR(*parseAngle(L"E", mode), 0.0, 1e-12);
    }
}

TEST(AngleParsing, ResultIsBroughtIntoOneTurn) {
    EXPECT_NEAR(*parseAngle(L"-90", 0), deg(270), 1e-12);
    EXPECT_NEAR(*parseAngle(L"450", 0), deg(90), 1e-12);
    EXPECT_NEAR(*parseAngle(L"-10d30'", 1), deg(349.5), 1e-12);
    EXPECT_NEAR(*parseAngle(L"360", 0), 0.0, 1e-12);
}

TEST(AngleParsing, Refusals) {
    for (const wchar_t* text :
         {L"", L"abc", L"10x", L"10d20", L"10d20'30", L"10\"20'", L"10g5", L"1.2rr", L"N95E",
          L"N45", L"N45dX", L"N45E5", L"X", L"NE", L"-N45E", L"10d20'30\"x", L"1e999"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(text)));
        EXPECT_FALSE(parseAngle(text, 0));
    }
}

using HostConversions = testkit::HostTest;

TEST_F(HostConversions, DistanceFollowsTheDrawingsLinearUnits) {
    double v = 99.0;
    // The host starts with decimal units: feet and inches are refused and v stays.
    EXPECT_EQ(acdbDisToF(L"1'2\"", -1, &v), RTERROR);
    EXPECT_EQ(v, 99.0);
    EXPECT_EQ(acdbDisToF(L"2.5", -1, &v), RTNORM);
    EXPECT_EQ(v, 2.5);
    lmhost::setSystemVariable(L"LUNITS", short(4));
    EXPECT_EQ(acdbDisToF(L"1'-2 1/2\"", -1, &v), RTNORM);
    EXPECT_EQ(v, 14.5);
    // An explicit mode wins over the drawing's.
    EXPECT_EQ(acdbDisToF(L"1'", 2, &v), RTERROR);
    EXPECT_EQ(acdbDisToF(L"3 1/4", 5, &v), RTNORM);
    EXPECT_EQ(v, 3.25);
    EXPECT_EQ(acdbDisToF(L"1", 9, &v), RTERROR);
    EXPECT_EQ(acdbDisToF(nullptr, 2, &v), RTERROR);
    EXPECT_EQ(acdbDisToF(L"1", 2, nullptr), RTERROR);
}

TEST_F(HostConversions, AngleFollowsTheDrawingsAngularUnits) {
    constexpr double pi = std::numbers::pi;
    double v = 0.0;
    EXPECT_EQ(acdbAngToF(L"90", -1, &v), RTNORM);
    EXPECT_NEAR(v, pi / 2, 1e-12);
    lmhost::setSystemVariable(L"AUNITS", short(3));
    EXPECT_EQ(acdbAngToF(L"1.5", -1, &v), RTNORM);
    EXPECT_NEAR(v, 1.5, 1e-12);
    EXPECT_EQ(acdbAngToF(L"N45dE", -1, &v), RTNORM);
    EXPECT_NEAR(v, pi / 4, 1e-12);
    // A refused text leaves v as the caller set it, so a caller starting at 0.0 gets 0.0.
    v = 0.0;
    EXPECT_EQ(acdbAngToF(L"wide", -1, &v), RTERROR);
    EXPECT_EQ(v, 0.0);
    EXPECT_EQ(acdbAngToF(L"1", 5, &v), RTERROR);
}

TEST(UnitFormatting, DistancesByLinearUnitsAndPrecision) {
    struct Row {
        double value;
        int mode, precision;
        const wchar_t* shown;
    };
    const Row rows[] = {
        {1234567.891, 1, 4, L"1.2346E+06"},
        {1234567.891, 2, 4, L"1234567.8910"},
        {10, 2, 0, L"10"},
        {-0.00001, 2, 4, L"0.0000"},
        {69.5, 3, 4, L"5'-9.5000\""},
        {-69.5, 3, 2, L"-5'-9.50\""},
        {143.99999, 3, 2, L"12'-0.00\""},
        {69.5, 4, 4, L"5'-9 1/2\""},
        {0.125, 4, 4, L"0'-0 1/8\""},
        {60, 4, 4, L"5'-0\""},
        {0.01, 4, 4, L"0'-0\""},
        {1.3333, 5, 2, L"1 1/4"},
        {0.5, 5, 4, L"1/2"},
        {-2.5, 5, 4, L"-2 1/2"},
        {1e20, 4, 4, L"100000000000000000000.0000"}, // too large for feet: decimal
        {3, 9, 4, L"3.0000"},                        // unknown mode: decimal
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(drawing::formatDistance(row.value, row.mode, row.precision), row.shown);
    }
}

TEST(UnitFormatting, AnglesByAngularUnitsAndPrecision) {
    struct Row {
        double degrees;
        int mode, precision;
        const wchar_t* shown;
    };
    const Row rows[] = {
        {45.5, 0, 2, L"45.50"},    {45.5, 1, 0, L"46d"},
        {45.5, 1, 2, L"45d30'"},   {45.50417, 1, 4, L"45d30'15\""},
        {90, 2, 1, L"100.0g"},     {180, 3, 4, L"3.1416r"},
        {45, 4, 0, L"N 45d E"},    {135, 4, 0, L"N 45d W"},
        {225, 4, 2, L"S 45d0' W"}, {300, 4, 0, L"S 30d E"},
        {90, 4, 0, L"N"},          {0, 4, 0, L"E"},
        {180, 4, 0, L"W"},         {270, 4, 0, L"S"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.degrees);
        EXPECT_EQ(drawing::formatAngle(row.degrees * kPi / 180.0, row.mode, row.precision),
                  row.shown);
    }
}
