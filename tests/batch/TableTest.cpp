#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

const std::string kHeaderLine = "Filename\tLabel\tDiameter(nm)\tRoundness\tPerimeter(nm)\tArea(nm^2)\t\n";

/// Two images with labels, measured into a table.
class Table : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"a.tif", "b.tif"}) AddImage(name);
    }
    void AddImage(const std::string& name) {
        qvox::SaveImageFile(folder_.File(name), Vesicles(1));
        qvox::SaveImageFile(folder_.File("seg_" + name), TwoSquares());
    }
    ProgramResult Measure(std::vector<std::string> options) const {
        options.insert(options.begin(), "measure");
        options.insert(options.end(), {"--table", path_, folder_.Path().string()});
        return RunProgram(options);
    }
    void BreakImage(const std::string& name) const { std::ofstream(folder_.File(name)) << "no image"; }
    std::string Rows() const { return RunProgram({"measure", folder_.Path().string()}).output; }

    TemporaryFolder folder_;
    std::string path_ = folder_.File("t.txt");
};

TEST_F(Table, OfARunWithFailuresDoesNotReplaceAWholeOne) {
    ASSERT_EQ(Measure({}).status, 0);
    const std::string whole = Contents(path_);
    BreakImage("b.tif");
    const ProgramResult run = Measure({"--overwrite"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(path_), whole);
    EXPECT_NE(run.messages.find("error: The measurement table '" + path_ +
                                "' is kept as it was: 1 of 2 images failed. --partial-table writes the rows"),
              std::string::npos)
        << run.messages;
    const ProgramResult partial = Measure({"--overwrite", "--partial-table"});
    EXPECT_EQ(partial.status, 1);
    EXPECT_EQ(Contents(path_), whole.substr(0, whole.find(folder_.File("b.tif"))));
}

TEST_F(Table, ThatIsThereIsReplacedOrAddedToOnlyWhenAskedFor) {
    std::ofstream(path_) << "precious\n";
    const ProgramResult refused = Measure({});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.messages.find("exists already: --overwrite-table replaces it, --append adds rows to it."),
              std::string::npos)
        << refused.messages;
    EXPECT_EQ(Measure({"--append"}).status, 2);
    EXPECT_EQ(Contents(path_), "precious\n");
    EXPECT_EQ(Measure({"--overwrite-table"}).status, 0);
    EXPECT_EQ(Contents(path_), Rows());
    EXPECT_EQ(Measure({"--overwrite-table", "--append"}).status, 2);
}

TEST_F(Table, IsAddedToWithItsHeaderOnce) {
    ASSERT_EQ(Measure({"--append"}).status, 0);
    const std::string once = Contents(path_);
    EXPECT_EQ(once, Rows());
    // Another program took the end of the last line away.
    fs::resize_file(path_, once.size() - 1);
    ASSERT_EQ(Measure({"--append"}).status, 0);
    EXPECT_EQ(Contents(path_), once + once.substr(kHeaderLine.size()));
}

TEST_F(Table, OfSkippedImagesIsReplacedWithoutTheirLabels) {
    const std::string labels = Contents(folder_.File("seg_a.tif"));
    const std::vector<std::string> arguments{"detect", "--table", path_, folder_.Path().string()};
    ASSERT_EQ(RunProgram(arguments).status, 0);
    EXPECT_EQ(RunProgram(arguments).status, 2);
    EXPECT_EQ(RunProgram({"detect", "--overwrite-table", "--table", path_, folder_.Path().string()}).status, 0);
    EXPECT_EQ(Contents(folder_.File("seg_a.tif")), labels);
    EXPECT_EQ(RunProgram({"detect", "--overwrite", "--table", path_, folder_.Path().string()}).status, 0);
    EXPECT_NE(Contents(folder_.File("seg_a.tif")), labels);
}

