#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

class Jobs : public ::testing::Test {
protected:
    std::string File(const std::string& name) const {
        fs::create_directories(fs::path(folder_.File(name)).parent_path());
        return folder_.File(name);
    }
    std::string Image(const std::string& name, float perUm = 672.0f) const {
        qvox::SaveImageFile(File(name), Vesicles(1, 96, 80, perUm));
        return File(name);
    }
    std::string Broken(const std::string& name) const {
        std::ofstream(File(name)) << "no image";
        return File(name);
    }
    /// Commands on images of the folder that have labels beside them.
    std::vector<std::vector<std::string>> LimitedCommands() const {
        const std::string here = folder_.Path().string();
        return {{"detect", "-o", File("out")},
                {"segment", "-o", File("out"), "--labels", here},
                {"import", "-o", File("out"), "--labels", here, "--pattern", "seg_{stem}.tif"},
                {"measure"},
                {"measure", "--csv", "-"},
                {"overlay", "-o", File("out")},
                {"overlay", "--rim", "-o", File("out")},
                {"rois", "-o", File("out")},
                {"calibrate", "--force", "--pixel-size", "2", "-o", File("out")},
                {"compare", "--no-stages", "--overlay", "-o", File("out"), "--labels", here, "--truth", here},
                {"tune", "--evaluations", "1", "--truth", here, "-o", File("p.json")},
                {"report", "-o", File("report")}};
    }
    static void ExpectTooLate(const std::vector<std::string>& command, const std::string& limit) {
        const ProgramResult run = RunProgram(command);
        EXPECT_EQ(run.status, 1) << command.front();
        EXPECT_NE(run.messages.find("It took longer than the --time-limit of " + limit), std::string::npos)
            << command.front() << ": " << run.messages;
    }

    TemporaryFolder folder_;
};

TEST_F(Jobs, FailFastBeginsNoImageAfterAFailure) {
    Broken("in/a.tif");
    Image("in/b.tif");
    Image("in/c.tif");
    const ProgramResult fast = RunProgram(
        {"detect", "--fail-fast", "--jobs", "1", "--table", File("table.txt"), "-o", File("fast"), File("in")});
    EXPECT_EQ(fast.status, 1);
    EXPECT_NE(fast.messages.find("error: 1 of 3 images failed, 2 were not begun.\n"), std::string::npos)
        << fast.messages;
    EXPECT_FALSE(fs::exists(File("fast/seg_b.tif")));
    EXPECT_FALSE(fs::exists(File("table.txt"))) << "a part could be taken for the whole";
    for (const std::string& option : {std::string("--keep-going"), std::string("--quiet")}) {
        const std::string out = File("out" + option);
        const ProgramResult run = RunProgram({"detect", option, "--jobs", "1", "-o", out, File("in")});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.messages.find("error: 1 of 3 images failed.\n"), std::string::npos) << run.messages;
        EXPECT_TRUE(fs::exists(out + "/seg_c.tif"));
    }
    EXPECT_EQ(RunProgram({"detect", "--fail-fast", "--keep-going", File("in")}).status, 2);
}

TEST_F(Jobs, AnImageThatTakesTooLongFailsAndLeavesNothing) {
    Image("in/a.tif");
    Image("in/b.tif");
    const ProgramResult run =
        RunProgram({"detect", "--time-limit", "0.0001", "--overlay", "-o", File("out"), File("in")});
    EXPECT_EQ(run.status, 1);
    for (const char* const name : {"a.tif", "b.tif"}) {
        const std::string text = "error: Cannot work on '" + File(std::string("in/") + name) +
                                 "'! (It took longer than the --time-limit of 1e-04 s)\n";
        EXPECT_NE(run.messages.find(text), std::string::npos) << run.messages;
        EXPECT_FALSE(fs::exists(File(std::string("out/seg_") + name)));
        EXPECT_FALSE(fs::exists(File(std::string("out/export_") + name)));
    }
    EXPECT_NE(run.messages.find("2 of 2 images failed."), std::string::npos);
    const nlohmann::json record = nlohmann::json::parse(RunProgram({"record", File("out")}).output);
    EXPECT_EQ(record.at("images").at(0).at("result"), "failed");
    EXPECT_EQ(RunProgram({"detect", "--time-limit", "300", "-o", File("out"), File("in")}).status, 0);
    EXPECT_TRUE(fs::exists(File("out/seg_a.tif")));
    const std::vector<std::string> wrong{"0", "-1", "x", "nan", ""};
    for (const std::string& seconds : wrong) {
        EXPECT_EQ(RunProgram({"detect", "--time-limit", seconds, File("in")}).status, 2) << seconds;
    }
}

