#include "ManualPlace.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <wx/filename.h>
#include <wx/stdpaths.h>

#include "PathText.h"
#include "support/TemporaryFolder.h"

// Where Help > About finds the manual. No browser is started.

namespace {

using namespace Korvane;

/// An installation of the manual alone, in a folder that no build knew.
class ManualPlaces : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(prefix / "bin");
        const std::string command = "'" KORVANE_CMAKE "' --install '" KORVANE_BUILD_FOLDER
                                    "' --component manual --prefix '" +
                                    prefix.string() + "' >/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        ASSERT_TRUE(std::filesystem::exists(manual / "html/manual.html"));
    }

    ManualPlace Found() const { return FindManual(PathText((prefix / "bin").string())); }

    const korvane_test::TemporaryFolder folder;
    const std::filesystem::path prefix = folder.Path() / "installed f\xC3\xBCr all";
    const std::filesystem::path manual = prefix / "share/doc/korvane";
};

TEST_F(ManualPlaces, InABuildFolderThePageLiesBesideTheProgram) {
    const ManualPlace place = FindManual(wxFileName(wxStandardPaths::Get().GetExecutablePath()).GetPath());
    EXPECT_EQ(place.page, PathText(KORVANE_BUILD_FOLDER "/share/doc/korvane/html/manual.html"));
    EXPECT_TRUE(wxFileName::FileExists(place.page));
    EXPECT_EQ(place.text, "");
}

TEST_F(ManualPlaces, AnInstallationThatWasMovedHasItsOwnPage) {
    EXPECT_EQ(Found().page, PathText((manual / "html/manual.html").string()));
    EXPECT_EQ(Found().text, "");
}

TEST_F(ManualPlaces, WithoutPagesTheDocumentIsNamed) {
    std::filesystem::remove_all(manual / "html");
    std::ofstream(manual / "MANUAL.md") << "# Manual\n";
    EXPECT_EQ(Found().page, "");
    EXPECT_EQ(Found().text, PathText((manual / "MANUAL.md").string()));
}

TEST_F(ManualPlaces, WithoutAnyManualNothingIsNamed) {
    std::filesystem::remove_all(manual);
    EXPECT_EQ(Found().page, "");
    EXPECT_EQ(Found().text, "");
}

}  // namespace
