#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

class Subfolder : public ::testing::Test {
protected:
    std::string File(const std::string& name) const {
        fs::create_directories(fs::path(folder_.File(name)).parent_path());
        return folder_.File(name);
    }
    void Image(const std::string& name) const { qvox::SaveImageFile(File(name), Vesicles(1)); }
    TemporaryFolder folder_;
};

TEST_F(Subfolder, ResultsMirrorTheFoldersOfTheImages) {
    Image("in/a.tif");
    Image("in/day1/a.tif");
    Image("in/day2/x/a.tif");
    const ProgramResult run = RunProgram({"detect", "--recursive", "--overlay", "--stages", File("stages"), "--csv",
                                          File("objects.csv"), "-o", File("in/results"), File("in")});
    ASSERT_EQ(run.status, 0) << run.messages;
    for (const char* const folder : {"", "day1/", "day2/x/"}) {
        for (const char* const name : {"seg_a.tif", "export_a.tif", "korvane-record.jsonl", "korvane-run.json"}) {
            EXPECT_TRUE(fs::exists(File(std::string("in/results/") + folder + name))) << folder << name;
        }
        EXPECT_TRUE(fs::exists(File(std::string("stages/") + folder + "edges_a.tif"))) << folder;
    }
    // Labels are found again where they were written; the results inside of the folder are no images.
    const ProgramResult measured =
        RunProgram({"measure", "--recursive", "--labels", File("in/results"), "--csv", "-", File("in")});
    EXPECT_EQ(measured.status, 0) << measured.messages;
    EXPECT_EQ(measured.output, Contents(File("objects.csv")));
    const ProgramResult report = RunProgram({"report", "--recursive", "--labels", File("in/results"), "-o",
                                             File("report"), "--group-by", "folder", File("in")});
    EXPECT_EQ(report.status, 0) << report.messages;
    const std::string summary = Contents(File("report/summary.csv"));
    for (const char* const group : {"group,in,in", "group,day1,day1", "group,x,x"}) {
        EXPECT_NE(summary.find(group), std::string::npos) << summary;
    }
    const ProgramResult copies = RunProgram({"calibrate", "--recursive", "--force", "--pixel-size", "1.488", "-o",
                                             File("in/copies"), "--exclude", "none", File("in")});
    EXPECT_EQ(copies.status, 0) << copies.messages;
    EXPECT_TRUE(fs::exists(File("in/copies/day2/x/a.tif")));
    EXPECT_FALSE(fs::exists(File("in/copies/copies")));
}

TEST_F(Subfolder, NeedAFolderToBeLookedFor) {
    Image("a.tif");
    const ProgramResult run = RunProgram({"info", "--recursive", File("a.tif")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("--recursive enters the subfolders of folders, and no folder is given."),
              std::string::npos);
}

}  // namespace

}  // namespace korvane_test
