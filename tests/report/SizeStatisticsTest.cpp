#include "SizeStatistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "RunProgram.h"
#include "SizeBins.h"
#include "ToolkitError.h"

namespace Korvane {
namespace {

constexpr double kBinWidth = 5.0;
const std::string kFolder = KORVANE_REPORT_TESTS;

/// The same numbers as in reference_statistics.
std::vector<double> Sizes(int count, int power) {
    std::vector<double> sizes;
    std::uint64_t x = 12345;
    for (int i = 0; i < count; ++i) {
        x = (1103515245 * x + 12345) % (std::uint64_t{1} << 31U);
        const double u = static_cast<double>(x >> 8U) / 8388608.0;
        sizes.push_back(20.0 + 100.0 * (power == 1 ? u : u * u * u));
    }
    std::sort(sizes.begin(), sizes.end());
    return sizes;
}

using Values = std::map<std::string, double>;

Values Computed(const std::vector<double>& sizes) {
    const SizeStatistics s = StatisticsOf(sizes, kBinWidth);
    const LogNormalFit& fit = *s.logNormal;
    Values values{{"mean", *s.mean},
                  {"sd", *s.sd},
                  {"sem", *s.sem},
                  {"mean_low", s.meanInterval->low},
                  {"mean_high", s.meanInterval->high},
                  {"median", *s.median},
                  {"median_low", s.medianInterval->low},
                  {"median_high", s.medianInterval->high},
                  {"d10", *s.d10},
                  {"d90", *s.d90},
                  {"cv", *s.cv},
                  {"skewness", *s.skewness},
                  {"geometric_mean", fit.geometricMean},
                  {"geometric_mean_low", fit.meanInterval.low},
                  {"geometric_mean_high", fit.meanInterval.high},
                  {"geometric_sd", fit.geometricSd},
                  {"geometric_sd_low", fit.sdInterval.low},
                  {"geometric_sd_high", fit.sdInterval.high},
                  {"share_below_50", ShareBelow(fit, 50.0)},
                  {"density_at_50", DensityAt(fit, 50.0)},
                  {"needed_for_mean", static_cast<double>(*s.neededForMean)},
                  {"needed_for_d90", static_cast<double>(*s.neededForD90)}};
    if (fit.probability) {
        values["anderson_darling"] = fit.andersonDarling;
        values["probability"] = *fit.probability;
    }
    return values;
}

/// Lines of "DATA NAME VALUE".
std::map<std::string, Values> Parsed(const std::string& text) {
    std::map<std::string, Values> parsed;
    std::istringstream lines(text);
    std::string data;
    std::string name;
    std::string value;
    while (lines >> data >> name >> value) parsed[data][name] = std::stod(value);
    return parsed;
}

void ExpectAgreement(const std::map<std::string, Values>& reference) {
    const std::map<std::string, std::vector<double>> data{
        {"three", Sizes(3, 1)}, {"even", Sizes(40, 1)}, {"askew", Sizes(257, 3)}};
    ASSERT_EQ(reference.size(), data.size());
    for (const auto& [name, sizes] : data) {
        const Values computed = Computed(sizes);
        const Values& wanted = reference.at(name);
        ASSERT_EQ(computed.size(), wanted.size()) << name;
        for (const auto& [key, value] : wanted) {
            ASSERT_EQ(computed.count(key), 1u) << key;
            EXPECT_NEAR(computed.at(key) / value, 1.0, 1e-9) << name << " " << key;
        }
    }
}

TEST(SizeStatistics, AgreeWithTheStoredValuesOfSciPy) {
    std::ifstream file(kFolder + "/reference_statistics.txt");
    std::stringstream text;
    text << file.rdbuf();
    ExpectAgreement(Parsed(text.str()));
}

TEST(SizeStatistics, AgreeWithSciPyWhereItIsInstalled) {
    constexpr std::chrono::milliseconds kLimit{120000};
    const std::string python = "/usr/bin/python3";
    try {
        if (RunProgram({python, "-c", "import scipy"}, "/", kLimit).status != 0) GTEST_SKIP() << "there is no SciPy";
    } catch (const qvox::ToolkitError&) {
        GTEST_SKIP() << "there is no Python";
    }
    const ProgramEnd ended = RunProgram({python, kFolder + "/reference_statistics"}, "/", kLimit);
    ASSERT_EQ(ended.status, 0) << ended.output;
    ExpectAgreement(Parsed(ended.output));
}

TEST(SizeStatistics, SayNothingOfNothing) {
    const SizeStatistics none = StatisticsOf({}, kBinWidth);
    EXPECT_EQ(none.n, 0u);
    EXPECT_FALSE(none.mean || none.median || none.mode || none.sd || none.logNormal);
}

TEST(SizeStatistics, SayNoMoreOfOneSizeThanThereIs) {
    const SizeStatistics one = StatisticsOf({62.0}, kBinWidth);
    EXPECT_EQ(*one.mean, 62.0);
    EXPECT_EQ(*one.median, 62.0);
    EXPECT_EQ(*one.d90, 62.0);
    EXPECT_EQ(*one.mode, 62.5);
    EXPECT_FALSE(one.sd || one.meanInterval || one.medianInterval || one.skewness || one.logNormal);
}

TEST(SizeStatistics, HaveNoShapeForEqualSizes) {
    const SizeStatistics equal = StatisticsOf({50.0, 50.0, 50.0, 50.0}, kBinWidth);
    EXPECT_EQ(*equal.sd, 0.0);
    EXPECT_EQ(equal.meanInterval->low, 50.0);
    EXPECT_EQ(equal.medianInterval->high, 50.0);
    EXPECT_FALSE(equal.skewness || equal.logNormal || equal.neededForMean);
}

TEST(SizeStatistics, AskForNoMoreSizesWhereTheSpreadIsSmall) {
    std::vector<double> narrow;
    for (int i = 0; i < 50; ++i) narrow.push_back(100.0 + 0.1 * i);
    EXPECT_LT(*StatisticsOf(narrow, kBinWidth).neededForMean, 5u);
    EXPECT_GT(*StatisticsOf(Sizes(40, 1), kBinWidth).neededForD90, 100u);
}

TEST(Quantile, LiesBetweenTheSizes) {
    const std::vector<double> sizes{10.0, 20.0, 40.0};
    EXPECT_EQ(Quantile(sizes, 0.0), 10.0);
    EXPECT_EQ(Quantile(sizes, 0.25), 15.0);
    EXPECT_EQ(Quantile(sizes, 0.5), 20.0);
    EXPECT_EQ(Quantile(sizes, 0.75), 30.0);
    EXPECT_EQ(Quantile(sizes, 1.0), 40.0);
}

TEST(SizeBins, BeginAtMultiplesOfTheirWidthAndHoldTheirLowerEnds) {
    const std::vector<SizeBin> bins = BinsOf({19.9, 20.0, 24.9, 35.0}, 5.0);
    ASSERT_EQ(bins.size(), 5u);
    EXPECT_EQ(bins[0].from, 15.0);
    EXPECT_EQ(bins[0].count, 1u);
    EXPECT_EQ(bins[1].count, 2u);
    EXPECT_EQ(bins[2].count, 0u);
    EXPECT_EQ(bins[4].from, 35.0);
    EXPECT_EQ(bins[4].to, 40.0);
    EXPECT_EQ(bins[4].count, 1u);
}

TEST(SizeBins, RefuseToBeCountless) { EXPECT_THROW(BinsOf({1.0, 100.0}, 1e-6), qvox::ToolkitError); }

TEST(SizeBins, HaveTheFirstOfTheFullestAsMode) {
    EXPECT_EQ(ModeOf(BinsOf({11.0, 22.0, 23.0, 36.0, 37.0}, 10.0)), 25.0);
}

TEST(SizeBins, HaveARoundWidthByTheSpread) {
    // Quarters at 45 and 95: 2 x 50 / 40^(1/3) = 29.2.
    std::vector<double> sizes;
    for (int i = 0; i < 40; ++i) sizes.push_back(20.0 + i * 100.0 / 39.0);
    EXPECT_EQ(UsualBinWidth(sizes), 50.0);
    for (double& size : sizes) size /= 1000.0;
    EXPECT_NEAR(UsualBinWidth(sizes), 0.05, 1e-12);
    EXPECT_EQ(UsualBinWidth({50.0, 50.0}), 10.0);
    EXPECT_EQ(UsualBinWidth({}), 10.0);
}

}  // namespace
}  // namespace Korvane
