// What is written for all images together: it is never replaced by less, and where it cannot go is found before the
// work.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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

using Arguments = std::vector<std::string>;

constexpr const char* kTiffText = "' is a TIFF file; such a file is not replaced by text.";

/// Three images with labels, which are also their true ones.
class SingleResults : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(In("in"));
        fs::create_directory(In("truth"));
        for (const char* const name : {"a.tif", "b.tif", "c.tif"}) {
            qvox::SaveImageFile(In("in/") + name, Vesicles(1));
            for (const char* const labels : {"in/seg_", "truth/seg_"}) {
                qvox::SaveImageFile(In(labels) + name, TwoSquares());
            }
        }
    }
    std::string In(const std::string& name) const { return folder_.File(name); }
    void Break(const std::string& name) const { std::ofstream(In(name)) << "no image"; }
    ProgramResult Run(Arguments arguments, const Arguments& more = {}) const {
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.push_back(In("in"));
        return RunProgram(arguments);
    }
    Arguments Compare(const Arguments& more = {}) const {
        Arguments arguments{"compare", "--no-stages", "--truth", In("truth")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    Arguments Tune(const std::string& output) const {
        return {"tune", "--evaluations", "1", "--truth", In("truth"), "-o", output};
    }
    static void ExpectSays(const ProgramResult& run, const std::string& text) {
        EXPECT_NE(run.messages.find(text), std::string::npos) << text << "\nin\n" << run.messages;
    }
    /// Every command that writes a single file, with it.
    std::vector<Arguments> WritersOf(const std::string& file) const {
        return {{"detect", "--overwrite", "--table", file},
                {"detect", "--overwrite", "--csv", file},
                {"measure", "--table", file},
                Compare({"--csv", file}),
                Compare({"--objects", file}),
                Compare({"--json", file}),
                Tune(file),
                {"merge", "-o", file}};
    }
    static Arguments WithLeaveToReplace(Arguments writer) {
        if (writer.front() == "detect" || writer.front() == "measure") writer.push_back("--overwrite-table");
        if (writer.front() == "compare" || writer.front() == "tune") writer.push_back("--overwrite");
        // With merge the table to read comes last.
        if (writer.front() == "merge") writer.insert(writer.begin() + 1, "--overwrite");
        return writer;
    }
    /// `merge` gets a table, the others the images.
    ProgramResult RunWriter(Arguments writer) const {
        if (writer.front() != "merge") return Run(writer);
        writer.push_back(In("part.csv"));
        return RunProgram(writer);
    }

    TemporaryFolder folder_;
};

TEST_F(SingleResults, RowsAreNotAddedToATableWhenImagesFailed) {
    const Arguments measure{"measure", "--append", "--table", In("t.txt"), "--csv", In("t.csv")};
    ASSERT_EQ(Run(measure).status, 0);
    const std::string table = Contents(In("t.txt"));
    const std::string csv = Contents(In("t.csv"));
    Break("in/seg_b.tif");
    const ProgramResult run = Run(measure);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(In("t.txt")), table);
    EXPECT_EQ(Contents(In("t.csv")), csv);
    for (const char* const what : {"The measurement table '", "The table of objects '"}) ExpectSays(run, what);
    ExpectSays(run, In("t.txt") + "' is kept as it was: 1 of 3 images failed. --partial-table adds the rows of");
    ExpectSays(run, In("t.csv") + "' is kept as it was: 1 of 3 images failed. --partial-table adds the rows of");
    EXPECT_EQ(Run(measure, {"--partial-table"}).status, 1);
    EXPECT_GT(Contents(In("t.txt")).size(), table.size());
    EXPECT_GT(Contents(In("t.csv")).size(), csv.size());
}

TEST_F(SingleResults, ATableThatIsNotThereGetsTheRowsOfTheOthersAlsoWithAppend) {
    Break("in/seg_b.tif");
    EXPECT_EQ(Run({"measure", "--append", "--table", In("t.txt")}).status, 1);
    const std::string table = Contents(In("t.txt"));
    EXPECT_NE(table.find("c.tif\t700"), std::string::npos) << table;
}

