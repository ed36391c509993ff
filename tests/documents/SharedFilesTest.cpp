#include "SharedFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "PathText.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

TEST(SharedFileText, IsEmptyWhereEachHasItsOwn) {
    EXPECT_EQ(SharedFileText({"/d/a.tif", "/d/b.tif"}, {"/o/seg_a.tif", "/o/seg_b.tif"}, FileUse::kWrite), "");
    EXPECT_EQ(SharedFileText({}, {}, FileUse::kRead), "");
}

TEST(SharedFileText, NamesBothInputsAndTheFile) {
    const std::vector<wxString> inputs{"/x/c.tif", "/d1/a.tif", "/d2/a.tif"};
    const std::vector<wxString> files{"/o/seg_c.tif", "/o/seg_a.tif", "/o/seg_a.tif"};
    EXPECT_EQ(SharedFileText(inputs, files, FileUse::kWrite),
              "'/d1/a.tif' and '/d2/a.tif' would both be written to '/o/seg_a.tif'");
    EXPECT_EQ(SharedFileText(inputs, files, FileUse::kRead),
              "'/d1/a.tif' and '/d2/a.tif' would both be read from '/o/seg_a.tif'");
}

TEST(SharedFileText, FollowsLinks) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "d");
    std::filesystem::create_directory_symlink(folder.Path() / "d", folder.Path() / "link");
    std::ofstream(folder.File("d/a.tif")) << "x";
    const std::vector<wxString> inputs{PathText(folder.File("d/a.tif")), PathText(folder.File("link/a.tif"))};
    const std::vector<wxString> files{PathText(folder.File("d/seg_a.tif")), PathText(folder.File("link/seg_a.tif"))};
    EXPECT_NE(SharedFileText(inputs, files, FileUse::kWrite), "");
    EXPECT_EQ(SharedFileText(inputs, files, FileUse::kRead), "") << "one image, named twice, has one result";
}

TEST(PlaceFinder, FindsThePlacesOfPlaceOf) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "d");
    std::filesystem::create_directory_symlink(folder.Path() / "d", folder.Path() / "link");
    std::ofstream(folder.File("d/a.tif")) << "x";
    std::filesystem::create_symlink(folder.Path() / "d/a.tif", folder.Path() / "d/b.tif");
    PlaceFinder places;
    const wxString file = PlaceOf(PathText(folder.File("d/a.tif")));
    for (const char* const name : {"d/a.tif", "link/a.tif", "d/b.tif", "link/b.tif"}) {
        EXPECT_EQ(places.Of(PathText(folder.File(name))), file) << name;
    }
    EXPECT_EQ(places.OfName(PathText(folder.File("link/a.tif"))), file);
    EXPECT_EQ(places.OfName(PathText(folder.File("link/b.tif"))), JoinPath(FolderOf(file), "b.tif"))
        << "the link itself is not looked at";
}

}  // namespace

}  // namespace Korvane
