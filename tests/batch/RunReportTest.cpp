#include "RunReport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "PathText.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

ImageFiles FilesIn(const std::string& folder, const std::string& name) {
    ImageFiles files;
    files.input = PathText("/in/" + name);
    files.labels = PathText(folder + "/seg_" + name);
    return files;
}

ImageOutcome Outcome(ImageState state) {
    ImageOutcome outcome;
    outcome.state = state;
    outcome.resolution = {500.0f, 250.0f, 0.0f};
    outcome.resolutionSource = "resolution tags";
    outcome.objectCount = 4;
    outcome.seconds = 1.25;
    if (state == ImageState::kFailed) outcome.error = "Cannot!";
    return outcome;
}

TEST(ReportText, HoldsTheRunAndEachImage) {
    RunReport report;
    report.record.command = "detect";
    report.started = "2020-01-02T03:04:05Z";
    report.images = {FilesIn("/o", "\xC2\xB5 \xFF.tif"), FilesIn("/o", "b.tif")};
    report.outcomes = {Outcome(ImageState::kDone), Outcome(ImageState::kFailed)};
    const auto json = nlohmann::json::parse(ReportText(report, "/o"));
    EXPECT_EQ(json.at("program"), "korvane-batch");
    EXPECT_FALSE(json.at("version").get<std::string>().empty());
    EXPECT_EQ(json.at("command"), "detect");
    EXPECT_EQ(json.at("started"), "2020-01-02T03:04:05Z");
    EXPECT_EQ(json.at("interrupted"), false);
    EXPECT_EQ(json.at("parameters").size(), 6u);
    EXPECT_EQ(json.at("parameters").at("areaFraction"), 0.15);
    const auto& done = json.at("images").at(0);
    EXPECT_EQ(done.at("result"), "done");
    EXPECT_EQ(done.at("objects"), 4);
    EXPECT_EQ(done.at("pixelSizeNm").at("x"), 2.0);
    EXPECT_EQ(done.at("pixelSizeNm").at("y"), 4.0);
    EXPECT_EQ(done.at("pixelSizeSource"), "resolution tags");
    EXPECT_EQ(done.at("seconds"), 1.25);
    EXPECT_FALSE(done.contains("error"));
    const auto& failed = json.at("images").at(1);
    EXPECT_EQ(failed.at("error"), "Cannot!");
    EXPECT_TRUE(failed.at("objects").is_null());
}

TEST(WriteReports, LeavesOneInEachFolderThatGotLabels) {
    const TemporaryFolder a;
    const TemporaryFolder b;
    const TemporaryFolder skipped;
    RunReport report;
    report.images = {FilesIn(a.Path().string(), "1.tif"), FilesIn(b.Path().string(), "2.tif"),
                     FilesIn(skipped.Path().string(), "3.tif")};
    report.outcomes = {Outcome(ImageState::kDone), Outcome(ImageState::kFailed), Outcome(ImageState::kSkipped)};
    EXPECT_TRUE(WriteReports(report).empty());
    std::ifstream file(a.File("korvane-run.json"));
    const auto json = nlohmann::json::parse(std::string(std::istreambuf_iterator<char>(file), {}));
    ASSERT_EQ(json.at("images").size(), 1u);
    EXPECT_EQ(json.at("images").at(0).at("path"), "/in/1.tif");
    EXPECT_TRUE(std::filesystem::exists(b.File("korvane-run.json")));
    EXPECT_FALSE(std::filesystem::exists(skipped.File("korvane-run.json")));
}

TEST(WriteReports, TellsWhatItCouldNotWrite) {
    RunReport report;
    report.images = {FilesIn("/nowhere/at/all", "1.tif")};
    report.outcomes = {Outcome(ImageState::kDone)};
    const std::vector<wxString> failures = WriteReports(report);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_TRUE(failures[0].Contains("/nowhere/at/all/korvane-run.json"));
}

}  // namespace

}  // namespace Korvane
