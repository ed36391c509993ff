#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ImageList.h"
#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

class EnteredFolders : public ::testing::Test {
protected:
    std::string File(const std::string& name) const {
        fs::create_directories(fs::path(folder_.File(name)).parent_path());
        return folder_.File(name);
    }
    void Touch(const std::string& name) const { std::ofstream(File(name)) << "x"; }
    static ImageListing List(const std::string& folder, const std::string& results = "") {
        FolderChoice choice;
        choice.subfolders = Subfolders::kEntered;
        choice.results = results;
        return ListImages({folder}, choice);
    }
    /// Paths below the folder, separated by blanks.
    std::string Below(const std::string& folder, const ImageListing& listing) const {
        std::string text;
        for (const std::string& image : listing.images) text += image.substr(File(folder).size() + 1) + " ";
        return text;
    }
    korvane_test::TemporaryFolder folder_;
};

TEST_F(EnteredFolders, AreTakenInNaturalOrderAfterTheFoldersOwnImages) {
    for (const char* const name : {"in/z.tif", "in/b10/a.tif", "in/b2/c/2.tif", "in/b2/1.tif", "in/b2/seg_1.tif",
                                   "in/.hidden/a.tif", "in/empty/notes.txt", "in/x.tif/y.tif"}) {
        Touch(name);
    }
    const ImageListing listing = List(File("in"));
    EXPECT_EQ(Below("in", listing), "z.tif b2/1.tif b2/c/2.tif b10/a.tif x.tif/y.tif ");
    EXPECT_TRUE(listing.subfolders == (std::vector<std::string>{"", "b2", "b2/c", "b10", "x.tif"}));
    EXPECT_EQ(listing.products, 1u);
    EXPECT_EQ(Below("in", ListImages({File("in")})), "z.tif ");
    EXPECT_EQ(Below("in", List(File("in"), File("in/b2"))), "z.tif b10/a.tif x.tif/y.tif ") << "results lie in b2";
    EXPECT_EQ(Below("in", List(File("in"), File("in"))), Below("in", listing)) << "beside the images";
}

TEST_F(EnteredFolders, LinksToFoldersAreNotFollowedAndAreNamed) {
    Touch("in/a/1.tif");
    Touch("in/b/2.tif");
    Touch("out/3.tif");
    fs::create_directory_symlink(File("out"), File("in/outside"));
    fs::create_directory_symlink("..", File("in/a/loop"));
    fs::create_directory_symlink("../b", File("in/a/inside"));
    fs::create_symlink(File("out/3.tif"), File("in/b/3.tif"));
    const ImageListing listing = List(File("in"));
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

TEST_F(EnteredFolders, AFolderWithoutAnyImageIsAnError) {
    Touch("in/a/seg_1.tif");
    EXPECT_THROW(List(File("in")), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane
