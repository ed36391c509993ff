#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

/// Squares of 10 x 10 pixels at these places, numbered from 1.
qvox::LabelImage Squares(const std::vector<std::pair<std::uint64_t, std::uint64_t>>& corners) {
    qvox::LabelImage labels = TwoSquares();
    labels.Zero();
    std::uint16_t label = 0;
    for (const auto& [x, y] : corners) {
        ++label;
        for (std::uint64_t i = 0; i < 100; ++i) labels(x + i % 10, y + i / 10) = label;
    }
    return labels;
}

/// One image with labels of which one is right, one false, one missing, and one true one at the edge.
class Compare : public ::testing::Test {
protected:
    Compare() {
        fs::create_directory(folder_.File("truth"));
        qvox::SaveImageFile(folder_.File("a.tif"), Vesicles(1));
        qvox::SaveImageFile(folder_.File("seg_a.tif"), Squares({{20, 20}, {60, 20}}));
        qvox::SaveImageFile(folder_.File("truth/seg_a.tif"), Squares({{22, 20}, {60, 50}, {0, 60}}));
    }
    ProgramResult Run(std::vector<std::string> options) const {
        options.insert(options.begin(), {"compare", "--truth", folder_.File("truth")});
        options.push_back(folder_.File("a.tif"));
        return RunProgram(options);
    }

    TemporaryFolder folder_;
};

