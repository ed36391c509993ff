#include "AnalysisParameters.h"

#include <array>
#include <charconv>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "NominalSizes.h"
#include "support/TestData.h"

namespace {

using Korvane::AnalysisParameters;
using Korvane::kParameterRanges;
using Korvane::ParameterRange;

/// The batch tool's options, in the order of kParameterRanges.
constexpr std::array<const char*, kParameterRanges.size()> kOptions{
    "--edge-contrast", "--area-fraction", "--roundness", "--max-cluster-size", "--exosome-size", "--min-diameter"};

std::string Number(float value) {
    std::array<char, 64> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

std::string Label(const ParameterRange& range) {
    const std::string label = range.label;
    return label.substr(0, label.size() - 1);
}

std::string Limits(const ParameterRange& range) { return Number(range.minimum) + " to " + Number(range.maximum); }

std::string Default(const ParameterRange& range) { return Number(AnalysisParameters().*range.field); }

std::vector<std::string> LinesStartingWith(const std::string& file, const std::string& start) {
    std::ifstream stream(korvane_test::SourceFile("docs/" + file));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind(start, 0) == 0) lines.push_back(line);
    }
    return lines;
}

TEST(AnalysisParameters, EachHasItsRangeOnceAndADefaultInside) {
    std::set<std::string> labels;
    std::set<const void*> fields;
    AnalysisParameters parameters;
    for (const ParameterRange& range : kParameterRanges) {
        EXPECT_TRUE(labels.insert(range.label).second) << range.label;
        EXPECT_TRUE(fields.insert(&(parameters.*range.field)).second) << range.label;
        EXPECT_EQ(std::string(range.label).back(), ':');
        EXPECT_LE(range.minimum, parameters.*range.field) << range.label;
        EXPECT_GE(range.maximum, parameters.*range.field) << range.label;
    }
    EXPECT_EQ(fields.size() * sizeof(float), sizeof(AnalysisParameters)) << "a parameter has no range";
}

TEST(AnalysisParameters, TheLargestSizeLeavesAScale) {
    for (const ParameterRange& range : kParameterRanges) {
        if (range.field != &AnalysisParameters::relativeExosomeSize) continue;
        EXPECT_LT(static_cast<double>(range.maximum), Korvane::kScaleReach);
        return;
    }
    FAIL() << "the size of exosomes has no range";
}

TEST(AnalysisParameters, TheManualStatesRangeAndDefaultAsTheDialogShowsThem) {
    for (const ParameterRange& range : kParameterRanges) {
        const std::string start = "| " + Label(range) + " | ";
        const std::vector<std::string> lines = LinesStartingWith("MANUAL.md", start);
        ASSERT_EQ(lines.size(), 1u) << start;
        const std::string wanted = start + Limits(range) + " | " + Default(range) + " | ";
        EXPECT_EQ(lines[0].substr(0, wanted.size()), wanted);
    }
}

TEST(AnalysisParameters, TheManualStatesRangeAndDefaultOfEachOption) {
    for (std::size_t i = 0; i < kParameterRanges.size(); ++i) {
        const ParameterRange& range = kParameterRanges[i];
        const std::string start = std::string("| `") + kOptions[i] + "` | ";
        const std::vector<std::string> lines = LinesStartingWith("MANUAL.md", start);
        ASSERT_EQ(lines.size(), 1u) << start;
        const bool isLength = range.field == &AnalysisParameters::minObjectDiameterUm;
        const std::string wanted =
            start + Limits(range) + (isLength ? " \xC2\xB5m | " : " | ") + Default(range) + " | ";
        EXPECT_EQ(lines[0].substr(0, wanted.size()), wanted);
    }
}

TEST(AnalysisParameters, TheBatchReferenceStatesRangeAndDefaultOfEachOption) {
    for (std::size_t i = 0; i < kParameterRanges.size(); ++i) {
        const ParameterRange& range = kParameterRanges[i];
        const std::vector<std::string> lines = LinesStartingWith("BATCH.md", std::string("| `") + kOptions[i] + "` | ");
        ASSERT_EQ(lines.size(), 1u) << kOptions[i];
        EXPECT_NE(lines[0].find(Limits(range) + ", default " + Default(range)), std::string::npos) << lines[0];
    }
}

}  // namespace
