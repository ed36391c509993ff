#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

/// A folder of small images whose labels go beside them.
class Record : public ::testing::Test {
protected:
    void AddImages(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            qvox::SaveImageFile(folder_.File("p" + std::to_string(i) + ".tif"), Vesicles(i));
        }
    }
    ProgramResult Detect(std::vector<std::string> options) const {
        options.insert(options.begin(), "detect");
        options.push_back(folder_.Path().string());
        return RunProgram(options);
    }
    nlohmann::json Printed() const {
        return nlohmann::json::parse(RunProgram({"record", folder_.Path().string()}).output);
    }
    nlohmann::json Image(std::size_t index) const { return Printed().at("images").at(index); }

    TemporaryFolder folder_;
};

TEST_F(Record, TellsHowEachImagesLabelsWereMade) {
    AddImages(1);
    ASSERT_EQ(Detect({"--area-fraction", "0.2", "--pixel-size", "1.488"}).status, 0);
    const nlohmann::json image = Image(0);
    EXPECT_EQ(image.at("path"), folder_.File("p0.tif"));
    EXPECT_EQ(image.at("labels"), folder_.File("seg_p0.tif"));
    EXPECT_EQ(image.at("command"), "detect");
    EXPECT_EQ(image.at("parameters").at("areaFraction").dump(), "0.2");
    EXPECT_EQ(image.at("pixelSizeNm").at("x").dump(), "1.488");
    EXPECT_EQ(image.at("pixelSizeSource"), "--pixel-size");
    EXPECT_EQ(image.at("input").at("bytes"), fs::file_size(folder_.File("p0.tif")));
    EXPECT_EQ(image.at("input").at("sha256").get<std::string>().size(), 64u);
    EXPECT_EQ(image.at("output").at("bytes"), fs::file_size(folder_.File("seg_p0.tif")));
    EXPECT_EQ(image.at("describesLabels"), true);
    EXPECT_FALSE(image.at("time").get<std::string>().empty());
    EXPECT_TRUE(image.contains("commit"));
    EXPECT_EQ(Printed().dump(), nlohmann::json::parse(Contents(folder_.File("korvane-run.json"))).dump());
}

TEST_F(Record, NamesTheParametersFileWithItsChecksum) {
    AddImages(1);
    const std::string file = folder_.File("p.json");
    std::ofstream(file) << "{\"areaFraction\": 0.2, \"roundnessThreshold\": 0.5}";
    ASSERT_EQ(Detect({"--parameters", file, "--roundness", "0.7"}).status, 0);
    const nlohmann::json image = Image(0);
    EXPECT_EQ(image.at("parameters").at("areaFraction").dump(), "0.2");
    EXPECT_EQ(image.at("parameters").at("roundnessThreshold").dump(), "0.7");
    EXPECT_EQ(image.at("parametersFile").at("path"), file);
    EXPECT_EQ(image.at("parametersFile").at("bytes"), fs::file_size(file));
    EXPECT_EQ(image.at("parametersFile").at("sha256").get<std::string>().size(), 64u);
    ASSERT_EQ(Detect({"--overwrite"}).status, 0);
    EXPECT_FALSE(Image(0).contains("parametersFile"));
}

TEST_F(Record, EachPixelSizeIsRecordedAsItWasGiven) {
    AddImages(1);
    for (const char* size : {"1.488", "1.1", "0.7", "2.345678"}) {
        ASSERT_EQ(Detect({"--overwrite", "--pixel-size", size}).status, 0);
        EXPECT_EQ(Image(0).at("pixelSizeNm").at("x").dump(), size);
        EXPECT_EQ(Image(0).at("pixelSizeNm").at("y").dump(), size);
    }
}