TEST_F(SingleResults, ATableIsNotReplacedByOneThatLacksImagesWithoutLabels) {
    fs::rename(In("in/seg_b.tif"), In("b"));
    ASSERT_EQ(Run({"measure", "--table", In("first.txt")}).status, 0) << "there is nothing that could be lost";
    fs::rename(In("b"), In("in/seg_b.tif"));
    ASSERT_EQ(Run({"measure", "--table", In("t.txt")}).status, 0);
    const std::string table = Contents(In("t.txt"));
    fs::remove(In("in/seg_b.tif"));
    for (const char* const way : {"--overwrite", "--append"}) {
        const ProgramResult run = Run({"measure", way, "--table", In("t.txt")});
        EXPECT_EQ(run.status, 1) << way;
        EXPECT_EQ(Contents(In("t.txt")), table) << way;
        ExpectSays(run, "' is kept as it was: 1 of 3 images was left out for want of labels. --partial-table ");
    }
    Break("in/seg_a.tif");
    ExpectSays(Run({"measure", "--overwrite", "--table", In("t.txt")}),
               "' is kept as it was: 1 of 3 images failed, 1 was left out for want of labels. --partial-table ");
    qvox::SaveImageFile(In("in/seg_a.tif"), TwoSquares());
    EXPECT_EQ(Run({"measure", "--overwrite", "--partial-table", "--table", In("t.txt")}).status, 0);
    EXPECT_EQ(Contents(In("t.txt")), Contents(In("first.txt")));
}

TEST_F(SingleResults, ATableOfSegmentationIsNotReplacedByOneThatLacksImagesWithoutSeeds) {
    const Arguments segment{"segment", "-o", In("out"), "--labels", In("in"), "--csv", In("s.csv")};
    ASSERT_EQ(Run(segment).status, 0);
    const std::string table = Contents(In("s.csv"));
    fs::remove_all(In("out"));
    fs::remove(In("in/seg_b.tif"));
    EXPECT_EQ(Run(segment, {"--overwrite-table"}).status, 1);
    EXPECT_EQ(Contents(In("s.csv")), table);
    EXPECT_TRUE(fs::exists(In("out/seg_c.tif"))) << "the labels of the others are written";
}

