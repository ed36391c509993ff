#include "Measures.h"
#include "support/TestData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Korvane;

std::vector<std::string> ManualLines() {
    std::ifstream file(korvane_test::SourceFile("docs/MEASUREMENTS.md"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

/// The anchor that a Markdown heading gets: lower case, "-" between the words. Empty for a line that is no heading.
std::string AnchorOf(const std::string& line) {
    if (line.rfind("## ", 0) != 0) return "";
    std::string anchor = line.substr(3);
    for (char& c : anchor) c = c == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return anchor;
}

std::string ManualRow(const Measure& measure) {
    const std::string unit = UnitText(measure.unit);
    std::string link = measure.manualAnchor;
    std::replace(link.begin(), link.end(), '-', ' ');
    return "| " + ColumnTitle(measure) + " | " + (unit.empty() ? "none" : unit) + " | " +
           std::to_string(measure.decimals) + " | [" + link + "](#" + measure.manualAnchor + ") |";
}

TEST(Measures, TheManualListsEveryOneWithUnitDecimalsAndFormula) {
    const std::vector<std::string> lines = ManualLines();
    auto line = std::find(lines.begin(), lines.end(), "| column | unit | decimals | formula |");
    ASSERT_NE(lines.end() - line, 0) << "the list of columns has gone from the manual";
    std::vector<std::string> listed;
    for (line += 2; line != lines.end() && !line->empty(); ++line) listed.push_back(*line);
    std::vector<std::string> wanted;
    for (const Measure& measure : Measures()) wanted.push_back(ManualRow(measure));
    EXPECT_EQ(listed, wanted);
}

TEST(Measures, TheFormulaOfEveryOneHasItsHeadingInTheManual) {
    std::multiset<std::string> anchors;
    for (const std::string& line : ManualLines()) anchors.insert(AnchorOf(line));
    for (const Measure& measure : Measures()) EXPECT_EQ(anchors.count(measure.manualAnchor), 1u) << measure.column;
}

TEST(Measures, NoTwoShareAColumnAndNoneHasMoreDecimalsThanThereIsRoomFor) {
    std::set<std::string> titles;
    for (const Measure& measure : Measures()) {
        EXPECT_TRUE(titles.insert(measure.column).second) << measure.column;
        EXPECT_GE(measure.decimals, 0) << measure.column;
        EXPECT_LE(measure.decimals, 15) << measure.column;
    }
}

TEST(Measures, TitlesNameTheUnit) {
    EXPECT_EQ(ColumnTitle({"Feret", Unit::kNm, 3, "", nullptr}), "Feret(nm)");
    EXPECT_EQ(ColumnTitle({"Hull", Unit::kNm2, 3, "", nullptr}), "Hull(nm^2)");
    EXPECT_EQ(ColumnTitle({"Convexity", Unit::kNone, 3, "", nullptr}), "Convexity");
}

TEST(ValueText, HasTheDecimalsOfTheMeasure) {
    const Measure area{"Area", Unit::kNm2, 3, "", [](const MeasuredObject& object) { return object.areaNm2; }};
    Measure whole = area;
    whole.decimals = 0;
    Measure fine = area;
    fine.decimals = 15;
    const auto text = [](const Measure& measure, double value) { return ValueText(measure, {1, 0.0, value}); };
    EXPECT_EQ(text(area, 0.99951), "1.000");
    EXPECT_EQ(text(area, 123456789.0625), "123456789.062");
    EXPECT_EQ(text(area, 1e21), "1000000000000000000000.000");
    EXPECT_EQ(text(whole, 65535.0), "65535");
    EXPECT_EQ(text(fine, -std::numeric_limits<double>::max()).size(), 1u + 309u + 1u + 15u);
}

TEST(ValueText, PrintsWhatIsNoNumberAsItIs) {
    const Measure roundness{"R", Unit::kNone, 3, "", [](const MeasuredObject& object) { return object.areaNm2; }};
    EXPECT_EQ(ValueText(roundness, {1, 0.0, std::numeric_limits<double>::infinity()}), "inf");
    EXPECT_EQ(ValueText(roundness, {1, 0.0, std::numeric_limits<double>::quiet_NaN()}), "nan");
}

}  // namespace
