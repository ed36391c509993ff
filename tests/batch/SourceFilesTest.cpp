// Files that are changed after labels were begun to be made from them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "FileDigest.h"
#include "ImageRun.h"
#include "Labelling.h"
#include "PathText.h"
#include "ToolkitError.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;
using korvane_test::Contents;
using korvane_test::RunProgram;
using korvane_test::TemporaryFolder;

/// A long time ago, so that the clock's step cannot hide a change.
void SetTime(const std::string& path, long ns = 500) {
    const timespec before[2] = {{1000000000, ns}, {1000000000, ns}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), before, 0), 0);
}

/// As many bytes as before, into the same file.
void OverwriteInPlace(const std::string& path) {
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(-1, std::ios::end).put('x');
}

class SourceFileOfTest : public ::testing::Test {
protected:
    SourceFileOfTest() {
        std::ofstream(path_) << "abc";
        SetTime(path_);
    }
    static std::string Refusal(const SourceFile& file) {
        try {
            file.Digest();
        } catch (const qvox::ToolkitError& error) {
            return error.what();
        }
        return "";
    }
    const TemporaryFolder folder_;
    const std::string path_ = folder_.File("f");
    const std::string changed_ = "'" + path_ + "' was changed after it was read.";
};

TEST_F(SourceFileOfTest, ThatStaysAsItIsHasItsDigest) {
    const SourceFile file(path_);
    EXPECT_EQ(file.Digest().sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(file.Digest().modifiedNs, 1000000000000000500);
}

TEST_F(SourceFileOfTest, OverwrittenInPlaceWithAsManyBytesHasNone) {
    const SourceFile file(path_);
    OverwriteInPlace(path_);
    EXPECT_EQ(Refusal(file), changed_);
}

TEST_F(SourceFileOfTest, ReplacedByAnotherOfItsSizeAndTimeHasNone) {
    const SourceFile file(path_);
    std::ofstream(folder_.File("new")) << "abd";
    SetTime(folder_.File("new"));
    fs::rename(folder_.File("new"), path_);
    EXPECT_EQ(Refusal(file), changed_);
}

TEST_F(SourceFileOfTest, OfAnotherSizeHasNoneWhateverItsTime) {
    const SourceFile file(path_);
    std::ofstream(path_, std::ios::app) << "d";
    SetTime(path_);
    EXPECT_EQ(Refusal(file), changed_);
}

TEST_F(SourceFileOfTest, ThatIsGoneHasNone) {
    const SourceFile file(path_);
    fs::remove(path_);
    EXPECT_EQ(Refusal(file), "'" + path_ + "' was removed after it was read.");
}

TEST_F(SourceFileOfTest, ThatCameLaterHasNone) {
    fs::remove(path_);
    const SourceFile file(path_);
    std::ofstream(path_) << "abc";
    EXPECT_EQ(Refusal(file), changed_);
}

/// One image, a run over it in this process, and a hook between reading and writing.
class ChangedSource : public ::testing::Test {
protected:
    ChangedSource() {
        qvox::SaveImageFile(image_, korvane_test::Vesicles(1));
        fs::create_directory(folder_.File("seeds"));
        qvox::SaveImageFile(seeds_, korvane_test::TwoSquares());
        SaveMask(3);
        for (const std::string& path : {image_, seeds_, mask_}) SetTime(path);
        options_.input.images = {image_};
        options_.places.output = folder_.File("out");
        options_.places.labels = folder_.File("seeds");
        options_.input.verbosity = Verbosity::kQuiet;
    }

    /// One pixel of annotations.
    void SaveMask(std::uint64_t x) const {
        qvox::VoxelImage<std::uint8_t> mask = korvane_test::Vesicles(1);
        mask.Zero();
        mask(x, 3) = 1;
        qvox::SaveImageFile(mask_, mask);
    }
    /// A run of `segment` during which something happens.
    int Segment(const std::function<void()>& meanwhile) {
        LabelMaker maker;
        maker.command = "segment";
        maker.verb = "segment the exosomes in";
        maker.startsFrom = &ImageFiles::seeds;
        maker.prepare = [](ImageJob& job, Position& position) {
            job.HoldSource(job.Files().seeds);
            return job.ReadLabels(job.Files().seeds, position.labels) == LabelsFound::kLoaded;
        };
        maker.analyse = [&](Position&, DetectionObserver&, const qvox::PartRunner&) { meanwhile(); };
        return Collect([&](const Streams& streams) { return RunLabelling(options_, maker, streams); });
    }
    /// The work of `import` on a file, after which something happens.
    int Import(const std::function<void()>& meanwhile) {
        ImageRun run;
        run.input = options_.input;
        run.places = options_.places;
        run.written = {&ImageFiles::labels};
        run.recorder = std::make_shared<RunRecorder>(RunRecord{"import", std::nullopt, "no label file", {}});
        run.work = [&](ImageJob& job) {
            Position position = job.Load();
            job.HoldSource(PathText(seeds_));
            meanwhile();
            job.KeepLabels(position.labels, {LabelStart::Kind::kImported, PathText(seeds_)});
            job.Outcome().state = ImageState::kDone;
        };
        return Collect([&](const Streams& streams) { return RunImages(run, streams); });
    }
    int Collect(const std::function<int(const Streams&)>& run) {
        const std::string path = folder_.File("messages");
        std::FILE* const messages = std::fopen(path.c_str(), "w");
        const int status = run({messages, messages});
        std::fclose(messages);
        messages_ = Contents(path);
        return status;
    }
    nlohmann::json Recorded() const {
        return nlohmann::json::parse(Contents(folder_.File("out/korvane-run.json"))).at("images").at(0);
    }
    void ExpectRefused(int status, const std::string& changed) const {
        EXPECT_EQ(status, 1);
        const std::string text =
            "Cannot keep the labels of '" + image_ + "'! ('" + changed + "' was changed after it was read.)";
        EXPECT_NE(messages_.find("error: " + text), std::string::npos) << messages_;
        EXPECT_FALSE(fs::exists(labels_));
        EXPECT_EQ(Recorded().at("result"), "failed");
        EXPECT_EQ(Recorded().at("error"), text);
        EXPECT_TRUE(Recorded().at("output").is_null());
    }

    const TemporaryFolder folder_;
    const std::string image_ = folder_.File("a.tif");
    const std::string seeds_ = folder_.File("seeds/seg_a.tif");
    const std::string mask_ = folder_.File("m.tif");
    const std::string labels_ = folder_.File("out/seg_a.tif");
    LabellingOptions options_;
    std::string messages_;
};

TEST_F(ChangedSource, WithoutAChangeEachIsRecordedWithItsDigest) {
    options_.preparation.maskFile = mask_;
    EXPECT_EQ(Segment([] {}), 0) << messages_;
    const auto expectDigest = [this](const char* key, const std::string& path) {
        EXPECT_EQ(Recorded().at(key).at("sha256"), DigestOf(path).sha256) << key;
        EXPECT_EQ(Recorded().at(key).at("bytes"), fs::file_size(path)) << key;
    };
    expectDigest("input", image_);
    expectDigest("seeds", seeds_);
    expectDigest("annotations", mask_);
    expectDigest("output", labels_);
    EXPECT_EQ(Recorded().at("annotations").at("path"), mask_);
}

TEST_F(ChangedSource, AnImageThatIsOverwrittenWhileItIsAnalysedGivesNoLabels) {
    ExpectRefused(Segment([this] { OverwriteInPlace(image_); }), image_);
}

TEST_F(ChangedSource, AnImageThatIsReplacedWhileItIsAnalysedGivesNoLabels) {
    ExpectRefused(Segment([this] { qvox::SaveImageFile(image_, korvane_test::Vesicles(2)); }), image_);
}

TEST_F(ChangedSource, SeedsThatAreReplacedMeanwhileGiveNoLabels) {
    ExpectRefused(Segment([this] { qvox::SaveImageFile(seeds_, korvane_test::TwoSquares()); }), seeds_);
}

TEST_F(ChangedSource, AnnotationsThatAreReplacedMeanwhileGiveNoLabels) {
    options_.preparation.maskFile = mask_;
    ExpectRefused(Segment([this] { SaveMask(4); }), mask_);
}

TEST_F(ChangedSource, AFileThatIsReplacedWhileItIsImportedGivesNoLabels) {
    ExpectRefused(Import([this] { qvox::SaveImageFile(seeds_, korvane_test::TwoSquares()); }), seeds_);
    EXPECT_EQ(Import([] {}), 0) << messages_;
    EXPECT_EQ(Recorded().at("imported").at("sha256"), DigestOf(seeds_).sha256);
}

TEST_F(ChangedSource, LabelsThatWereThereStayAsTheyWere) {
    ASSERT_EQ(Segment([] {}), 0) << messages_;
    const std::string before = Contents(labels_);
    options_.existing = ExistingLabels::kReplace;
    EXPECT_EQ(Segment([this] { OverwriteInPlace(image_); }), 1);
    EXPECT_EQ(Contents(labels_), before);
    EXPECT_EQ(Recorded().at("describesLabels"), true);
}

/// The result of a run that reads a pipe; one that waits for the pipe's writer in vain is killed after a minute.
korvane_test::ProgramResult RunWithPipe(const std::string& pipe, const std::vector<std::string>& arguments) {
    std::thread writer([&pipe] { std::ofstream(pipe) << "{\"roundnessThreshold\": 0.25}"; });
    korvane_test::ProgramRun run(arguments);
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!run.HasEnded() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!run.HasEnded()) run.Signal(SIGKILL);
    // A writer whose pipe nobody opened goes on.
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    writer.join();
    ::close(reader);
    return run.Await();
}

TEST(ParametersOfAPipe, AreTakenAndTheirValuesRecorded) {
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), korvane_test::Vesicles(1));
    const std::string pipe = folder.File("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    // Several times: whether its writer is gone before a second opening is chance.
    for (int i = 0; i < 10; ++i) {
        const auto run = RunWithPipe(pipe, {"detect", "--overwrite", "--parameters", pipe, folder.File("a.tif")});
        ASSERT_EQ(run.status, 0) << run.messages;
    }
    std::ifstream record(folder.File("korvane-record.jsonl"));
    std::string line;
    std::getline(record, line);
    const nlohmann::json entry = nlohmann::json::parse(line);
    EXPECT_EQ(entry.at("parameters").at("roundnessThreshold"), 0.25);
    EXPECT_FALSE(entry.contains("parametersFile"));
}

}  // namespace

}  // namespace Korvane