TEST_F(Jobs, TimeLimitsHoldForEveryCommandThatWorksOnImages) {
    Image("a.tif");
    qvox::SaveImageFile(File("seg_a.tif"), TwoSquares());
    for (std::vector<std::string> command : LimitedCommands()) {
        command.insert(command.end(), {"--time-limit", "0.000001", File("a.tif")});
        ExpectTooLate(command, "1e-06 s");
    }
}

TEST_F(Jobs, TimeLimitsAreLookedAtOnceTheFilesWereRead) {
    // Reading so many pixels takes several times the limit, which is not reached before it.
    constexpr std::uint64_t kSide = 2500;
    qvox::SaveImageFile(File("a.tif"), Vesicles(1, kSide, kSide));
    qvox::SaveImageFile(File("seg_a.tif"), TwoSquares(kSide, kSide));
    for (std::vector<std::string> command : LimitedCommands()) {
        command.insert(command.end(), {"--time-limit", "0.004", File("a.tif")});
        ExpectTooLate(command, "0.004 s");
    }
    for (const char* const name : {"out/seg_a.tif", "out/a.tif", "out/export_a.tif", "out/compare_a.tif",
                                   "out/rois_a.zip", "report/report.html", "p.json"}) {
        EXPECT_FALSE(fs::exists(folder_.File(name))) << name;
    }
}

TEST_F(Jobs, TablesAndOverlayOfLabelsThatAreThereAreMadeWhateverTheTime) {
    Image("in/a.tif");
    qvox::SaveImageFile(File("out/seg_a.tif"), TwoSquares());
    for (const std::string options : {"plain", "--overlay"}) {
        const std::string csv = File(options + ".csv");
        std::vector<std::string> arguments{"detect", "--time-limit", "0.000001",  "--csv",
                                           csv,      "-o",           File("out"), File("in")};
        if (options != "plain") arguments.push_back(options);
        const ProgramResult run = RunProgram(arguments);
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_NE(Contents(csv).find("a.tif,700,"), std::string::npos) << Contents(csv);
    }
    EXPECT_TRUE(fs::exists(File("out/export_a.tif")));
}

TEST_F(Jobs, ThreadsAndJobsMakeNoDifferenceToResults) {
    Image("in/a.tif");
    Image("in/b.tif");
    EXPECT_EQ(RunProgram({"detect", "--threads", "1", "-o", File("one"), File("in")}).status, 0);
    EXPECT_EQ(RunProgram({"detect", "--threads", "4", "--jobs", "1", "-o", File("four"), File("in")}).status, 0);
    EXPECT_EQ(Contents(File("one/seg_a.tif")), Contents(File("four/seg_a.tif")));
    EXPECT_EQ(RunProgram({"detect", "--threads", "1", "--jobs", "2", File("in")}).status, 2);
    EXPECT_EQ(RunProgram({"detect", "--threads", "0", File("in")}).status, 2);
}