TEST_F(Table, NamedByADashIsTheStandardOutput) {
    const std::string rows = Rows();
    for (const char* command : {"measure", "detect"}) {
        const ProgramResult run = RunProgram({command, "--table", "-", folder_.Path().string()});
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_EQ(run.output, rows) << command;
    }
    EXPECT_FALSE(fs::exists("/-"));
}

TEST_F(Table, GoesIntoWhatADescriptorLeadsToAndReplacesNothing) {
    const std::string rows = Rows();
    for (const char* name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
        const ProgramResult run = RunProgram({"measure", "--table", name, folder_.Path().string()});
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_EQ(run.output, rows) << name;
    }
    const ProgramResult messages =
        RunProgram({"measure", "--quiet", "--table", "/dev/stderr", folder_.Path().string()});
    EXPECT_EQ(messages.status, 0);
    EXPECT_EQ(messages.messages, rows);
    EXPECT_EQ(RunProgram({"measure", "--table", "/dev/null", folder_.Path().string()}).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_EQ(RunProgram({"measure", "--table", "/dev/full", folder_.Path().string()}).status, 1);
}

TEST_F(Table, GoesIntoTheFileThatIsTheStandardOutput) {
    std::ofstream(folder_.File("out.txt")).flush();
    struct stat before {};
    ASSERT_EQ(::stat(folder_.File("out.txt").c_str(), &before), 0);
    Surroundings surroundings;
    surroundings.standardOutput = folder_.File("out.txt");
    const ProgramResult run =
        RunProgram({"measure", "--table", folder_.File("out.txt"), folder_.Path().string()}, surroundings);
    EXPECT_EQ(run.status, 0) << run.messages;
    struct stat after {};
    ASSERT_EQ(::stat(folder_.File("out.txt").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(Contents(folder_.File("out.txt")), Rows());
}

TEST_F(Table, DoesNotReplaceTheRecord) {
    const std::string record = folder_.File("korvane-record.jsonl");
    EXPECT_EQ(RunProgram({"measure", "--table", record, folder_.Path().string()}).status, 2);
    EXPECT_FALSE(fs::exists(record));
}

TEST_F(Table, WarnsOfANameThatBreaksItsRowsAndShowsItSafely) {
    AddImage("x\t\n\r\x1b]0;title\a.tif");
    const ProgramResult run = Measure({"--quiet"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.messages, "warning: '" + folder_.File("x\\t\\n\\r\\x1b]0;title\\x07.tif") +
                                "' has a tab or the end of a line in its name: its rows of the table have other "
                                "columns than the rest. Rename the file.\n");
}

TEST_F(Table, NoMessageCarriesAControlSequence) {
    const std::string odd = folder_.File(
        "\x1b[2J\xC2\x9B\x9B"
        "1m.tif");
    qvox::SaveImageFile(odd, Vesicles(1));
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"info", odd},
                                               {"info", odd + ".none"},
                                               {"detect", "--verbose", odd},
                                               {"detect", "--table", odd + "/t.txt", odd},
                                               {"measure", "--labels", odd, odd},
                                               {"record", odd}}) {
        const ProgramResult run = RunProgram(arguments);
        const std::string text = run.output + run.messages;
        EXPECT_EQ(text.find('\x1b'), std::string::npos) << arguments.front();
        EXPECT_EQ(text.find('\x9B'), std::string::npos) << arguments.front();
        EXPECT_NE(text.find("\\x1b[2J\\x9b\\x9b1m.tif"), std::string::npos) << text;
    }
}

TEST_F(Table, OnATerminalCarriesNoControlSequence) {
    AddImage("\x1b[2J.tif");
    const std::string row = "/\\x1b[2J.tif\t3\t";
    const std::string shown = ShownOnTerminal({"measure", folder_.File("\x1b[2J.tif")}, row);
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
    EXPECT_NE(shown.find(row), std::string::npos) << shown;
}

}  // namespace

}  // namespace korvane_test
