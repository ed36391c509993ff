#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

class ListFile : public ::testing::Test {
protected:
    std::string Image(const std::string& name) {
        std::filesystem::create_directories(std::filesystem::path(File(name)).parent_path());
        qvox::SaveImageFile(File(name), Vesicles(1, 20, 10));
        return File(name);
    }
    std::string List(const std::string& text) {
        std::ofstream(File("list"), std::ios::binary) << text;
        return File("list");
    }
    std::string File(const std::string& name) const { return folder_.File(name); }
    /// The images that `info` tells of, in its order, separated by blanks.
    std::string Images(const ProgramResult& run) const {
        std::string names;
        for (std::size_t start = 0; start < run.output.size(); start = run.output.find('\n', start) + 1) {
            const std::string line = run.output.substr(start, run.output.find(": 20 x 10", start) - start);
            names += (names.empty() ? "" : " ") + line.substr(folder_.Path().string().size() + 1);
        }
        return names;
    }
    ProgramResult Info(std::vector<std::string> arguments, const std::string& input = "/dev/null") const {
        arguments.insert(arguments.begin(), "info");
        Surroundings surroundings;
        surroundings.workingFolder = folder_.Path().string();
        surroundings.standardInput = input;
        return RunProgram(arguments, surroundings);
    }
    std::string Refusal(std::vector<std::string> arguments) const {
        const ProgramResult run = Info(std::move(arguments));
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        return run.messages.substr(0, run.messages.find('\n'));
    }
    TemporaryFolder folder_;
};

TEST_F(ListFile, LinesNameImagesAndFoldersBesideThoseOfTheCommandLine) {
    for (const char* const name : {"c.tif", "a b.tif", "d/2.tif", "d/10.tif", "e.tif"}) Image(name);
    // The last line may lack its end, and a list of another system ends lines otherwise.
    const std::string list = List("./a b.tif\r\n" + File("c.tif") + "\ne.tif");
    EXPECT_EQ(Images(Info({"--files-from", list})), "a b.tif c.tif e.tif");
    EXPECT_EQ(Images(Info({"--files-from", List("\xEF\xBB\xBF" "c.tif\n")})), "c.tif") << "a mark of the encoding";
    List("./a b.tif\r\n" + File("c.tif") + "\ne.tif");
    EXPECT_EQ(Images(Info({"--files-from", list, "e.tif"})), "e.tif a b.tif c.tif");
    EXPECT_EQ(Images(Info({"--files-from=-"}, list)), "a b.tif c.tif e.tif");
    EXPECT_EQ(Images(Info({"--files-from", "-"}, list)), "a b.tif c.tif e.tif");
    EXPECT_EQ(Images(Info({"--files-from", List("e.tif\nd\n")})), "d/2.tif d/10.tif e.tif");
    EXPECT_EQ(Images(Info({"--files-from", List("d\n"), "--include", "2*"})), "d/2.tif");
    EXPECT_EQ(Images(Info({"--include", "2*", "d", "c.tif"})), "d/2.tif c.tif") << "a pattern is one word";
}

TEST_F(ListFile, NamesThatEndInZeroBytesMayHoldLineEnds) {
    Image("a\nb.tif");
    Image("c.tif");
    const std::string list = List(std::string("a\nb.tif\0c.tif\0", 14));
    for (const char* const option : {"-0", "--null"}) {
        const ProgramResult run = Info({option, "--files-from", list});
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 2) << run.output;
        EXPECT_NE(run.output.find("a\\nb.tif: 20 x 10"), std::string::npos) << run.output;
    }
    EXPECT_EQ(Refusal({"--files-from", list}), "korvane-batch: --files-from: Line 2 of the list '" + list +
                                                   "' holds a zero byte; --null reads lists whose names end in one.");
    EXPECT_NE(Info({"-0", "c.tif"}).status, 0) << "without a list";
}

TEST_F(ListFile, AListThatNamesNothingIsRefusedBeforeAnyWork) {
    Image("a.tif");
    EXPECT_EQ(Refusal({"--files-from", File("none"), "a.tif"}),
              "korvane-batch: --files-from: Cannot read the list '" + File("none") + "': No such file or directory.");
    EXPECT_EQ(Refusal({"--files-from", folder_.Path().string()}),
              "korvane-batch: --files-from: Cannot read the list '" + folder_.Path().string() + "': it is a folder.");
    const std::string list = List("a.tif\n\na.tif\n");
    EXPECT_EQ(Refusal({"--files-from", list}),
              "korvane-batch: --files-from: Line 2 of the list '" + list + "' names no image: it is empty.");
    EXPECT_EQ(Refusal({"--files-from", List("")}),
              "korvane-batch: --files-from: the list '" + list + "' names no image: it is empty.");
    EXPECT_EQ(Refusal({}), "korvane-batch: IMAGE is required");
}

TEST_F(ListFile, AnImageThatIsNotThereFailsAlone) {
    Image("a.tif");
    const ProgramResult run = Info({"--files-from", List("none.tif\na.tif\n")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Images(run), "a.tif");
    EXPECT_NE(run.messages.find("'" + File("none.tif") + "'"), std::string::npos) << run.messages;
}

TEST_F(ListFile, LongListsAreReadWhole) {
    std::string text;
    for (int i = 0; i < 20000; ++i) text += "n" + std::to_string(i) + ".tif\n";
    // Two images of one result would be written: the last pair of the list tells that all of it was read.
    text += "x/same.tif\ny/same.tif\n";
    const ProgramResult run = RunProgram({"detect", "-o", File("out"), "--files-from", List(text)});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("'/x/same.tif' and '/y/same.tif' would both be written to"), std::string::npos)
        << run.messages;
}

}  // namespace

}  // namespace korvane_test
