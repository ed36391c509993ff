#include "PathText.h"

#include <gtest/gtest.h>

#include <random>

namespace Korvane {

namespace {

TEST(PathText, OrdinaryNamesAreWhatTheyLookLike) {
    EXPECT_EQ(PathText("/data/a.tif"), wxString("/data/a.tif"));
    EXPECT_EQ(PathText("/d/\xC3\xBC \xC3\xA9 \xC2\xB5 \xE4\xB8\xAD#%.tif"),
              wxString(L"/d/\u00FC \u00E9 \u00B5 \u4E2D#%.tif"));
    EXPECT_EQ(PathBytes(wxString(L"\u4E2D.tif")), "\xE4\xB8\xAD.tif");
}

TEST(PathText, NoBytesAreOutOfReach) {
    for (const char* bytes :
         {"", "a\xFF.tif", "\x80", "\xC3", "\xE4\xB8", "\xED\xA0\x80", "\xF4\x80\x82\x80", "\xF8\x88"}) {
        EXPECT_EQ(PathBytes(PathText(bytes)), bytes);
    }
}

TEST(PathText, RandomBytesComeBack) {
    for (unsigned seed = 0; seed < 2000; ++seed) {
        std::mt19937 random(seed);
        std::string bytes(1 + random() % 12, ' ');
        for (char& byte : bytes) byte = static_cast<char>(1 + random() % 255);
        ASSERT_EQ(PathBytes(PathText(bytes)), bytes) << "seed " << seed;
    }
}

TEST(FolderOf, SplitsAtTheLastSeparatorOfEitherKindOnWindows) {
    EXPECT_EQ(FolderOf("C:\\data\\a.tif", PathStyle::kWindows), wxString("C:\\data"));
    EXPECT_EQ(FileNameOf("C:\\data\\a.tif", PathStyle::kWindows), wxString("a.tif"));
    EXPECT_EQ(FolderOf("C:\\data/x\\b/a.tif", PathStyle::kWindows), wxString("C:\\data/x\\b"));
    EXPECT_EQ(FileNameOf("C:/data/a.tif", PathStyle::kWindows), wxString("a.tif"));
}

TEST(FolderOf, TakesABackslashForALetterElsewhere) {
    EXPECT_EQ(FolderOf("/data/a\\b.tif", PathStyle::kElsewhere), wxString("/data"));
    EXPECT_EQ(FileNameOf("/data/a\\b.tif", PathStyle::kElsewhere), wxString("a\\b.tif"));
}

TEST(FolderOf, ANameWithoutSeparatorHasNoFolder) {
    for (const PathStyle style : {PathStyle::kWindows, PathStyle::kElsewhere}) {
        EXPECT_EQ(FolderOf("a.tif", style), wxString());
        EXPECT_EQ(FileNameOf("a.tif", style), wxString("a.tif"));
    }
}

TEST(FolderOf, KeepsTheRoot) {
    EXPECT_EQ(FolderOf("/a.tif", PathStyle::kElsewhere), wxString("/"));
    EXPECT_EQ(FolderOf("C:\\a.tif", PathStyle::kWindows), wxString("C:\\"));
}

TEST(JoinPath, JoinsWithTheStylesSeparator) {
    EXPECT_EQ(JoinPath("D:\\out", "a.tif", PathStyle::kWindows), wxString("D:\\out\\a.tif"));
    EXPECT_EQ(JoinPath("/out", "a.tif", PathStyle::kElsewhere), wxString("/out/a.tif"));
}

TEST(JoinPath, AddsNoSecondSeparator) {
    EXPECT_EQ(JoinPath("D:\\", "a.tif", PathStyle::kWindows), wxString("D:\\a.tif"));
    EXPECT_EQ(JoinPath("/", "a.tif", PathStyle::kElsewhere), wxString("/a.tif"));
    EXPECT_EQ(JoinPath("", "a.tif", PathStyle::kElsewhere), wxString("a.tif"));
}

}  // namespace

}  // namespace Korvane
