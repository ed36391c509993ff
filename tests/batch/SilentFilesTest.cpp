#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "LabelPainter.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"
#include "support/TiffBuilder.h"

// Files that once led to a wrong or a lost result without a word.

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

class SilentFiles : public ::testing::Test {
protected:
    std::string Picture(const std::string& name, unsigned seed = 1, std::uint64_t side = 96) {
        const std::string path = folder_.File(name);
        fs::create_directories(fs::path(path).parent_path());
        qvox::SaveImageFile(path, Vesicles(seed, side, side));
        return path;
    }

    /// The same vesicles as another program stores them: pixels per centimetre, with a height of so many, or none.
    std::string Foreign(const std::string& name, const std::vector<std::uint32_t>& perCmOfHeight) {
        const qvox::VoxelImage<std::uint8_t> image = Vesicles(1);
        TiffBuilder file;
        const auto width = static_cast<std::uint32_t>(image.SizeX());
        const auto height = static_cast<std::uint32_t>(image.SizeY());
        file.Page().Grey(width, height, 8).Rational(282, 6720000, 1).Short(296, 3);
        for (const std::uint32_t perCm : perCmOfHeight) file.Rational(283, perCm, 1);
        file.AddPiece(std::string(image.begin(), image.end()));
        file.Write(folder_.File(name));
        return folder_.File(name);
    }

    std::string File(const std::string& name) const { return folder_.File(name); }