TEST_F(Jobs, ADryRunSaysWhatWouldBeDoneAndWritesNothing) {
    const std::string done = Image("in/done.tif");
    const std::string fresh = Image("in/fresh.tif");
    const std::string bare = Image("in/bare.tif", 0.0f);
    const std::string broken = Broken("in/broken.tif");
    qvox::SaveImageFile(File("out/seg_done.tif"), TwoSquares());
    const auto dry = [this](std::vector<std::string> options) {
        options.insert(options.begin() + 1, {"--dry-run", "--jobs", "1", "-o", File("out")});
        options.push_back(File("in"));
        return RunProgram(options);
    };
    const ProgramResult run = dry({"detect", "--table", File("table.txt")});
    EXPECT_EQ(run.status, 1) << "one image would be refused";
    EXPECT_NE(run.output.find(done + ": skip: '" + File("out/seg_done.tif") + "' exists\n"), std::string::npos);
    EXPECT_NE(run.output.find(fresh + ": analyse: 0.01 megapixels\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(bare + ": refuse: it stores no pixel size; give it with --pixel-size NM\n"),
              std::string::npos);
    EXPECT_NE(run.output.find(broken + ": refuse: "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("\n1 to analyse, 1 to skip, 0 to leave out, 2 to refuse. Estimate with 1 at a time: 1 s, "
                              "30 MiB of memory.\n"),
              std::string::npos)
        << run.output;
    EXPECT_FALSE(fs::exists(File("table.txt")));
    EXPECT_FALSE(fs::exists(File("out/korvane-record.jsonl")));
    EXPECT_NE(dry({"detect", "--overwrite", "--pixel-size", "1.5"}).output.find("\n3 to analyse, 0 to skip"),
              std::string::npos);
    EXPECT_NE(dry({"overlay"}).output.find("\n1 to draw, 0 to skip, 3 to leave out, 0 to refuse."), std::string::npos);
    EXPECT_FALSE(fs::exists(File("out/export_done.tif")));
    EXPECT_EQ(RunProgram({"detect", "--dry-run", "-o", folder_.File("none"), fresh}).status, 0);
    EXPECT_FALSE(fs::exists(folder_.File("none")));
}

TEST_F(Jobs, TheEstimateOfADryRunGrowsWithTheImagesAndWithThoseAtATime) {
    qvox::VoxelImage<std::uint8_t> large;
    large.Resize(4000, 2500, 1);
    large.Zero();
    large.SetResolution({672.0f, 672.0f, 0.0f});
    for (const char* const name : {"in/a.tif", "in/b.tif", "one/a.tif"}) qvox::SaveImageFile(File(name), large);
    struct Estimate {
        int images = 0;
        int atATime = 0;
        int seconds = 0;
        int mebibytes = 0;
    };
    const auto estimate = [this](const char* folder, const char* jobs) {
        const ProgramResult run = RunProgram({"detect", "--dry-run", "--jobs", jobs, "-o", File("out"), File(folder)});
        EXPECT_EQ(run.status, 0) << run.messages;
        Estimate found;
        const std::size_t last = run.output.rfind('\n', run.output.size() - 2) + 1;
        EXPECT_EQ(
            std::sscanf(run.output.c_str() + last,
                        "%d to analyse, 0 to skip, 0 to leave out, 0 to refuse. Estimate with %d at a time: %d s, "
                        "%d MiB of memory.",
                        &found.images, &found.atATime, &found.seconds, &found.mebibytes),
            4)
            << run.output;
        return found;
    };
    const Estimate one = estimate("one", "1");
    const Estimate turns = estimate("in", "1");
    const Estimate both = estimate("in", "2");
    EXPECT_EQ(one.images, 1);
    EXPECT_EQ(both.images, 2);
    EXPECT_EQ(turns.atATime, 1);
    EXPECT_EQ(both.atATime, 2);
    EXPECT_EQ(estimate("one", "2").atATime, 1) << "there is but one image";
    EXPECT_NEAR(turns.seconds, 2 * one.seconds, 1);
    EXPECT_EQ(both.seconds, one.seconds);
    EXPECT_EQ(turns.mebibytes, one.mebibytes);
    // The program itself takes 25 MiB, and the sum is rounded up to tens.
    EXPECT_NEAR(both.mebibytes - 25, 2 * (one.mebibytes - 25), 15);
    EXPECT_EQ(both.mebibytes % 10, 0);
}

TEST_F(Jobs, ADryRunOfAReportComparisonOrSearchNamesWhatItWouldWrite) {
    const std::string labelled = Image("in/a.tif");
    const std::string unlabelled = Image("in/b.tif");
    const std::string bare = Image("in/bare.tif", 0.0f);
    for (const char* const name : {"out/seg_a.tif", "out/seg_bare.tif", "truth/seg_a.tif", "truth/b_labels.tif"}) {
        qvox::SaveImageFile(File(name), TwoSquares());
    }
    const auto dry = [this](std::vector<std::string> options) {
        options.insert(options.end(), {"--dry-run", "--jobs", "1", File("in")});
        return RunProgram(options);
    };
    const ProgramResult report = dry({"report", "--labels", File("out"), "-o", folder_.File("report")});
    EXPECT_EQ(report.status, 1) << "one image would be refused";
    EXPECT_NE(report.output.find(labelled + ": report on: 0.01 megapixels\n"), std::string::npos) << report.output;
    EXPECT_NE(report.output.find(unlabelled + ": leave out: there is no '"), std::string::npos) << report.output;
    EXPECT_NE(report.output.find(bare + ": refuse: it stores no pixel size"), std::string::npos) << report.output;
    EXPECT_NE(report.output.find("\nTo write: '" + folder_.File("report") + "/report.html'\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder_.File("report")));
    std::ofstream(File("old/report.html")) << "x";
    EXPECT_EQ(dry({"report", "--labels", File("out"), "-o", File("old")}).status, 2) << "there is a report";

    const ProgramResult compared = dry({"compare", "--labels", File("out"), "--truth", File("truth"), "--csv",
                                        folder_.File("s.csv"), "--figure", folder_.File("figure")});
    EXPECT_EQ(compared.status, 0) << compared.messages;
    EXPECT_NE(compared.output.find(bare + ": leave out: there is neither '"), std::string::npos) << compared.output;
    EXPECT_NE(compared.output.find("\n1 to compare, 0 to skip, 2 to leave out, 0 to refuse."), std::string::npos)
        << compared.output;
    EXPECT_NE(compared.output.find("\nTo write: '" + folder_.File("s.csv") + "'\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder_.File("s.csv")));
    EXPECT_FALSE(fs::exists(folder_.File("figure")));

    const ProgramResult tuned =
        dry({"tune", "--truth", File("truth"), "-o", folder_.File("p.json"), "--budget", "0.5"});
    EXPECT_EQ(tuned.status, 0) << tuned.messages;
    EXPECT_NE(tuned.output.find("\n2 to learn from, 0 to skip, 1 to leave out, 0 to refuse. Estimate with 1 at a "
                                "time: "),
              std::string::npos)
        << tuned.output;
    EXPECT_NE(tuned.output.find("\nTo write: '" + folder_.File("p.json") + "'\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder_.File("p.json")));
}

TEST_F(Jobs, ADryRunAgreesWithTheRun) {
    Image("in/a.tif");
    Image("in/b.tif");
    qvox::SaveImageFile(File("out/seg_b.tif"), TwoSquares());
    for (const char* const command : {"detect", "segment", "calibrate", "rois"}) {
        std::vector<std::string> arguments{command, "-o", File("out"), File("in")};
        if (arguments.front() == "calibrate") arguments.insert(arguments.end(), {"--pixel-size", "1.488", "--force"});
        std::vector<std::string> dryArguments = arguments;
        dryArguments.emplace_back("--dry-run");
        const ProgramResult dry = RunProgram(dryArguments);
        const ProgramResult run = RunProgram(arguments);
        EXPECT_EQ(dry.status, run.status) << command;
        std::size_t skipped = 0;
        for (std::size_t at = 0; (at = run.messages.find(".tif: skipped\n", at)) != std::string::npos; ++at) ++skipped;
        EXPECT_NE(dry.output.find(", " + std::to_string(skipped) + " to skip, "), std::string::npos)
            << command << ": " << dry.output << run.messages;
    }
}

TEST_F(Jobs, ADryRunTellsTheSizeOfEachImage) {
    qvox::SaveImageFile(File("a.tif"), Vesicles(1, 500, 400));
    const ProgramResult run = RunProgram({"detect", "--dry-run", File("a.tif")});
    EXPECT_NE(run.output.find(": analyse: 0.20 megapixels\n"), std::string::npos) << run.output;
}

TEST_F(Jobs, ADryRunRefusesAStackAsTheRunDoes) {
    qvox::VoxelImage<std::uint8_t> stack({}, {672.0f, 672.0f, 672.0f});
    stack.Resize(96, 80, 2);
    stack.Zero();
    qvox::SaveImageFile(File("stack.tif"), stack);
    const ProgramResult dry = RunProgram({"detect", "--dry-run", File("stack.tif")});
    EXPECT_EQ(dry.status, 1);
    EXPECT_NE(dry.output.find("refuse: it is a stack; --page N chooses one of its planes"), std::string::npos)
        << dry.output;
    EXPECT_EQ(RunProgram({"detect", File("stack.tif")}).status, 1);
    EXPECT_EQ(RunProgram({"detect", "--dry-run", "--page", "2", File("stack.tif")}).status, 0);
}

TEST_F(Jobs, ADryRunNamesTheTablesOfTheRun) {
    Image("in/a.tif");
    // The folder is made by the run, so the table in it can be.
    const std::string out = folder_.File("none/out");
    const ProgramResult run =
        RunProgram({"detect", "--dry-run", "-o", out, "--table", out + "/t.txt", "--csv", File("all.csv"), File("in")});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_NE(run.output.find("\nTo write: '" + out + "/t.txt'\nTo write: '" + File("all.csv") + "'\n"),
              std::string::npos)
        << run.output;
    EXPECT_FALSE(fs::exists(folder_.File("none")));
    EXPECT_FALSE(fs::exists(File("all.csv")));
    const ProgramResult printed = RunProgram({"measure", "--dry-run", File("in")});
    EXPECT_EQ(printed.output.find("To write"), std::string::npos) << printed.output;
}

TEST_F(Jobs, ADryRunIsRefusedWhereTheRunIs) {
    Image("in/a.tif");
    std::ofstream(File("all.csv")) << "label\n";
    std::ofstream(File("file")) << "x";
    const std::vector<std::vector<std::string>> refused{{"--csv", File("all.csv")},
                                                        {"--csv", File("all.csv"), "--append"},
                                                        {"--csv", folder_.File("none/x.csv")},
                                                        {"--table", folder_.File("out/deeper/x.txt")},
                                                        {"--table", "-", "--csv", "-"},
                                                        {"--stages", File("file")},
                                                        {"--stages", folder_.File("file/stages")}};
    for (const std::vector<std::string>& options : refused) {
        std::vector<std::string> arguments{"detect", "-o", folder_.File("out"), File("in")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        std::vector<std::string> dryArguments = arguments;
        dryArguments.emplace_back("--dry-run");
        const ProgramResult dry = RunProgram(dryArguments);
        EXPECT_FALSE(fs::exists(folder_.File("out"))) << options.back();
        const ProgramResult run = RunProgram(arguments);
        fs::remove_all(folder_.File("out"));
        EXPECT_EQ(run.status, 2) << options.back();
        EXPECT_EQ(dry.status, 2) << options.back() << ": " << dry.output;
        EXPECT_EQ(dry.output, "");
        EXPECT_FALSE(dry.messages.empty());
        // The words for a file in the way of a folder are the system's in the run.
        if (options.front() == "--stages") continue;
        EXPECT_EQ(dry.messages, run.messages) << options.back();
    }
    EXPECT_EQ(Contents(File("all.csv")), "label\n");
}

TEST_F(Jobs, InfoPrintsOneJsonDocument) {
    Image("in/a.tif");
    Image("in/b.tif", 2000.0f * 20.0f);
    Broken("in/c.tif");
    const ProgramResult run = RunProgram({"info", "--json", File("in")});
    EXPECT_EQ(run.status, 1);
    const nlohmann::json document = nlohmann::json::parse(run.output);
    EXPECT_EQ(document.at("program"), "korvane-batch");
    const nlohmann::json& images = document.at("images");
    ASSERT_EQ(images.size(), 3u);
    const nlohmann::json& first = images.at(0);
    EXPECT_EQ(first.at("path"), File("in/a.tif"));
    EXPECT_EQ(first.at("width"), 96);
    EXPECT_EQ(first.at("height"), 80);
    EXPECT_EQ(first.at("planes"), 1);
    EXPECT_EQ(first.at("page"), 1);
    EXPECT_EQ(first.at("pages"), 1);
    EXPECT_EQ(first.at("supported"), true);
    EXPECT_NEAR(first.at("pixelSizeNm").at("x").get<double>(), 1.488, 0.001);
    EXPECT_FALSE(first.at("pixelSizeSource").get<std::string>().empty());
    EXPECT_EQ(first.at("warnings"), nlohmann::json::array());
    EXPECT_NE(images.at(1).at("warnings").at(0).get<std::string>().find("outside 0.05 to 20 nm"), std::string::npos);
    EXPECT_EQ(images.at(2).at("path"), File("in/c.tif"));
    EXPECT_FALSE(images.at(2).at("error").get<std::string>().empty());
    EXPECT_EQ(nlohmann::json::parse(RunProgram({"info", "--json", File("in/c.tif")}).output).at("images").size(), 1u);
}

}  // namespace

}  // namespace korvane_test
