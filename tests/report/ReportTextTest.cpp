#include "ReportText.h"

#include <gtest/gtest.h>

#include <limits>

namespace Korvane {
namespace {

TEST(ReportText, WritesNumbersWithAPoint) {
    EXPECT_EQ(FixedText(3.14159, 2), "3.14");
    EXPECT_EQ(FixedText(std::nullopt, 2), "");
    EXPECT_EQ(FixedText(std::numeric_limits<double>::infinity(), 2), "");
    EXPECT_EQ(TableNumber(1234.56789), "1234.568");
    EXPECT_EQ(TableNumber(5.0), "5");
    EXPECT_EQ(IntervalText(Interval{1.25, 2.0}, 1), "1.2 to 2.0");
}

TEST(ReportText, QuotesFieldsThatNeedIt) {
    EXPECT_EQ(CsvLine({"a", "b,c", "d\"e", "f\ng", ""}), "a,\"b,c\",\"d\"\"e\",\"f\ng\",\r\n");
}

TEST(ReportText, WritesBytesAsText) {
    const auto encoded = [](const std::string& text) { return Base64(text); };
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("\xff\xfe\xfd"), "//79");
}

TEST(ReportText, CountsThings) {
    EXPECT_EQ(Counted(1, "image"), "1 image");
    EXPECT_EQ(Counted(0, "image"), "0 images");
}

}  // namespace
}  // namespace Korvane
