#include "ParameterText.h"

#include <gtest/gtest.h>

namespace {

using namespace Korvane;

/// Of two decimals, from 0.1 to 1.9.
constexpr ParameterRange kRange = kParameterRanges[3];

TEST(ParameterText, TakesEitherSeparatorAnExponentASignAndSpaces) {
    EXPECT_EQ(ParameterFromText("0.5", kRange), 0.5f);
    EXPECT_EQ(ParameterFromText("0,5", kRange), 0.5f);
    EXPECT_EQ(ParameterFromText(" .5 ", kRange), 0.5f);
    EXPECT_EQ(ParameterFromText("5e-1", kRange), 0.5f);
    EXPECT_EQ(ParameterFromText("5E-1", kRange), 0.5f);
    EXPECT_EQ(ParameterFromText("+1", kRange), 1.0f);
    EXPECT_EQ(ParameterFromText("1.00", kRange), 1.0f);
}

TEST(ParameterText, TakesBothEndsOfTheRangeAndNothingBeyond) {
    EXPECT_EQ(ParameterFromText("0.1", kRange), 0.1f);
    EXPECT_EQ(ParameterFromText("1.9", kRange), 1.9f);
    for (const char* text : {"0.09", "1.91", "-0.5", "0", "15", "1e300", "1e999", "inf", "nan"}) {
        EXPECT_EQ(ParameterFromText(text, kRange), std::nullopt) << text;
    }
}

TEST(ParameterText, RefusesWhatIsNoNumberAndDecimalsThatWouldBeLost) {
    for (const char* text : {"", " ", ".", "+", "+-1", "1.2.3", "1,2.3", "1 2", "0x1", "1e", "one", "0.155", "1e-1x"}) {
        EXPECT_EQ(ParameterFromText(text, kRange), std::nullopt) << text;
    }
}

TEST(ParameterText, EveryNumberThatAFieldShowsIsTaken) {
    for (const ParameterRange& range : kParameterRanges) {
        const int steps = range.decimals == 4 ? 10000 : range.decimals == 3 ? 500 : 190;
        for (int i = 0; i <= steps; ++i) {
            double unit = 1.0;
            for (int d = 0; d < range.decimals; ++d) unit *= 10.0;
            const double value = i / unit;
            if (static_cast<float>(value) < range.minimum || static_cast<float>(value) > range.maximum) continue;
            EXPECT_EQ(ParameterFromText(wxString::FromCDouble(value, range.decimals), range),
                      static_cast<float>(value));
        }
    }
}

TEST(PositiveNumber, IsTypedWithEitherSeparatorAndIsAboveZero) {
    EXPECT_EQ(PositiveNumberFromText("1.488"), 1.488);
    EXPECT_EQ(PositiveNumberFromText(" 1,488 "), 1.488);
    EXPECT_EQ(PositiveNumberFromText("2e2"), 200.0);
    for (const char* const text : {"", "0", "-1", "nm", "1 nm", "inf", "nan", "1,000.5"}) {
        EXPECT_EQ(PositiveNumberFromText(text), std::nullopt) << text;
    }
}

}  // namespace
