#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "VoxelImage.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

// What the manual says of results, by which people read them in other programs.

namespace korvane_test {

namespace {

class ManualStatements : public ::testing::Test {
protected:
    std::string File(const std::string& name) const { return folder_.File(name); }

    /// The labels that detection finds in a drawn image.
    qvox::LabelImage Detected() {
        qvox::SaveImageFile(File("a.tif"), Vesicles(1, 320, 260));
        EXPECT_EQ(RunProgram({"detect", "--overwrite", File("a.tif")}).status, 0);
        qvox::LabelImage labels;
        qvox::LoadImageFile(File("seg_a.tif"), labels);
        return labels;
    }

    /// One label in two squares.
    void SaveTwoPieces() {
        qvox::LabelImage labels = TwoSquares();
        for (std::uint16_t& label : labels) label = label == 0 ? std::uint16_t{0} : std::uint16_t{7};
        qvox::SaveImageFile(File("a.tif"), Vesicles(1));
        qvox::SaveImageFile(File("seg_a.tif"), labels);
    }

    static std::vector<std::string> Lines(const std::string& text) {
        std::istringstream stream(text);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) lines.push_back(line);
        return lines;
    }

    TemporaryFolder folder_;
};

std::size_t LabelsOf(const qvox::LabelImage& labels) {
    const std::set<std::uint16_t> all(labels.begin(), labels.end());
    return all.size() - all.count(0);
}

TEST_F(ManualStatements, NoObjectTouchesTheFrameAndCutOnesReachThePixelNextToIt) {
    const qvox::LabelImage labels = Detected();
    ASSERT_GT(LabelsOf(labels), 0u);
    const std::uint64_t right = labels.SizeX() - 1;
    const std::uint64_t bottom = labels.SizeY() - 1;
    std::size_t beside = 0;
    for (std::uint64_t x = 0; x <= right; ++x) {
        EXPECT_EQ(labels(x, 0), 0) << x;
        EXPECT_EQ(labels(x, bottom), 0) << x;
        if (labels(x, 1) != 0 || labels(x, bottom - 1) != 0) ++beside;
    }
    for (std::uint64_t y = 0; y <= bottom; ++y) {
        EXPECT_EQ(labels(0, y), 0) << y;
        EXPECT_EQ(labels(right, y), 0) << y;
        if (labels(1, y) != 0 || labels(right - 1, y) != 0) ++beside;
    }
    EXPECT_GT(beside, 0u) << "the image has a vesicle that is cut";
}

TEST_F(ManualStatements, LabelFilesLookBlack) {
    const qvox::LabelImage labels = Detected();
    EXPECT_LE(*std::max_element(labels.begin(), labels.end()), LabelsOf(labels) + 1) << "of 65535 grey levels";
}

TEST_F(ManualStatements, ALabelInTwoPiecesHasTwoRows) {
    SaveTwoPieces();
    EXPECT_EQ(Lines(RunProgram({"measure", File("a.tif")}).output).size(), 3u) << "with the header";
}

TEST_F(ManualStatements, OnlyTheHeaderOfTheTableEndsInATab) {
    SaveTwoPieces();
    const std::vector<std::string> lines = Lines(RunProgram({"measure", File("a.tif")}).output);
    ASSERT_EQ(lines.size(), 3u);
    const auto tabs = [](const std::string& line) { return std::count(line.begin(), line.end(), '\t'); };
    EXPECT_EQ(lines[0].back(), '\t');
    for (const std::size_t row : {std::size_t{1}, std::size_t{2}}) {
        EXPECT_NE(lines[row].back(), '\t');
        EXPECT_EQ(tabs(lines[row]), tabs(lines[0]) - 1) << "one column more is announced than there are";
    }
}

TEST_F(ManualStatements, ALargerMinDiameterDropsMoreObjectsOfSegmentation) {
    Detected();
    std::vector<std::size_t> kept;
    for (const char* const diameter : {"0", "0.05", "0.5"}) {
        const std::string folder = File(diameter);
        const ProgramResult run = RunProgram(
            {"segment", "--min-diameter", diameter, "--labels", folder_.Path().string(), "-o", folder, File("a.tif")});
        ASSERT_EQ(run.status, 0) << run.messages;
        qvox::LabelImage labels;
        qvox::LoadImageFile(folder + "/seg_a.tif", labels);
        kept.push_back(LabelsOf(labels));
    }
    EXPECT_GT(kept[0], 0u);
    EXPECT_LE(kept[1], kept[0]);
    EXPECT_EQ(kept[2], 0u) << "no exosome is 500 nm wide";
}

}  // namespace

}  // namespace korvane_test
