#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ImageList.h"
#include "ToolkitError.h"
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
    void Touch(const std::string& name) const { std::ofstream(File(name)) << "x"; }
    void Image(const std::string& name) const { qvox::SaveImageFile(File(name), Vesicles(1)); }
    static Korvane::ImageListing List(const std::string& folder, const std::string& results = "") {
        Korvane::FolderChoice choice;
        choice.subfolders = Korvane::Subfolders::kEntered;
        choice.results = results;
        return Korvane::ListImages({folder}, choice);
    }
    /// Paths below the folder, separated by blanks.
    std::string Below(const std::string& folder, const Korvane::ImageListing& listing) const {
        std::string text;
        for (const std::string& image : listing.images) text += image.substr(File(folder).size() + 1) + " ";
        return text;
    }
    TemporaryFolder folder_;
};

TEST_F(Subfolder, AreEnteredInNaturalOrderAfterTheFoldersOwnImages) {
    for (const char* const name : {"in/z.tif", "in/b10/a.tif", "in/b2/c/2.tif", "in/b2/1.tif", "in/b2/seg_1.tif",
                                   "in/.hidden/a.tif", "in/empty/notes.txt", "in/x.tif/y.tif"}) {
        Touch(name);
    }
    const Korvane::ImageListing listing = List(File("in"));
    EXPECT_EQ(Below("in", listing), "z.tif b2/1.tif b2/c/2.tif b10/a.tif x.tif/y.tif ");
    EXPECT_TRUE(listing.subfolders == (std::vector<std::string>{"", "b2", "b2/c", "b10", "x.tif"}));
    EXPECT_EQ(listing.products, 1u);
    EXPECT_EQ(Below("in", Korvane::ListImages({File("in")})), "z.tif ");
    EXPECT_EQ(Below("in", List(File("in"), File("in/b2"))), "z.tif b10/a.tif x.tif/y.tif ") << "results lie in b2";
    EXPECT_EQ(Below("in", List(File("in"), File("in"))), Below("in", listing)) << "beside the images";
}

TEST_F(Subfolder, LinksToFoldersAreNotFollowedAndAreNamed) {
    Touch("in/a/1.tif");
    Touch("in/b/2.tif");
    Touch("out/3.tif");
    fs::create_directory_symlink(File("out"), File("in/outside"));
    fs::create_directory_symlink("..", File("in/a/loop"));
    fs::create_directory_symlink("../b", File("in/a/inside"));
    fs::create_symlink(File("out/3.tif"), File("in/b/3.tif"));
    const Korvane::ImageListing listing = List(File("in"));
    EXPECT_EQ(Below("in", listing), "a/1.tif b/2.tif b/3.tif ") << "links to files are taken";
    const auto said = [&](const std::string& link, const std::string& cause, const std::string& target) {
        const std::string text = "The link '" + File(link) + "' is not followed: it " + cause + ", '" +
                                 fs::canonical(target).string() + "'.";
        return std::count(listing.notEntered.begin(), listing.notEntered.end(), text) == 1;
    };
    EXPECT_EQ(listing.notEntered.size(), 3u);
    EXPECT_TRUE(said("in/outside", "leads out of the folder", File("out")));
    EXPECT_TRUE(said("in/a/loop", "leads back to a folder that it lies in", File("in")));
    EXPECT_TRUE(said("in/a/inside", "leads to a folder that is entered anyway", File("in/b")));
}

TEST_F(Subfolder, AFolderWithoutAnyImageIsAnError) {
    Touch("in/a/seg_1.tif");
    EXPECT_THROW(List(File("in")), qvox::ToolkitError);
}

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
