#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

class Import : public ::testing::Test {
protected:
    std::string File(const std::string& name) const { return folder_.File(name); }
    std::string SaveImage(const std::string& name) {
        qvox::SaveImageFile(File(name), Vesicles(1));
        return File(name);
    }
    /// The labels of TwoSquares as floats, times `factor`.
    void SaveForeign(const std::string& name, float factor) {
        const qvox::LabelImage squares = TwoSquares();
        qvox::VoxelImage<float> foreign;
        foreign.Resize(squares.SizeX(), squares.SizeY(), 1);
        for (std::uint64_t i = 0; i < squares.VoxelCount(); ++i) foreign[i] = factor * static_cast<float>(squares[i]);
        qvox::SaveImageFile(File(name), foreign);
    }
    TemporaryFolder folder_;
};

TEST_F(Import, MakesResultFilesThatTheOtherCommandsRead) {
    const std::string image = SaveImage("a.tif");
    SaveImage("b.tif");
    SaveForeign("a_labels.tif", 1.0f);
    const ProgramResult run = RunProgram({"import", "--pattern", "{stem}_labels.tif", folder_.Path().string()});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.messages.find("is left out: there is no '" + File("b_labels.tif") + "'."), std::string::npos);
    EXPECT_NE(run.messages.find("1 file of a folder left out: 1 by name patterns."), std::string::npos)
        << "label files are no images: " << run.messages;
    qvox::LabelImage labels;
    qvox::LoadImageFile(File("seg_a.tif"), labels);
    const qvox::LabelImage squares = TwoSquares();
    EXPECT_TRUE(std::equal(labels.begin(), labels.end(), squares.begin()));
    EXPECT_EQ(labels.Resolution().x, 672.0f) << "the image's own";
    const std::string imported = RunProgram({"measure", image}).output;
    qvox::SaveImageFile(File("seg_a.tif"), squares);
    EXPECT_EQ(imported, RunProgram({"measure", image}).output);
}

TEST_F(Import, LabelsBeyondTheLargestAreRefused) {
    const std::string image = SaveImage("a.tif");
    fs::create_directory(File("theirs"));
    SaveForeign("theirs/a-mask.tif", 100.0f);
    const ProgramResult run = RunProgram({"import", "--pattern", "{stem}-mask.tif", "--labels", File("theirs"), image});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("holds 2 labels up to 70000; 65535 is the largest label."), std::string::npos)
        << run.messages;
    EXPECT_FALSE(fs::exists(File("seg_a.tif")));
}

TEST_F(Import, LabelsOfOtherSizesAreRefusedWithBoth) {
    const std::string image = SaveImage("a.tif");
    qvox::SaveImageFile(File("a_x.tif"), TwoSquares(95, 80));
    const ProgramResult run = RunProgram({"import", "--pattern", "{stem}_x.tif", image});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("error: Cannot import '" + File("a_x.tif") + "'! (Inconsistent image size)\n" +
                                "It has 95 x 80 pixels; wanted are the image's 96 x 80."),
              std::string::npos)
        << run.messages;
}

TEST_F(Import, ExistingLabelsAreReplacedOnlyByOverwrite) {
    const std::string image = SaveImage("a.tif");
    SaveForeign("a_x.tif", 2.0f);
    qvox::SaveImageFile(File("seg_a.tif"), TwoSquares());
    const std::string before = Contents(File("seg_a.tif"));
    EXPECT_EQ(RunProgram({"import", "--pattern", "{stem}_x.tif", image}).status, 0);
    EXPECT_EQ(Contents(File("seg_a.tif")), before);
    EXPECT_EQ(RunProgram({"import", "--overwrite", "--pattern", "{stem}_x.tif", image}).status, 0);
    EXPECT_NE(Contents(File("seg_a.tif")), before);
}