    static std::size_t FilesIn(const std::string& folder) {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    TemporaryFolder folder_;
};

TEST_F(SilentFiles, AClosedStandardStreamNeverBecomesAResult) {
    for (unsigned i = 0; i < 4; ++i) Picture("in/" + std::to_string(i) + ".tif", i, 200);
    const auto run = [this](const std::string& out, const std::string& closed) {
        Surroundings surroundings;
        surroundings.closedStreams = closed;
        return std::make_unique<ProgramRun>(
            std::vector<std::string>{"detect", "--jobs", "2", "--overwrite", "-o", File(out), "--overlay", "--table",
                                     File(out + "/t.txt"), File("in")},
            surroundings);
    };
    ASSERT_EQ(run("open", "")->Await().status, 0);
    for (const char* closed : {"0", "1", "2", "012"}) {
        const auto program = run(closed, closed);
        for (const char* digit = closed; *digit != '\0'; ++digit) {
            bool taken = false;
            while (!taken && !program->HasEnded()) {
                taken = program->FileBehind(*digit - '0') == "/dev/null";
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            EXPECT_TRUE(taken) << "descriptor " << *digit << " was left to whatever came first";
        }
        EXPECT_EQ(program->Await().status, 0) << closed;
        for (const auto& entry : fs::directory_iterator(File("open"))) {
            const std::string name = entry.path().filename();
            if (name == "korvane-run.json" || name == "korvane-record.jsonl") continue;  // times differ
            EXPECT_EQ(Contents(File(std::string(closed) + "/" + name)), Contents(entry.path())) << name;
        }
    }
}

TEST_F(SilentFiles, LabelsOfOneNameInOneFolderAreNotReadForTwoImages) {
    const std::vector<std::string> images{Picture("d1/a.tif", 1), Picture("d2/a.tif", 2)};
    fs::create_directory(File("labels"));
    qvox::SaveImageFile(File("labels/seg_a.tif"), TwoSquares(96, 96));
    const std::string labels = File("labels");
    const std::vector<std::vector<std::string>> commands{
        {"measure", "--labels", labels},
        {"measure", "-o", labels},
        {"overlay", "--labels", labels},
        {"segment", "--labels", labels},
    };
    for (std::vector<std::string> words : commands) {
        words.insert(words.end(), images.begin(), images.end());
        const ProgramResult run = RunProgram(words);
        EXPECT_EQ(run.status, 2) << words[0];
        EXPECT_EQ(run.output, "") << words[0];
        EXPECT_NE(run.messages.find("The labels of '" + images[0] + "' and '" + images[1] +
                                    "' would both be read from '" + labels + "/seg_a.tif'."),
                  std::string::npos)
            << run.messages;
    }
    EXPECT_EQ(FilesIn(File("d1")), 1u);
    EXPECT_EQ(FilesIn(File("d2")), 1u);
    EXPECT_EQ(FilesIn(labels), 1u);
}

TEST_F(SilentFiles, AMissingOrZeroPixelHeightIsTheWidth) {
    const std::string square = Foreign("square.tif", {6720000});
    std::string wanted;
    for (const std::string& image : {square, Foreign("missing.tif", {}), Foreign("zero.tif", {0})}) {
        const ProgramResult run = RunProgram({"detect", "-o", File("out"), image});
        ASSERT_EQ(run.status, 0) << run.messages;
        const std::string labels = Contents(File("out/seg_" + fs::path(image).filename().string()));
        if (wanted.empty()) wanted = labels;
        EXPECT_EQ(labels, wanted) << image;
        EXPECT_EQ(run.messages.find(": 0 objects"), std::string::npos) << run.messages;
    }
}

TEST_F(SilentFiles, AnAbsurdPixelHeightIsRefusedBeforeTheAnalysis) {
    const std::string image = Foreign("a.tif", {10000});
    qvox::SaveImageFile(File("seg_a.tif"), TwoSquares());
    for (const char* command : {"detect", "segment"}) {
        const ProgramResult run = RunProgram({command, "--overwrite", image});
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_NE(run.messages.find("(The file stores pixels 1.488 nm wide and 1000.000 nm high, which cannot be true; "
                                    "give the pixel size with --pixel-size NM)"),
                  std::string::npos)
            << run.messages;
    }
    qvox::LabelImage labels;
    qvox::LoadImageFile(File("seg_a.tif"), labels);
    EXPECT_TRUE(SameVoxels(labels, TwoSquares()));
    EXPECT_EQ(RunProgram({"detect", "--overwrite", "--pixel-size", "1.488", image}).status, 0);
}

TEST_F(SilentFiles, WhiteIsZeroLabelsAreMeasuredByTheirStoredNumbers) {
    const std::string image = Picture("a.tif");
    const qvox::LabelImage squares = TwoSquares(96, 96);
    std::string voxels;
    for (const std::uint16_t label : squares) {
        voxels += {static_cast<char>(label & 255), static_cast<char>(label >> 8)};
    }
    TiffBuilder file;
    file.Page().Grey(96, 96, 16).AddPiece(voxels);
    file.Write(File("seg_a.tif"));
    const ProgramResult black = RunProgram({"measure", image});
    file.Short(262, 0).Write(File("seg_a.tif"));
    const ProgramResult white = RunProgram({"measure", image});
    EXPECT_EQ(white.status, 0) << white.messages;
    EXPECT_EQ(white.output, black.output);
    EXPECT_NE(white.output.find("\t700\t"), std::string::npos);
}

TEST_F(SilentFiles, OverlaysKeepTheOrientationOfTheirImage) {
    qvox::VoxelImage<std::uint8_t> turned = Vesicles(1);
    turned.SetMetadata({{"Orientation", "6"}});
    qvox::SaveImageFile(File("a.tif"), turned);
    ASSERT_EQ(RunProgram({"detect", "--overlay", File("a.tif")}).status, 0);
    Korvane::ColourPicture overlay;
    qvox::LoadImageFile(File("export_a.tif"), overlay);
    qvox::LabelImage labels;
    qvox::LoadImageFile(File("seg_a.tif"), labels);
    EXPECT_EQ(overlay.Metadata().at("Orientation"), "6");
    EXPECT_EQ(labels.Metadata().at("Orientation"), "6");
    ASSERT_EQ(RunProgram({"overlay", "--overlay-format", "png", File("a.tif")}).status, 0);
    EXPECT_NE(Contents(File("export_a.png")).find("eXIf"), std::string::npos) << "where PNG files have it";
}

template <typename T>
std::string StoredOrientation(const std::string& path) {
    qvox::VoxelImage<T> image;
    qvox::LoadImageFile(path, image);
    const auto found = image.Metadata().find("Orientation");
    return found == image.Metadata().end() ? "1" : found->second;
}

TEST_F(SilentFiles, StageImagesKeepTheOrientationOfTheirImage) {
    qvox::VoxelImage<std::uint8_t> turned = Vesicles(1);
    turned.SetMetadata({{"Orientation", "8"}});
    qvox::SaveImageFile(File("a.tif"), turned);
    ASSERT_EQ(RunProgram({"detect", "--stages", File("stages"), File("a.tif")}).status, 0);
    for (const char* stage : {"edges", "candidates", "separated", "relief"}) {
        EXPECT_EQ(StoredOrientation<float>(File(std::string("stages/") + stage + "_a.tif")), "8") << stage;
    }
    EXPECT_EQ(StoredOrientation<std::uint8_t>(File("stages/filtered_a.tif")), "8");
    EXPECT_EQ(StoredOrientation<std::uint16_t>(File("stages/markers_a.tif")), "8");
}

TEST_F(SilentFiles, AnUnfitImageIsToldWithItsTypeAndItsPathOnce) {
    qvox::VoxelImage<qvox::Rgb8> colour;
    colour.Resize(2, 2, 1);
    colour.Zero();
    qvox::SaveImageFile(File("a.tif"), colour);
    const ProgramResult run = RunProgram({"detect", "--quiet", "--jobs", "1", File("a.tif"), File("none.tif")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.messages, "error: Cannot load the input image '" + File("a.tif") +
                                "'! (Unsupported pixel type)\nIt holds RGB, 8 bits; wanted is 8-bit, 16-bit or 32-bit "
                                "float grey. It is a grey image stored as RGB: save it as grey, as "
                                "korvane-batch calibrate --grey does.\n"
                                "error: Cannot load the input image '" +
                                File("none.tif") +
                                "'! (Error='No such file or directory.')\nerror: 2 of 2 images failed.\n");
}

}  // namespace

}  // namespace korvane_test