TEST_F(Compare, ScoresTheImagesThatDidNotFailAndSaysSo) {
    std::ofstream(folder_.File("b.tif")) << "no image";
    const ProgramResult run = Run({"--json", folder_.File("s.json"), folder_.File("b.tif")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("the scores are those of the other 1."), std::string::npos) << run.messages;
    EXPECT_NE(run.output.find("Diameter, found - true: bias 0.00 nm (1 matched).\n"), std::string::npos) << run.output;
    EXPECT_EQ(nlohmann::json::parse(Contents(folder_.File("s.json"))).at("images").size(), 1u);
}

TEST_F(Compare, IsToldWhateverCannotBeWritten) {
    const ProgramResult run = Run({"--csv", "/dev/full", "--overwrite", "--json", folder_.File("s.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("(1 matched)"), std::string::npos) << run.output;
    EXPECT_EQ(nlohmann::json::parse(Contents(folder_.File("s.json"))).at("images").size(), 1u);
}

TEST_F(Compare, WritesScoresAndObjects) {
    const ProgramResult run =
        Run({"--json", folder_.File("s.json"), "--csv", folder_.File("s.csv"), "--objects", folder_.File("o.csv")});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.output.find("Diameter, found - true: bias 0.00 nm (1 matched).\n"), std::string::npos) << run.output;
    for (const char* const row :
         {" true  matched  missed  false  split  merged  precision  recall     F1  mean IoU     PQ\n",
          "    2        1       1      1      0       0      0.500   0.500  0.500     0.667  0.333\n"}) {
        EXPECT_NE(run.output.find(row), std::string::npos) << row << "in\n" << run.output;
    }
    const nlohmann::json json = nlohmann::json::parse(Contents(folder_.File("s.json")));
    EXPECT_EQ(json.at("all").at("matched"), 1);
    EXPECT_EQ(json.at("all").at("missed"), 1);
    EXPECT_EQ(json.at("all").at("false"), 1);
    EXPECT_DOUBLE_EQ(json.at("all").at("f1").get<double>(), 0.5);
    EXPECT_DOUBLE_EQ(json.at("all").at("mean_iou").get<double>(), 80.0 / 120.0);
    EXPECT_EQ(json.at("atEdge").at("missed"), 1);
    EXPECT_EQ(json.at("images").at(0).at("objects").size(), 4u);
    EXPECT_EQ(Contents(folder_.File("s.csv")).substr(0, 40), "image,true,matched,missed,false,split,me");
    EXPECT_NE(Contents(folder_.File("s.csv")).find("\nall,2,1,1,1,0,0,0.500000,0.500000,0.500000,0.666667,0.333333,1,"),
              std::string::npos);
    const std::string objects = Contents(folder_.File("o.csv"));
    EXPECT_NE(objects.find("a.tif,matched,1,1,0.666667,0,\n"), std::string::npos) << objects;
    EXPECT_NE(objects.find("a.tif,missed,3,,,1,\n"), std::string::npos) << objects;
    EXPECT_NE(run.messages.find("is compared without the stages at fault"), std::string::npos) << run.messages;
}

TEST_F(Compare, TheThresholdDecidesWhatMatches) {
    const ProgramResult run = Run({"--threshold", "0.7", "--no-stages", "--json", folder_.File("s.json")});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(nlohmann::json::parse(Contents(folder_.File("s.json"))).at("all").at("matched"), 0);
    EXPECT_EQ(Run({"--threshold", "0"}).status, 2);
    EXPECT_EQ(Run({"--threshold", "1.1"}).status, 2);
}

TEST_F(Compare, PaintsTheOverlayInThreeColours) {
    ASSERT_EQ(Run({"--overlay", "--no-stages", "-o", folder_.File("out"), "--labels", folder_.Path().string()}).status,
              0);
    qvox::VoxelImage<qvox::Rgb8> picture;
    qvox::LoadImageFile(folder_.File("out/compare_a.tif"), picture);
    EXPECT_EQ(picture(20, 20), (qvox::Rgb8{0, 158, 115})) << "matched";
    EXPECT_EQ(picture(60, 20), (qvox::Rgb8{204, 121, 167})) << "false";
    EXPECT_EQ(picture(60, 50), (qvox::Rgb8{230, 159, 0})) << "missed";
}

TEST_F(Compare, NamesTheStagesOfDetectionsOwnLabels) {
    ASSERT_EQ(RunProgram({"detect", "--overwrite", "--max-cluster-size", "0.2", folder_.File("a.tif")}).status, 0);
    const ProgramResult run = Run({"--json", folder_.File("s.json")});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.messages.find("without the stages"), std::string::npos) << run.messages;
    const nlohmann::json json = nlohmann::json::parse(Contents(folder_.File("s.json")));
    EXPECT_FALSE(json.at("images").at(0).contains("stagesUnknown"));
    std::size_t withStage = 0;
    for (const nlohmann::json& object : json.at("images").at(0).at("objects")) {
        EXPECT_EQ(object.at("stage").is_string(), object.at("result") != "matched") << object;
        withStage += object.at("stage").is_string() ? 1u : 0u;
    }
    EXPECT_GT(withStage, 0u);
}

TEST_F(Compare, TakesTheParametersOfLabelsWithoutARecord) {
    const std::vector<std::string> parameters{"--roundness", "1"};
    std::vector<std::string> detect{"detect", "--overwrite", folder_.File("a.tif")};
    detect.insert(detect.end(), parameters.begin(), parameters.end());
    ASSERT_EQ(RunProgram(detect).status, 0);
    for (const char* const record : {"korvane-record.jsonl", "korvane-run.json"}) fs::remove(folder_.File(record));
    EXPECT_NE(Run({}).messages.find("without the stages"), std::string::npos) << "made with other parameters";
    const ProgramResult run = Run(parameters);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.messages.find("without the stages"), std::string::npos) << run.messages;
}

TEST_F(Compare, NamesTheStagesWhereObjectsAreOnlyMissedOrOnlyFalse) {
    ASSERT_EQ(RunProgram({"detect", "--overwrite", "--max-cluster-size", "0.2", folder_.File("a.tif")}).status, 0);
    qvox::LabelImage found;
    qvox::LoadImageFile(folder_.File("seg_a.tif"), found);
    const std::uint16_t first = *std::max_element(found.begin(), found.end());
    ASSERT_GT(first, 0);
    qvox::LabelImage more = found;
    qvox::LabelImage fewer = found;
    // Three pixels are an object that detection never finds.
    const auto free = std::search_n(more.begin() + 30 * more.SizeX(), more.end(), 3, std::uint16_t{0});
    std::fill_n(free, 3, std::uint16_t{999});
    std::replace(fewer.begin(), fewer.end(), first, std::uint16_t{0});
    for (const qvox::LabelImage& truth : {more, fewer}) {
        qvox::SaveImageFile(folder_.File("truth/seg_a.tif"), truth);
        const ProgramResult run = Run({"--overwrite", "--json", folder_.File("s.json")});
        ASSERT_EQ(run.status, 0) << run.messages;
        const nlohmann::json image = nlohmann::json::parse(Contents(folder_.File("s.json"))).at("images").at(0);
        std::size_t mistakes = 0;
        for (const nlohmann::json& object : image.at("objects")) {
            if (object.at("result") == "matched") continue;
            EXPECT_TRUE(object.at("stage").is_string()) << object;
            ++mistakes;
        }
        EXPECT_EQ(mistakes, 1u);
    }
}

TEST_F(Compare, TakesLabelsOfOtherProgramsAsTruth) {
    fs::remove(folder_.File("truth/seg_a.tif"));
    EXPECT_EQ(Run({"--no-stages"}).status, 1) << "no true labels at all";
    qvox::VoxelImage<std::uint8_t> other;
    other.Resize(96, 80, 1);
    other.Zero();
    other(50, 50) = 1;
    qvox::SaveImageFile(folder_.File("truth/a_labels.tif"), other);
    const ProgramResult run = Run({"--no-stages", "--json", folder_.File("s.json")});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(nlohmann::json::parse(Contents(folder_.File("s.json"))).at("all").at("missed"), 1);
}

TEST_F(Compare, ReplacesNothingWithoutLeave) {
    std::ofstream(folder_.File("s.csv")) << "mine";
    EXPECT_EQ(Run({"--no-stages", "--csv", folder_.File("s.csv")}).status, 2);
    EXPECT_EQ(Contents(folder_.File("s.csv")), "mine");
    EXPECT_EQ(Run({"--no-stages", "--overwrite", "--csv", folder_.File("s.csv")}).status, 0);
    EXPECT_NE(Contents(folder_.File("s.csv")), "mine");
    EXPECT_EQ(Run({"--csv", folder_.File("x"), "--json", folder_.File("x")}).status, 2);
}

TEST_F(Compare, WritesTheFiguresSources) {
    ASSERT_EQ(Run({"--no-stages", "--figure", folder_.File("figure")}).status, 0);
    EXPECT_EQ(Contents(folder_.File("figure/diameter_agreement.dat")).substr(0, 24), "# mean_nm\tdifference_nm\n");
    EXPECT_NE(Contents(folder_.File("figure/diameter_agreement.gnuplot")).find("'1 matched objects'"),
              std::string::npos);
}

/// Small discs, which the default parameters miss, with their true labels.
class Tune : public ::testing::Test {
protected:
    void AddImages(unsigned count) {
        fs::create_directory(folder_.File("truth"));
        for (unsigned seed = 1; seed <= count; ++seed) {
            const qvox::VoxelImage<std::uint8_t> image = Vesicles(seed);
            qvox::LabelImage truth;
            truth.Resize(image.SizeX(), image.SizeY(), 1);
            for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
                const bool inside = image[i] > 120;
                const std::uint64_t cell = 1 + (i % 96) / 48 + 2 * (i / 96 / 40);
                truth[i] = static_cast<std::uint16_t>(inside ? cell : 0);
            }
            const std::string name = std::to_string(seed) + ".tif";
            qvox::SaveImageFile(folder_.File(name), image);
            qvox::SaveImageFile(folder_.File("truth/seg_" + name), truth);
        }
    }
    ProgramResult Run(std::vector<std::string> options) const {
        options.insert(options.begin(), {"tune", "--truth", folder_.File("truth"), "--evaluations", "3"});
        options.push_back(folder_.Path().string());
        return RunProgram(options);
    }

    TemporaryFolder folder_;
};

