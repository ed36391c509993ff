#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

constexpr int kProcesses = 4;
constexpr unsigned kImages = 4;

TEST(SharedFolder, ProcessesThatWriteTheSameFilesAtOnceHarmNone) {
    const TemporaryFolder folder;
    fs::create_directories(folder.File("in"));
    for (unsigned i = 0; i < kImages; ++i) {
        qvox::SaveImageFile(folder.File("in/" + std::to_string(i) + ".tif"), Vesicles(i + 1));
    }
    const auto arguments = [&folder](const std::string& out) {
        return std::vector<std::string>{
            "detect", "--overwrite",    "--overlay",      "--jobs", "1", "--table", folder.File(out + ".txt"),
            "-o",     folder.File(out), folder.File("in")};
    };
    ASSERT_EQ(RunProgram(arguments("alone")).status, 0);
    std::vector<std::unique_ptr<ProgramRun>> runs;
    for (int i = 0; i < kProcesses; ++i) runs.push_back(std::make_unique<ProgramRun>(arguments("shared")));
    for (const auto& run : runs) {
        const ProgramResult result = run->Await();
        EXPECT_EQ(result.status, 0) << result.messages;
    }
    for (unsigned i = 0; i < kImages; ++i) {
        for (const char* const prefix : {"/seg_", "/export_"}) {
            const std::string name = prefix + std::to_string(i) + ".tif";
            EXPECT_EQ(Contents(folder.File("shared" + name)) == Contents(folder.File("alone" + name)), true) << name;
        }
    }
    EXPECT_EQ(Contents(folder.File("shared.txt")), Contents(folder.File("alone.txt")));
    const std::string record = Contents(folder.File("shared/korvane-record.jsonl"));
    std::size_t lines = 0;
    for (std::size_t start = 0; start < record.size(); ++lines) {
        const std::size_t end = record.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        EXPECT_TRUE(nlohmann::json::accept(record.substr(start, end - start))) << record.substr(start, end - start);
        start = end + 1;
    }
    EXPECT_EQ(lines, kProcesses * (kImages + 1));
    const nlohmann::json document = nlohmann::json::parse(RunProgram({"record", folder.File("shared")}).output);
    ASSERT_EQ(document.at("images").size(), kImages);
    for (const nlohmann::json& image : document.at("images")) {
        EXPECT_EQ(image.at("describesLabels"), true);
        EXPECT_EQ(image.at("result"), "done");
    }
    // Labels and overlays, the record and its document: nothing is left over.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.File("shared")), fs::directory_iterator()),
              2 * static_cast<std::ptrdiff_t>(kImages) + 2);
}

TEST(SharedFolder, ATableThatAnotherProcessHasMadeMeanwhileIsKept) {
    const TemporaryFolder folder;
    fs::create_directories(folder.File("in"));
    qvox::SaveImageFile(folder.File("in/a.tif"), Vesicles(1));
    std::vector<std::unique_ptr<ProgramRun>> runs;
    for (int i = 0; i < kProcesses; ++i) {
        const std::string out = folder.File("out" + std::to_string(i));
        runs.push_back(std::make_unique<ProgramRun>(
            std::vector<std::string>{"detect", "--csv", folder.File("objects.csv"), "--exosome-size",
                                     i % 2 == 0 ? "1" : "1.2", "-o", out, folder.File("in")}));
    }
    int written = 0;
    for (const auto& run : runs) {
        const ProgramResult result = run->Await();
        written += result.status == 0;
        if (result.status == 0) continue;
        const bool isRefused = result.messages.find("was made by another program meanwhile") != std::string::npos ||
                               result.messages.find("exists already: --overwrite-table") != std::string::npos;
        EXPECT_TRUE(isRefused) << result.messages;
    }
    EXPECT_EQ(written, 1);
    EXPECT_EQ(Contents(folder.File("objects.csv")).rfind("image,", 0), 0u);
}