TEST_F(SingleResults, TheFilesOfAComparisonAreNotReplacedByThoseOfFewerImages) {
    const Arguments files{"--csv", In("c.csv"), "--objects", In("o.csv")};
    ASSERT_EQ(Run(Compare(files)).status, 0);
    const std::string scores = Contents(In("c.csv"));
    const std::string objects = Contents(In("o.csv"));
    Break("in/seg_b.tif");
    const ProgramResult run = Run(Compare(files), {"--overwrite", "--json", In("c.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(In("c.csv")), scores);
    EXPECT_EQ(Contents(In("o.csv")), objects);
    EXPECT_FALSE(fs::exists(In("c.json"))) << "it would not be of one run with the others";
    ExpectSays(run, "error: '" + In("c.csv") + "' is kept as it was: 1 of 3 images failed. --partial-table writes");
    ExpectSays(run, "error: '" + In("o.csv") + "' is kept as it was: 1 of 3 images failed. --partial-table writes");
    ExpectSays(run, "error: '" + In("c.json") + "' is not written");
    EXPECT_NE(run.output.find("F1"), std::string::npos) << "the scores are told";
    EXPECT_EQ(Run(Compare(files), {"--overwrite", "--partial-table"}).status, 1);
    EXPECT_EQ(Contents(In("c.csv")).find("b.tif"), std::string::npos);
    EXPECT_NE(Contents(In("c.csv")).find("c.tif"), std::string::npos);
    EXPECT_LT(Contents(In("o.csv")).size(), objects.size());
    // Where there is nothing, the others are written.
    EXPECT_EQ(Run(Compare({"--csv", In("new.csv"), "--overwrite"})).status, 1);
    EXPECT_EQ(Contents(In("new.csv")), Contents(In("c.csv")));
}

TEST_F(SingleResults, TheFigureOfAComparisonIsNotReplacedByThatOfFewerImages) {
    const std::string data = In("figure/diameter_agreement.dat");
    ASSERT_EQ(Run(Compare({"--figure", In("figure")})).status, 0);
    const std::string whole = Contents(data);
    Break("in/seg_b.tif");
    const ProgramResult run = Run(Compare({"--figure", In("figure")}));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(data), whole);
    ExpectSays(run, "' is kept as it was: 1 of 3 images failed. --partial-table writes");
    EXPECT_EQ(Run(Compare({"--figure", In("figure"), "--partial-table"})).status, 1);
    EXPECT_NE(Contents(data), whole);
}

TEST_F(SingleResults, AReportIsNotReplacedByOneOfFewerImages) {
    const Arguments report{"report", "-o", In("report")};
    ASSERT_EQ(Run(report).status, 0);
    const std::string page = Contents(In("report/report.html"));
    const std::string objects = Contents(In("report/objects.csv"));
    Break("in/seg_b.tif");
    const ProgramResult run = Run(report, {"--overwrite"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(In("report/report.html")) == page, true);
    EXPECT_EQ(Contents(In("report/objects.csv")), objects);
    ExpectSays(run,
               "error: The report '" + In("report") + "' is kept as it was: 1 of 3 images failed. --partial-table");
    EXPECT_EQ(Run(report, {"--overwrite", "--partial-table"}).status, 1);
    EXPECT_EQ(Contents(In("report/objects.csv")).find("b.tif"), std::string::npos);
    EXPECT_NE(Contents(In("report/report.html")).find("2 of 3 images are part of this report"), std::string::npos);
}

TEST_F(SingleResults, APartOfAReportIsNotReplacedByOneOfFewerImages) {
    const Arguments report{"report", "--shard", "1/1", "-o", In("part")};
    ASSERT_EQ(Run(report).status, 0);
    const std::string whole = Contents(In("part/report-part.jsonl"));
    Break("in/seg_b.tif");
    const ProgramResult run = Run(report, {"--overwrite"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(In("part/report-part.jsonl")) == whole, true);
    ExpectSays(run, "is kept as it was: 1 of 3 images failed. --partial-table");
    EXPECT_EQ(Run(report, {"--overwrite", "--partial-table"}).status, 1);
    EXPECT_EQ(Contents(In("part/report-part.jsonl")) == whole, false);
}

TEST_F(SingleResults, ThatGoToTheStandardOutputDoNotReplaceTheFileBehindIt) {
    ASSERT_EQ(Run({"measure", "--csv", In("part.csv")}).status, 0);
    for (const char* const name : {"-", "/dev/stdout", "/dev/fd/1"}) {
        for (const Arguments& writer : WritersOf(name)) {
            const std::string where = writer.front() + " " + writer[writer.size() - 2] + " " + name;
            Surroundings surroundings;
            surroundings.workingFolder = folder_.Path().string();
            surroundings.standardOutput = In("out.txt");
            std::ofstream(In("out.txt")) << "what stood here before\n";
            struct stat before {};
            ASSERT_EQ(::stat(In("out.txt").c_str(), &before), 0);
            Arguments arguments = writer;
            arguments.push_back(writer.front() == "merge" ? In("part.csv") : In("in"));
            const ProgramResult run = RunProgram(arguments, surroundings);
            EXPECT_EQ(run.status, 0) << where << ": " << run.messages;
            struct stat after {};
            ASSERT_EQ(::stat(In("out.txt").c_str(), &after), 0);
            EXPECT_EQ(before.st_ino, after.st_ino) << where;
            EXPECT_GT(after.st_size, 0) << where;
        }
    }
    EXPECT_FALSE(fs::exists(In("-")));
}

TEST_F(SingleResults, OfAComparisonStandAloneOnTheStandardOutput) {
    ASSERT_EQ(Run(Compare({"--csv", In("c.csv"), "--objects", In("o.csv"), "--json", In("c.json")})).status, 0);
    for (const char* const name : {"-", "/dev/stdout"}) {
        EXPECT_EQ(Run(Compare({"--csv", name})).output, Contents(In("c.csv")));
        EXPECT_EQ(Run(Compare({"--objects", name})).output, Contents(In("o.csv")));
        EXPECT_EQ(Run(Compare({"--json", name})).output, Contents(In("c.json")));
    }
    // The scores for a person go where the messages go.
    ExpectSays(Run(Compare({"--csv", "-"})), "mean IoU");
    EXPECT_EQ(Run(Compare({"--quiet", "--csv", "-"})).messages, "");
    for (const Arguments& two : {Arguments{"--csv", "-", "--json", "-"}, {"--csv", "-", "--objects", "/dev/stdout"}}) {
        const ProgramResult run = Run(Compare(two));
        EXPECT_EQ(run.status, 2);
        ExpectSays(run, "Only one of --csv, --objects and --json can go to the standard output.");
    }
}

TEST_F(SingleResults, LearntParametersStandAloneOnTheStandardOutput) {
    ASSERT_EQ(Run(Tune(In("p.json"))).status, 0);
    const ProgramResult run = Run(Tune("-"));
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.output, Contents(In("p.json")));
    ExpectSays(run, "held out");
    EXPECT_EQ(Run(Tune("-"), {"--quiet"}).messages.find("held out"), std::string::npos);
}

TEST_F(SingleResults, ADeviceIsWrittenToWithoutLeaveToReplaceIt) {
    ASSERT_EQ(Run({"measure", "--csv", In("part.csv")}).status, 0);
    for (const Arguments& writer : WritersOf("/dev/null")) {
        const ProgramResult run = RunWriter(writer);
        EXPECT_EQ(run.status, 0) << writer.front() << ": " << run.messages;
    }
    for (const Arguments& writer : WritersOf("/dev/full")) {
        const ProgramResult run = RunWriter(writer);
        EXPECT_EQ(run.status, 1) << writer.front();
        ExpectSays(run, "Cannot write to '/dev/full': No space left on device");
    }
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(SingleResults, TooLongANameIsFoundBeforeTheWork) {
    ASSERT_EQ(Run({"measure", "--csv", In("part.csv")}).status, 0);
    const std::string name(256, 'n');
    for (const Arguments& writer : WritersOf(In(name))) {
        const ProgramResult run = RunWriter(writer);
        const std::string where = writer.front() + " " + writer[writer.size() - 2];
        EXPECT_EQ(run.status, 2) << where;
        ExpectSays(run, "has too long a name: it has 256 bytes, and its folder takes at most 255.");
        EXPECT_EQ(run.messages.find("[1/3]"), std::string::npos) << where << ": " << run.messages;
        if (writer.front() == "merge") continue;
        EXPECT_EQ(Run(writer, {"--dry-run"}).status, 2) << where;
    }
    // The longest name that fits.
    for (const Arguments& writer : WritersOf(In(name.substr(1)))) {
        EXPECT_EQ(RunWriter(writer).status, 0) << writer.front();
        fs::remove(In(name.substr(1)));
    }
}

TEST_F(SingleResults, TooLongANameOfAFolderIsFoundBeforeTheWork) {
    const std::string folder = In(std::string(256, 'n'));
    for (const Arguments& writer : {Arguments{"report", "-o", folder}, Compare({"--figure", folder}),
                                    Arguments{"detect", "-o", folder, "--overwrite"}}) {
        for (const Arguments& more : {Arguments{}, Arguments{"--dry-run"}}) {
            const ProgramResult run = Run(writer, more);
            EXPECT_EQ(run.status, 2) << writer.front() << " " << more.size();
            ExpectSays(run, "cannot be made: File name too long");
        }
    }
}

TEST_F(SingleResults, ALinkThatLeadsNowhereIsFoundBeforeTheWork) {
    ASSERT_EQ(Run({"measure", "--csv", In("part.csv")}).status, 0);
    fs::create_symlink(In("none/t.txt"), In("link"));
    for (const Arguments& writer : WritersOf(In("link"))) {
        const ProgramResult run = RunWriter(writer);
        EXPECT_EQ(run.status, 2) << writer.front();
        ExpectSays(run, "is a link that leads to no file.");
        EXPECT_TRUE(fs::is_symlink(In("link")));
        if (writer.front() == "merge") continue;
        EXPECT_EQ(Run(writer, {"--dry-run"}).status, 2) << writer.front();
    }
    // One that leads to a file is followed.
    fs::create_directory(In("none"));
    std::ofstream(In("none/t.txt")).flush();
    EXPECT_EQ(Run({"measure", "--table", In("link")}).status, 0);
    EXPECT_NE(Contents(In("none/t.txt")).find("c.tif\t700"), std::string::npos);
    EXPECT_TRUE(fs::is_symlink(In("link")));
}

TEST_F(SingleResults, DoNotReplaceATiffFile) {
    ASSERT_EQ(Run({"measure", "--csv", In("part.csv")}).status, 0);
    const std::vector<std::string> images{In("in/a.tif"), In("in/seg_a.tif"), In("truth/seg_a.tif")};
    for (const std::string& image : images) {
        const std::string bytes = Contents(image);
        for (Arguments writer : WritersOf(image)) {
            const std::string where = writer.front() + " " + image;
            writer = WithLeaveToReplace(writer);
            const ProgramResult run = RunWriter(writer);
            EXPECT_EQ(run.status, 2) << where;
            ExpectSays(run, image);
            const bool isTable = writer.front() == "detect" || writer.front() == "measure";
            const bool isOfRun = image.rfind(In("in/"), 0) == 0;
            ExpectSays(run, isTable && isOfRun ? "' would be written over " : kTiffText);
            EXPECT_EQ(Contents(image), bytes) << where;
            if (writer.front() == "merge") continue;
            EXPECT_EQ(Run(writer, {"--dry-run"}).status, 2) << where;
        }
    }
    fs::create_symlink(In("truth/seg_a.tif"), In("link"));
    for (const char* const way : {"--overwrite-table", "--append"}) {
        ExpectSays(Run({"measure", way, "--table", In("link")}), In("link") + kTiffText);
    }
    for (const char* const start : {"II*\0", "MM\0*", "II+\0", "MM\0+"}) {
        std::ofstream(In("t.txt"), std::ios::binary).write(start, 4);
        ExpectSays(Run({"measure", "--overwrite-table", "--table", In("t.txt")}), "is a TIFF file");
    }
    for (const char* const other : {"II", "MMMM", "a table"}) {
        std::ofstream(In("t.txt"), std::ios::binary) << other;
        EXPECT_EQ(Run({"measure", "--overwrite-table", "--table", In("t.txt")}).status, 0) << other;
    }
}

TEST_F(SingleResults, DoNotReplaceWhatMayBeATiffFile) {
    if (::getuid() != 0) GTEST_SKIP() << "runs the program as another user, which only root can";
    std::ofstream(In("t.txt")) << "a table";
    fs::permissions(In("t.txt"), fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write);
    fs::permissions(folder_.Path(), fs::perms::all);
    Surroundings other;
    other.user = 65534;
    const ProgramResult run =
        RunProgram({"measure", "--overwrite-table", "--table", In("t.txt"), In("in/a.tif")}, other);
    EXPECT_EQ(run.status, 2);
    ExpectSays(run, In("t.txt") + "' cannot be replaced: it cannot be read, and may be a TIFF file.");
    EXPECT_EQ(Contents(In("t.txt")), "a table");
}

TEST_F(SingleResults, DoNotReplaceTheRecordOrTheReportOfARun) {
    ASSERT_EQ(Run({"measure", "--csv", In("part.csv")}).status, 0);
    for (const char* const name : {"korvane-record.jsonl", "korvane-run.json"}) {
        std::ofstream(In(name)) << "kept";
        fs::remove(In("link"));
        fs::create_symlink(In(name), In("link"));
        for (const std::string& file : {In(name), In("link")}) {
            for (const Arguments& writer : WritersOf(file)) {
                const ProgramResult run = RunWriter(WithLeaveToReplace(writer));
                EXPECT_EQ(run.status, 2) << writer.front() << " " << file;
                ExpectSays(run, "' would be written where the re");
                EXPECT_EQ(Contents(In(name)), "kept") << writer.front() << " " << file;
            }
        }
    }
}

TEST_F(SingleResults, OfAComparisonAreNotItsPictures) {
    fs::create_directory(In("cmp"));
    const std::string picture = In("cmp/compare_a.tif");
    for (const char* const option : {"--csv", "--objects", "--json"}) {
        const ProgramResult run = Run(Compare({"--overwrite", "-o", In("cmp"), "--overlay", option, picture}));
        EXPECT_EQ(run.status, 2) << option;
        ExpectSays(run, "The file '" + picture + "' would be written over an image of this run.");
        const std::string data = In("fig/diameter_agreement.dat");
        fs::create_directory(In("fig"));
        ExpectSays(Run(Compare({"--overwrite", "--figure", In("fig"), option, data})),
                   "'" + data + "' would be written over a file of the figure.");
        EXPECT_TRUE(fs::is_empty(In("cmp"))) << option;
        EXPECT_TRUE(fs::is_empty(In("fig"))) << option;
    }
}

TEST_F(SingleResults, ARunWithFailuresSaysWhatItSkippedAndLeftOut) {
    Break("in/seg_a.tif");
    fs::remove(In("in/seg_b.tif"));
    ExpectSays(Run({"measure"}), "error: 1 of 3 images failed, 1 left out for want of labels.\n");
    qvox::SaveImageFile(In("in/seg_b.tif"), TwoSquares());
    ExpectSays(Run({"detect", "--overlay"}),
               "error: 1 of 3 images failed, 2 of the others skipped; --overwrite replaces the files that exist.\n");
}

}  // namespace

}  // namespace korvane_test
