#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

/// Three images of two squares each, in two folders.
class Report : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* const name : {"early/1.tif", "early/2.tif", "late/1.tif"}) {
            const fs::path image = folder_.Path() / "images" / name;
            fs::create_directories(image.parent_path());
            qvox::SaveImageFile(image.string(), Vesicles(1));
            qvox::SaveImageFile((image.parent_path() / ("seg_" + image.filename().string())).string(), TwoSquares());
        }
    }
    std::string In(const std::string& name) const { return folder_.File(name); }
    ProgramResult Run(const std::vector<std::string>& options) const {
        std::vector<std::string> arguments{"report"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.insert(arguments.end(), {In("images/early"), In("images/late")});
        return RunProgram(arguments);
    }

    TemporaryFolder folder_;
};

TEST_F(Report, PutsTheImagesTogetherByFolder) {
    const ProgramResult run = Run({"-o", In("out"), "--group-by", "folder"});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.messages.find("The report is '" + In("out/report.html") + "'."), std::string::npos) << run.messages;
    const std::string summary = Contents(In("out/summary.csv"));
    EXPECT_NE(summary.find("\r\nall,,,3,6,6,0,"), std::string::npos) << summary;
    EXPECT_NE(summary.find("\r\ngroup,early,early,2,4,4,"), std::string::npos) << summary;
    EXPECT_NE(summary.find("\r\nimage," + In("images/late/1.tif") + ",late,1,2,2,"), std::string::npos) << summary;
    EXPECT_NE(Contents(In("out/report.html")).find("no record: drawn or changed by hand"), std::string::npos);
}

TEST_F(Report, IsTheSameForAnyNumberOfJobs) {
    ASSERT_EQ(Run({"-o", In("one"), "--jobs", "1"}).status, 0);
    ASSERT_EQ(Run({"-o", In("four"), "--jobs", "4"}).status, 0);
    for (const char* const name : {"report.html", "objects.csv", "summary.csv", "bins.csv", "figures/boxes.dat"}) {
        EXPECT_EQ(Contents(In("one/") + name), Contents(In("four/") + name)) << name;
        EXPECT_FALSE(Contents(In("one/") + name).empty()) << name;
    }
}

TEST_F(Report, IsReplacedOnlyWhenAsked) {
    ASSERT_EQ(Run({"-o", In("out")}).status, 0);
    const ProgramResult refused = Run({"-o", In("out"), "--bin-nm", "5"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.messages.find("exists already; --overwrite replaces a report."), std::string::npos)
        << refused.messages;
    ASSERT_EQ(Run({"-o", In("out"), "--bin-nm", "5", "--overwrite"}).status, 0);
    EXPECT_NE(Contents(In("out/figures/histogram.gnuplot")).find("objects per bin of 5 nm"), std::string::npos);
}

TEST_F(Report, SaysWhichImagesAreLeftOutAndWhy) {
    fs::remove(In("images/early/seg_2.tif"));
    qvox::SaveImageFile(In("images/late/1.tif"), Vesicles(1, 96, 80, 0.0f));
    const ProgramResult run = Run({"-o", In("out")});
    EXPECT_EQ(run.status, 1);
    const std::string page = Contents(In("out/report.html"));
    EXPECT_NE(page.find("there is no &#39;" + In("images/early/seg_2.tif")), std::string::npos);
    EXPECT_NE(page.find("it has no pixel size; --pixel-size-if-missing gives one"), std::string::npos);
    EXPECT_NE(page.find("1 of 3 images are part of this report"), std::string::npos);
    EXPECT_EQ(Run({"-o", In("out"), "--overwrite", "--pixel-size-if-missing", "2"}).status, 0);
}

TEST_F(Report, WarnsOfLabelsThatWereMadeWithOtherParametersThanThoseOfTheFile) {
    std::ofstream(In("p.json")) << "{\"areaFraction\": 0.2}";
    const auto warnings = [this](const std::string& fraction) {
        RunProgram({"detect", "--overwrite", "--pixel-size", "2", "--area-fraction", fraction, In("images/late")});
        const ProgramResult run =
            RunProgram({"report", "-o", In("out"), "--overwrite", "--parameters", In("p.json"), In("images/late"),
                        In("images/early/1.tif")});
        EXPECT_NE(run.messages.find("early/1.tif' has labels of which no record tells"), std::string::npos)
            << run.messages;
        return run.messages;
    };
    const std::string others = warnings("0.3");
    EXPECT_NE(others.find("late/1.tif' has labels that were not made with '" + In("p.json") + "': "), std::string::npos)
        << others;
    EXPECT_NE(others.find("0.3, now 0.2"), std::string::npos) << others;
    EXPECT_EQ(warnings("0.2").find("that were not made with"), std::string::npos);
}

TEST_F(Report, IsNotMadeOfNothing) {
    for (const char* const name : {"early/seg_1.tif", "early/seg_2.tif", "late/seg_1.tif"}) {
        fs::remove(In("images/") + name);
    }
    EXPECT_EQ(Run({"-o", In("out")}).status, 1);
    EXPECT_FALSE(fs::exists(In("out/report.html")));
}

TEST_F(Report, TakesGroupsFromATable) {
    std::ofstream(In("groups.csv")) << "image,group\nearly/1.tif,x\n2.tif,y\nlate/1.tif,y\n";
    ASSERT_EQ(Run({"-o", In("out"), "--group-by", In("groups.csv")}).status, 0);
    EXPECT_NE(Contents(In("out/summary.csv")).find("\r\ngroup,y,y,2,4,4,"), std::string::npos);
    std::ofstream(In("groups.csv")) << "image,group\nearly/1.tif,x\n2.tif,y\n";
    const ProgramResult refused = Run({"-o", In("other"), "--group-by", In("groups.csv")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.messages.find("has no group for '" + In("images/late/1.tif")), std::string::npos)
        << refused.messages;
    EXPECT_EQ(Run({"-o", In("other"), "--group-by", In("absent.csv")}).status, 2);
    EXPECT_FALSE(fs::exists(In("other")));
}

TEST_F(Report, TellsHowTheLabelsWereMadeAndWhatCounts) {
    ASSERT_EQ(RunProgram({"detect", "-o", In("labels"), "--area-fraction", "0.25", "--region", "0,0,90,80",
                          In("images/early")})
                  .status,
              0);
    const ProgramResult run = RunProgram({"report", "-o", In("out"), "--labels", In("labels"), "--diameter",
                                          "rim_diameter_nm", "--max-diameter-nm", "90", In("images/early")});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.messages.find("was analysed with '--region 0,0,90,80'. With the same options here"),
              std::string::npos)
        << run.messages;
    const std::string page = Contents(In("out/report.html"));
    EXPECT_NE(page.find("Area fraction (alpha) 0.25"), std::string::npos);
    EXPECT_NE(page.find("<td>region 0,0,90,80</td><td>2</td>"), std::string::npos);
    EXPECT_NE(page.find("diameter at the middle of the rim"), std::string::npos);
    EXPECT_NE(page.find("up to 90 nm"), std::string::npos);
}

}  // namespace

}  // namespace korvane_test
