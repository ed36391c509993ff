#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "MeasurementTable.h"
#include "batch/ProgramRunner.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

TEST(MergeOfRows, ThatComeTwiceInOnePartIsRefused) {
    const TemporaryFolder folder;
    const auto merged = [&folder](const std::string& header, const std::string& separator,
                                  const std::vector<std::string>& labels) {
        std::ofstream table(folder.File("part"), std::ios::binary);
        table << header << "\n";
        for (const std::string& label : labels) table << "/in/a.tif" << separator << label << "\n";
        table.close();
        return RunProgram({"merge", "--overwrite", "-o", folder.File("all"), folder.File("part")});
    };
    const ProgramResult twice = merged("image,label", ",", {"1", "2", "1", "2"});
    EXPECT_EQ(twice.status, 1);
    EXPECT_NE(twice.messages.find("The rows of '/in/a.tif' come twice in '" + folder.File("part") + "'.\n"),
              std::string::npos)
        << twice.messages;
    EXPECT_FALSE(fs::exists(folder.File("all")));
    EXPECT_EQ(merged("image,label", ",", {"3", "3"}).status, 1);
    EXPECT_EQ(merged("image,label", ",", {"1", "2", "30"}).status, 0);
    EXPECT_EQ(merged("image,area_nm2", ",", {"2", "1"}).status, 0) << "without a column of labels nothing is known";
    // A label of several pieces has several rows of the measurement table.
    EXPECT_EQ(merged(Korvane::MeasurementHeader(), "\t", {"1", "2", "2", "3"}).status, 0);
    EXPECT_EQ(merged(Korvane::MeasurementHeader(), "\t", {"1", "2", "1", "2"}).status, 1);
}

TEST(MergeOfRows, TakesMorePartsThanFilesMayUsuallyBeOpen) {
    constexpr int kParts = 150;
    constexpr rlim_t kOpenFiles = 100;
    const TemporaryFolder folder;
    std::vector<std::string> arguments{"merge", "-o", folder.File("all")};
    std::string rows;
    for (int part = 0; part < kParts; ++part) {
        const std::string row = "/in/" + std::to_string(part) + ".tif,1\n";
        arguments.push_back(folder.File("part" + std::to_string(part)));
        std::ofstream(arguments.back(), std::ios::binary) << "image,label\n" << row;
        rows += row;
    }
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit few{kOpenFiles, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const ProgramResult run = RunProgram(arguments);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(folder.File("all")), "image,label\n" + rows);
}

TEST(MergeOfRows, OfTwoRegionsOrGivenPixelSizesAreRefused) {
    const TemporaryFolder folder;
    const auto merged = [&folder](const std::string& first, const std::string& second) {
        std::ofstream table(folder.File("part"), std::ios::binary);
        table << "image,label,pixel_size_nm,pixel_size_source,prepared\n/in/a.tif,1," << first << "\n/in/b.tif,1,"
              << second << "\n";
        table.close();
        return RunProgram({"merge", "--overwrite", "-o", folder.File("all"), folder.File("part")});
    };
    const ProgramResult regions = merged("2,TIFF,\"region 0,0,9,9; 5 pixels filled\"", "2,TIFF,\"region 0,0,9,8\"");
    EXPECT_EQ(regions.status, 1);
    EXPECT_NE(
        regions.messages.find("The rows of '/in/b.tif' in '" + folder.File("part") +
                              "' are measured with region 0,0,9,8, the first ones measured with region 0,0,9,9.\n"),
        std::string::npos)
        << regions.messages;
    EXPECT_EQ(merged("2,TIFF,\"region 0,0,9,9; 5 pixels filled\"", "3,TIFF,\"region 0,0,9,9; 7 pixels filled\"").status,
              0);
    EXPECT_EQ(merged("2,TIFF,5 pixels filled", "3,TIFF,").status, 0);
    EXPECT_EQ(merged("2,--pixel-size-if-missing,", "3,--pixel-size-if-missing,").status, 1);
    EXPECT_EQ(merged("2,--pixel-size-if-missing,", "3,TIFF,").status, 0);
    EXPECT_EQ(merged("2,--pixel-size,", "3,TIFF,").status, 1);
}

}  // namespace

}  // namespace korvane_test