/// Waits until a run has opened the folder, as it does to lock it. False when it ended without.
bool ComesToWrite(const ProgramRun& run, const std::string& folder) {
    constexpr int kDescriptors = 64;
    while (!run.HasEnded()) {
        for (int descriptor = 3; descriptor < kDescriptors; ++descriptor) {
            if (run.FileBehind(descriptor) == folder) return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

/// Two sets of labels of one image, and runs whose results are for one place.
class ResultsOfTwo : public ::testing::Test {
protected:
    using Command = std::vector<std::string>;

    void SetUp() override {
        for (const char* const name : {"in", "a", "b", "truth"}) fs::create_directories(In(name));
        qvox::SaveImageFile(In("in/1.tif"), Vesicles(1));
        qvox::LabelImage labels = TwoSquares();
        qvox::SaveImageFile(In("truth/seg_1.tif"), labels);
        qvox::SaveImageFile(In("a/seg_1.tif"), labels);
        std::replace(labels.begin(), labels.end(), std::uint16_t{3}, std::uint16_t{0});
        qvox::SaveImageFile(In("b/seg_1.tif"), labels);
    }
    std::string In(const std::string& name) const { return folder_.File(name); }

    /// Runs both commands; each has found the folder as it was before the other may write there.
    std::vector<ProgramResult> RunAtOnce(const std::string& folder, const Command& first, const Command& second) {
        fs::create_directories(In(folder));
        const int lock = ::open(In(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(::flock(lock, LOCK_EX), 0);
        std::vector<std::unique_ptr<ProgramRun>> runs;
        for (const Command& command : {first, second}) runs.push_back(std::make_unique<ProgramRun>(command));
        const std::string place = fs::canonical(In(folder)).string();
        for (const auto& run : runs) EXPECT_TRUE(ComesToWrite(*run, place)) << first.front();
        ::close(lock);
        std::vector<ProgramResult> results;
        for (const auto& run : runs) results.push_back(run->Await());
        return results;
    }
    /// One of the runs has written, the other has said why it has not. Returns the number of the first.
    static std::size_t Writer(const std::vector<ProgramResult>& results) {
        const std::size_t writer = results[0].status == 0 ? 0 : 1;
        const ProgramResult& other = results[1 - writer];
        EXPECT_EQ(results[writer].status, 0) << results[writer].messages;
        EXPECT_EQ(other.status, 1) << other.messages;
        EXPECT_NE(other.messages.find("was made by another program meanwhile and is kept"), std::string::npos)
            << other.messages;
        return writer;
    }
    /// The files of the folder are all those of one of two folders.
    void ExpectFilesOfOne(const std::string& folder, const std::vector<std::string>& alone,
                          const std::vector<std::string>& names) {
        const bool isFirst = Contents(In(folder + "/" + names[0])) == Contents(In(alone[0] + "/" + names[0]));
        for (const std::string& name : names) {
            ASSERT_NE(Contents(In(alone[0] + "/" + name)), Contents(In(alone[1] + "/" + name))) << name;
            const std::string& one = alone[isFirst ? 0 : 1];
            EXPECT_EQ(Contents(In(folder + "/" + name)) == Contents(In(one + "/" + name)), true) << name;
        }
    }
    void RunAlone(const Command& command) {
        const ProgramResult run = RunProgram(command);
        ASSERT_EQ(run.status, 0) << run.messages;
    }

    TemporaryFolder folder_;
    const std::vector<std::string> reportFiles_{"report.html", "objects.csv", "summary.csv", "bins.csv",
                                                "figures/histogram.dat"};
};

TEST_F(ResultsOfTwo, AReportIsThatOfOneRun) {
    const auto report = [this](const std::string& labels, const std::string& out) {
        return Command{"report", "--labels", In(labels), "-o", In(out), In("in")};
    };
    for (const char* const labels : {"a", "b"}) RunAlone(report(labels, std::string("alone_") + labels));
    Writer(RunAtOnce("out", report("a", "out"), report("b", "out")));
    ExpectFilesOfOne("out", {"alone_a", "alone_b"}, reportFiles_);
    Command first = report("a", "out");
    Command second = report("b", "out");
    for (Command* const command : {&first, &second}) command->push_back("--overwrite");
    for (const ProgramResult& run : RunAtOnce("out", first, second)) EXPECT_EQ(run.status, 0) << run.messages;
    ExpectFilesOfOne("out", {"alone_a", "alone_b"}, reportFiles_);
}

TEST_F(ResultsOfTwo, APartOfAReportIsKept) {
    const auto part = [this](const std::string& shard) {
        return Command{"report", "--shard", shard, "--labels", In("a"), "-o", In("out"), In("in")};
    };
    const std::size_t writer = Writer(RunAtOnce("out", part("1/2"), part("2/2")));
    const std::string written = Contents(In("out/report-part.jsonl"));
    EXPECT_NE(written.find(writer == 0 ? "\"1/2\"" : "\"2/2\""), std::string::npos) << written;
}

TEST_F(ResultsOfTwo, AMergedTableIsKept) {
    for (const char* const labels : {"a", "b"}) {
        RunAlone({"measure", "--csv", In(std::string(labels) + ".csv"), "--labels", In(labels), In("in")});
    }
    const auto merge = [this](const std::string& part) { return Command{"merge", "-o", In("out/m.csv"), In(part)}; };
    const std::size_t writer = Writer(RunAtOnce("out", merge("a.csv"), merge("b.csv")));
    EXPECT_EQ(Contents(In("out/m.csv")), Contents(In(writer == 0 ? "a.csv" : "b.csv")));
}

TEST_F(ResultsOfTwo, AMergedRecordAndItsReportAreThoseOfOneRun) {
    const auto merge = [this](const std::string& part, const std::string& out) {
        return Command{"merge", "-o", In(out), In(part)};
    };
    for (const std::string part : {"a", "b"}) {
        RunAlone({"detect", "--overwrite", "--exosome-size", part == "a" ? "1" : "1.2", "-o", In(part), In("in")});
        RunAlone({"report", "--shard", "1/1", "--labels", In(part), "-o", In(part), In("in")});
        RunAlone(merge(part, "alone_" + part));
    }
    const std::vector<std::string> files{"report.html", "korvane-record.jsonl"};
    Writer(RunAtOnce("out", merge("a", "out"), merge("b", "out")));
    ExpectFilesOfOne("out", {"alone_a", "alone_b"}, files);
    Command first = merge("a", "out");
    Command second = merge("b", "out");
    for (Command* const command : {&first, &second}) command->push_back("--overwrite");
    for (const ProgramResult& run : RunAtOnce("out", first, second)) EXPECT_EQ(run.status, 0) << run.messages;
    ExpectFilesOfOne("out", {"alone_a", "alone_b"}, files);
}

TEST_F(ResultsOfTwo, TheFilesOfAComparisonAreThoseOfOneRun) {
    fs::create_directories(In("out"));
    // Two names of one folder, which is locked once.
    fs::create_directory_symlink(In("out"), In("link"));
    const auto compare = [this](const std::string& labels, const std::string& csv, const std::string& json) {
        return Command{"compare", "--no-stages", "--truth", In("truth"), "--labels", In(labels),
                       "--csv",   In(csv),       "--json",  In(json),    In("in")};
    };
    for (const std::string labels : {"a", "b"}) {
        const std::string alone = "alone_" + labels;
        fs::create_directories(In(alone));
        RunAlone(compare(labels, alone + "/c.csv", alone + "/c.json"));
    }
    Writer(RunAtOnce("out", compare("a", "out/c.csv", "link/c.json"), compare("b", "out/c.csv", "link/c.json")));
    ExpectFilesOfOne("out", {"alone_a", "alone_b"}, {"c.csv", "c.json"});
}

TEST_F(ResultsOfTwo, LearntParametersAreKept) {
    const Command tune{"tune", "--evaluations", "1", "--truth", In("truth"), "-o", In("out/p.json"), In("in")};
    Command learnt = tune;
    learnt.push_back("--keep-learnt");
    const std::size_t writer = Writer(RunAtOnce("out", learnt, tune));
    const std::string written = Contents(In("out/p.json"));
    EXPECT_EQ(written.find("The learnt ones were asked for.") != std::string::npos, writer == 0) << written;
}

}  // namespace

}  // namespace korvane_test