TEST_F(Tune, WritesParametersThatDetectTakes) {
    AddImages(3);
    const std::string file = folder_.File("learnt.json");
    const ProgramResult run = Run({"-o", file, "--jobs", "1"});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.output.find("held out"), std::string::npos);
    EXPECT_NE(run.output.find("Relative size of expected exosomes: "), std::string::npos);
    EXPECT_NE(run.output.find("The same images and --evaluations give the same values again."), std::string::npos);
    EXPECT_NE(run.messages.find("warning: There are only 12 objects"), std::string::npos) << run.messages;
    EXPECT_NE(run.messages.find("learning from all but '2.tif' (3 of 4)"), std::string::npos) << run.messages;
    const std::string first = Contents(file);
    EXPECT_EQ(RunProgram({"detect", "--parameters", file, folder_.File("1.tif")}).status, 0);

    EXPECT_EQ(Run({"-o", file}).status, 2) << "an existing file stays";
    const ProgramResult again = Run({"-o", file, "--overwrite", "--jobs", "3"});
    ASSERT_EQ(again.status, 0) << again.messages;
    EXPECT_EQ(Contents(file), first) << "any number of jobs";
    EXPECT_EQ(again.output, run.output);
}

TEST_F(Tune, KeepsTheDefaultsOfOneImageUnlessTheLearntOnesAreAskedFor) {
    AddImages(1);
    const std::string file = folder_.File("learnt.json");
    const ProgramResult run = Run({"-o", file});
    ASSERT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.output.find("The default parameters are kept: one image"), std::string::npos) << run.output;
    EXPECT_EQ(nlohmann::json::parse(Contents(file)).at("relativeExosomeSize"), 1.0);
    EXPECT_EQ(nlohmann::json::parse(Contents(file)).at("minObjectDiameterUm"), 0.03);
    EXPECT_NE(run.output.find("Learnt, but not taken:"), std::string::npos) << run.output;
    const ProgramResult kept = Run({"-o", file, "--overwrite", "--keep-learnt", "--budget", "20", "--panoptic"});
    ASSERT_EQ(kept.status, 0) << kept.messages;
    EXPECT_NE(kept.output.find("Only --evaluations without --budget"), std::string::npos);
    EXPECT_NE(Contents(file).find("The learnt ones were asked for."), std::string::npos);
}

TEST_F(Tune, NeedsTrueLabelsAndAPixelSize) {
    AddImages(1);
    EXPECT_EQ(RunProgram({"tune", "--truth", folder_.File("none"), folder_.File("1.tif")}).status, 2);
    fs::remove(folder_.File("truth/seg_1.tif"));
    EXPECT_EQ(Run({"-o", folder_.File("p.json")}).status, 1);
    EXPECT_FALSE(fs::exists(folder_.File("p.json")));
    for (const std::vector<std::string>& wrong :
         {std::vector<std::string>{"--evaluations", "0"}, std::vector<std::string>{"--budget", "0"},
          std::vector<std::string>{"--recall-weight", "0"}, std::vector<std::string>{"--threshold", "2"}}) {
        EXPECT_EQ(Run(wrong).status, 2) << wrong[0];
    }
}

}  // namespace

}  // namespace korvane_test