TEST_F(Import, IsRecordedWithTheFileThatTheLabelsWereMadeFrom) {
    const std::string image = SaveImage("a.tif");
    SaveImage("b.tif");
    SaveForeign("a_x.tif", 1.0f);
    SaveForeign("b_x.tif", 200.0f);
    SaveImage("c.tif");
    EXPECT_EQ(RunProgram({"import", "--pattern", "{stem}_x.tif", folder_.Path().string()}).status, 1);
    const auto printed = [this] {
        return nlohmann::json::parse(RunProgram({"record", folder_.Path().string()}).output);
    };
    const nlohmann::json document = printed();
    EXPECT_EQ(document.dump(), nlohmann::json::parse(Contents(File("korvane-run.json"))).dump());
    EXPECT_EQ(document.at("command"), "import");
    EXPECT_TRUE(document.at("parameters").is_null());
    const nlohmann::json& made = document.at("images").at(0);
    EXPECT_EQ(made.at("labels"), File("seg_a.tif"));
    EXPECT_EQ(made.at("describesLabels"), true);
    EXPECT_EQ(made.at("command"), "import");
    EXPECT_EQ(made.at("objects"), 2);
    EXPECT_TRUE(made.at("parameters").is_null());
    EXPECT_EQ(made.at("input").at("bytes"), fs::file_size(image));
    EXPECT_EQ(made.at("imported").at("path"), File("a_x.tif"));
    EXPECT_EQ(made.at("imported").at("bytes"), fs::file_size(File("a_x.tif")));
    EXPECT_EQ(made.at("imported").at("sha256").get<std::string>().size(), 64u);
    EXPECT_EQ(document.at("images").at(1).at("result"), "failed");
    EXPECT_EQ(document.at("images").at(2).at("result"), "no label file");
}

TEST_F(Import, LabelsThatWereMadeOtherwiseAreAWarningAndFailStrictRuns) {
    const std::string image = SaveImage("a.tif");
    SaveForeign("a_x.tif", 1.0f);
    const std::vector<std::string> again{"import", "--pattern", "{stem}_x.tif", image};
    const std::vector<std::string> strict{"import", "--strict", "--pattern", "{stem}_x.tif", image};
    ASSERT_EQ(RunProgram(again).status, 0);
    EXPECT_EQ(RunProgram(strict).status, 0);
    EXPECT_NE(RunProgram({"detect", image}).messages.find("was made otherwise: command import, now detect. It is kept"),
              std::string::npos);
    SaveForeign("a_x.tif", 2.0f);
    const ProgramResult run = RunProgram(again);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.messages.find("was made otherwise: another imported file. It is kept"), std::string::npos)
        << run.messages;
    EXPECT_EQ(RunProgram(strict).status, 1);
}

TEST_F(Import, CharactersOfAPatternStandForThemselves) {
    // As a pattern of file names each would pass other images over, too, or not its own.
    for (const char* const mark : {"*", "?", "[1]"}) {
        const std::string pattern = std::string("{stem}_") + mark + ".tif";
        const std::string image = SaveImage("a.tif");
        const std::string other = SaveImage("a_1.tif");
        SaveForeign(std::string("a_") + mark + ".tif", 1.0f);
        const ProgramResult run = RunProgram({"import", "--overwrite", "--pattern", pattern, folder_.Path().string()});
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_TRUE(fs::exists(File("seg_a.tif"))) << mark;
        EXPECT_NE(run.messages.find("'" + other + "' is left out: there is no"), std::string::npos) << run.messages;
        EXPECT_NE(run.messages.find("1 file of a folder left out: 1 by name patterns."), std::string::npos)
            << run.messages;
        fs::remove(File("seg_a.tif"));
        fs::remove(File(std::string("a_") + mark + ".tif"));
    }
}

TEST_F(Import, APatternNamesTheStemOnceAndNoFolder) {
    const std::string image = SaveImage("a.tif");
    for (const char* pattern : {"labels.tif", "{stem}{stem}.tif", "x/{stem}.tif"}) {
        EXPECT_EQ(RunProgram({"import", "--pattern", pattern, image}).status, 2) << pattern;
    }
    const ProgramResult itself = RunProgram({"import", "--pattern", "{stem}.tif", image});
    EXPECT_EQ(itself.status, 1);
    EXPECT_NE(itself.messages.find("It is the image itself"), std::string::npos) << itself.messages;
}

}  // namespace

}  // namespace korvane_test