TEST_F(Record, KeepsWhatSkippedImagesWereMadeWith) {
    AddImages(2);
    ASSERT_EQ(Detect({"--area-fraction", "0.2"}).status, 0);
    AddImages(3);
    std::ofstream(folder_.File("q.tif")) << "no image";
    const ProgramResult run = Detect({"--area-fraction", "0.3"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(
        run.messages.find("warning: '" + folder_.File("seg_p0.tif") +
                          "' was made otherwise: area fraction 0.2, now 0.3. It is kept; --overwrite replaces it."),
        std::string::npos)
        << run.messages;
    EXPECT_EQ(Image(0).at("parameters").at("areaFraction").dump(), "0.2");
    EXPECT_TRUE(Image(0).at("objects").is_number());
    EXPECT_EQ(Image(2).at("parameters").at("areaFraction").dump(), "0.3");
    EXPECT_EQ(Image(3).at("result"), "failed");
}

TEST_F(Record, StrictRunsFailWhereLabelsWereMadeOtherwise) {
    AddImages(1);
    ASSERT_EQ(Detect({}).status, 0);
    EXPECT_EQ(Detect({"--strict"}).status, 0);
    EXPECT_EQ(Detect({"--roundness", "0.5"}).status, 0);
    const ProgramResult run = Detect({"--strict", "--roundness", "0.5"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("error: '" + folder_.File("seg_p0.tif") +
                                "' was made otherwise: roundness 0.75, now 0.5. (--overwrite replaces it)"),
              std::string::npos)
        << run.messages;
    EXPECT_EQ(Detect({"--strict", "--pixel-size", "2"}).status, 1);
    EXPECT_EQ(RunProgram({"segment", "--strict", folder_.File("p0.tif")}).status, 1);
    EXPECT_EQ(Image(0).at("result"), "done");
}

TEST_F(Record, HoldsThePageThatTheLabelsWereMadeOf) {
    TiffBuilder file;
    for (const unsigned seed : {1u, 2u, 3u}) {
        const qvox::VoxelImage<std::uint8_t> page = Vesicles(seed);
        file.Page().Grey(96, 80, 8).AddPiece(std::string(page.begin(), page.end()));
    }
    file.Write(folder_.File("p0.tif"));
    const std::vector<std::string> second{"--quiet", "--pixel-size", "1.488", "--page", "2"};
    ASSERT_EQ(Detect(second).status, 0);
    EXPECT_EQ(Image(0).at("page"), 2);
    const std::string difference = "seg_p0.tif' was made otherwise: page 2, now ";
    EXPECT_EQ(Detect(second).messages.find(difference), std::string::npos);
    for (const char* page : {"1", "3"}) {
        const ProgramResult other = Detect({"--pixel-size", "1.488", "--page", page});
        EXPECT_EQ(other.status, 0);
        EXPECT_NE(other.messages.find(difference + page + ". It is kept"), std::string::npos) << other.messages;
        EXPECT_EQ(Detect({"--pixel-size", "1.488", "--page", page, "--strict"}).status, 1);
    }
    EXPECT_NE(Detect({"--pixel-size", "1.488"}).messages.find(difference + "1."), std::string::npos)
        << "the first page is read without a choice";
    EXPECT_EQ(Image(0).at("page"), 2);
}

TEST_F(Record, TellsOfLabelsAndImagesThatWereChanged) {
    AddImages(2);
    ASSERT_EQ(Detect({}).status, 0);
    qvox::SaveImageFile(folder_.File("seg_p0.tif"), TwoSquares());
    qvox::SaveImageFile(folder_.File("p1.tif"), Vesicles(9));
    const ProgramResult run = Detect({"--quiet"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.messages.find("seg_p0.tif' was not made by a recorded run, or was changed since."), std::string::npos)
        << run.messages;
    EXPECT_NE(run.messages.find("seg_p1.tif' was made otherwise: another image file."), std::string::npos)
        << run.messages;
    EXPECT_EQ(Image(0).at("describesLabels"), false);
}

TEST_F(Record, LabelsOfUnknownOriginFailOnlyStrictRuns) {
    AddImages(1);
    qvox::SaveImageFile(folder_.File("seg_p0.tif"), TwoSquares());
    const ProgramResult run = Detect({"--quiet"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.messages, "");
    EXPECT_EQ(Detect({"--strict"}).status, 1);
    EXPECT_EQ(Detect({"--quiet"}).messages, "");
}

TEST_F(Record, HoldsTheSeedsOfASegmentation) {
    AddImages(1);
    qvox::SaveImageFile(folder_.File("seg_p0.tif"), TwoSquares());
    const auto bytes = fs::file_size(folder_.File("seg_p0.tif"));
    ASSERT_EQ(RunProgram({"segment", "--overwrite", folder_.File("p0.tif")}).status, 0);
    EXPECT_EQ(Image(0).at("seeds").at("bytes"), bytes);
}

TEST_F(Record, DescribesEveryLabelFileWheneverTheRunIsKilled) {
    AddImages(4);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(Detect({"--overwrite", "--jobs", "2"}).status, 0);
    const auto whole = std::chrono::steady_clock::now() - start;
    constexpr int kKills = 20;
    int described = 0;
    for (int i = 0; i < kKills; ++i) {
        // Labels of other parameters lie there from the run before, or none.
        if (i % 2 == 0) {
            for (unsigned p = 0; p < 4; ++p) fs::remove(folder_.File("seg_p" + std::to_string(p) + ".tif"));
        }
        const std::string fraction = "0." + std::to_string(10 + i);
        ProgramRun run({"detect", "--overwrite", "--jobs", "2", "--area-fraction", fraction, folder_.Path().string()});
        std::this_thread::sleep_for(whole * (i + 1) / kKills);
        run.Signal(SIGKILL);
        run.Await();
        const nlohmann::json document = Printed();
        for (const nlohmann::json& image : document.at("images")) {
            if (!fs::exists(image.at("labels").get<std::string>())) continue;
            EXPECT_EQ(image.at("describesLabels"), true) << "kill " << i << ": " << image.dump(2);
            ++described;
        }
    }
    EXPECT_GT(described, 0);
}

TEST_F(Record, OfTwoProcessesInOneFolderIsWhole) {
    AddImages(12);
    std::vector<std::string> first{"detect", "--jobs", "1"};
    std::vector<std::string> second{"detect", "--jobs", "1", "--area-fraction", "0.2"};
    for (unsigned p = 0; p < 12; ++p) {
        (p % 2 == 0 ? first : second).push_back(folder_.File("p" + std::to_string(p) + ".tif"));
    }
    ProgramRun other(second);
    EXPECT_EQ(RunProgram(first).status, 0);
    EXPECT_EQ(other.Await().status, 0);
    const nlohmann::json images = nlohmann::json::parse(Contents(folder_.File("korvane-run.json"))).at("images");
    ASSERT_EQ(images.size(), 12u);
    for (unsigned p = 0; p < 12; ++p) {
        EXPECT_EQ(images.at(p).at("parameters").at("areaFraction").dump(), p % 2 == 0 ? "0.15" : "0.2");
    }
}

TEST_F(Record, IsNotPrintedWhereThereIsNone) {
    EXPECT_EQ(RunProgram({"record", folder_.Path().string()}).status, 2);
    EXPECT_EQ(RunProgram({"record", folder_.File("none")}).status, 2);
}

TEST_F(Record, IsLeftWhenTheTerminalGoes) {
    AddImages(100);
    ProgramRun run({"detect", "--jobs", "1", folder_.Path().string()});
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!fs::exists(folder_.File("seg_p0.tif")) && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    run.Signal(SIGHUP);
    EXPECT_EQ(run.Await().status, 130);
    EXPECT_EQ(nlohmann::json::parse(Contents(folder_.File("korvane-run.json"))).at("interrupted"), true);
}

TEST_F(Record, TheSummarySaysHowSkippedImagesAreReplaced) {
    AddImages(2);
    ASSERT_EQ(Detect({}).status, 0);
    EXPECT_NE(Detect({}).messages.find("2 images done, 2 of them skipped; --overwrite replaces the files that exist."),
              std::string::npos);
}

TEST_F(Record, NamesOfResultsThatAreTooLongAreFoundBeforeTheWork) {
    AddImages(1);
    const std::string name = std::string(248, 'n') + ".tif";  // 252 bytes; "seg_" before it makes 256
    qvox::SaveImageFile(folder_.File(name), Vesicles(1));
    const ProgramResult run = Detect({});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("has too long a name: 'seg_" + name + "' would have 256 bytes"), std::string::npos)
        << run.messages;
    EXPECT_FALSE(fs::exists(folder_.File("seg_p0.tif")));
    fs::rename(folder_.File(name), folder_.File(name.substr(1)));
    EXPECT_EQ(Detect({}).status, 0);
    EXPECT_EQ(Detect({"--overwrite", "--stages", folder_.File("stages")}).status, 2);
}

}  // namespace

}  // namespace korvane_test
