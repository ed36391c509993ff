#include "ImageList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

void Touch(const std::string& path) { std::ofstream(path) << "x"; }

FolderChoice Choose(const std::vector<std::string>& include, const std::vector<std::string>& exclude) {
    FolderChoice choice;
    choice.include = include;
    choice.exclude = exclude;
    return choice;
}

TEST(NaturalLess, ComparesNumbersByTheirValue) {
    EXPECT_TRUE(NaturalLess("a2.tif", "a10.tif"));
    EXPECT_FALSE(NaturalLess("a10.tif", "a2.tif"));
    EXPECT_TRUE(NaturalLess("a99999999999999999999998", "a99999999999999999999999"));
    EXPECT_TRUE(NaturalLess("a2b3", "a2b10"));
    EXPECT_TRUE(NaturalLess("a", "a1"));
    EXPECT_TRUE(NaturalLess("B2", "b10"));
    EXPECT_FALSE(NaturalLess("a1", "a1"));
}

TEST(NaturalLess, IsAStrictOrderOverNamesThatDifferInZerosAndCaseOnly) {
    std::vector<std::string> names;
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        std::string name;
        for (unsigned i = 0; i < 1 + random() % 5; ++i) name += "0012aAb"[random() % 7];
        names.push_back(name);
    }
    for (const std::string& a : names) {
        for (const std::string& b : names) {
            ASSERT_EQ(a == b, !NaturalLess(a, b) && !NaturalLess(b, a)) << a << ", " << b;
        }
    }
    std::sort(names.begin(), names.end(), NaturalLess);
    for (std::size_t i = 0; i < names.size(); i += 7) {
        for (std::size_t j = i + 1; j < names.size(); ++j) ASSERT_FALSE(NaturalLess(names[j], names[i]));
    }
}

TEST(WalkLess, PutsAFoldersImagesBeforeItsSubfolders) {
    EXPECT_TRUE(WalkLess("/in/z.tif", "/in/a/1.tif"));
    EXPECT_FALSE(WalkLess("/in/a/1.tif", "/in/z.tif"));
    EXPECT_TRUE(WalkLess("/in/a2/z.tif", "/in/a10/b.tif"));
    EXPECT_FALSE(WalkLess("/in/a10/b.tif", "/in/a2/z.tif"));
    EXPECT_TRUE(WalkLess("/in/a/2.tif", "/in/a/10.tif"));
    EXPECT_TRUE(WalkLess("/in/a/2.tif", "/in/a-1/1.tif")) << "the folder's whole name counts";
    EXPECT_FALSE(WalkLess("/in/a/2.tif", "/in/a/2.tif"));
}

TEST(ListImages, AFolderStandsForItsImagesInNaturalOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"b10.tif", "b9.TIF", "a.Tiff", "seg_a.tif", "export_a.tif", ".hidden.tif", "notes.txt",
                             "c.tif.txt", ".tif"}) {
        Touch(folder.File(name));
    }
    std::filesystem::create_directory(folder.File("d.tif"));
    EXPECT_EQ(ListImages({folder.Path().string()}).images,
              (std::vector<std::string>{folder.File("a.Tiff"), folder.File("b9.TIF"), folder.File("b10.tif")}));
    EXPECT_EQ(ListImages({folder.Path().string() + "/"}).images.size(), 3u);
}

TEST(ListImages, ProductsOfEarlierRunsInAFolderAreLeftOutAndCounted) {
    const TemporaryFolder folder;
    Touch(folder.File("a.tif"));
    Touch(folder.File("segment.tif"));
    const std::vector<std::string> prefixes{"seg_",      "export_",    "calibrated_", "edges_",   "candidates_",
                                            "filtered_", "separated_", "relief_",     "markers_", "marks_"};
    for (const std::string& prefix : prefixes) Touch(folder.File(prefix + "a.tif"));
    const ImageListing listing = ListImages({folder.Path().string()});
    EXPECT_TRUE(listing.images == (std::vector<std::string>{folder.File("a.tif"), folder.File("segment.tif")}));
    EXPECT_EQ(listing.products, prefixes.size());
    EXPECT_EQ(LeftOutText(listing), "10 files of folders left out: 10 products of earlier runs.");
    for (const std::string& prefix : prefixes) {
        EXPECT_EQ(ListImages({folder.File(prefix + "a.tif")}).images.size(), 1u) << "named itself";
    }
}

TEST(ListImages, PatternsDecideWhichFilesOfFoldersAreTaken) {
    const TemporaryFolder folder;
    for (const char* name : {"a1.tif", "a2.tif", "b1.tif", "calibrated_a1.tif"}) Touch(folder.File(name));
    const auto names = [&folder](const FolderChoice& choice) {
        std::vector<std::string> found;
        for (const std::string& path : ListImages({folder.Path().string()}, choice).images) {
            found.push_back(std::filesystem::path(path).filename().string());
        }
        return found;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(names(Choose({"a*"}, {})), (Names{"a1.tif", "a2.tif"}));
    EXPECT_EQ(names(Choose({"*1.tif"}, {})), (Names{"a1.tif", "b1.tif"})) << "a pattern for images takes no products";
    EXPECT_EQ(names(Choose({"calibrated_*"}, {})), (Names{"calibrated_a1.tif"}));
    EXPECT_EQ(names(Choose({"a*", "b?.tif"}, {"?2.*"})), (Names{"a1.tif", "b1.tif"}));
    EXPECT_EQ(LeftOutText(ListImages({folder.Path().string()}, Choose({}, {"b*"}))),
              "2 files of folders left out: 1 product of an earlier run, 1 by name patterns.");
    EXPECT_EQ(LeftOutText(ListImages({folder.File("a1.tif")})), "");
}

TEST(ListImages, KeepsTheOrderGivenAndEachPathOnce) {
    EXPECT_EQ(ListImages({"/x/b.tif", "/x/./a.tif", "/x/a.tif"}).images,
              (std::vector<std::string>{"/x/b.tif", "/x/a.tif"}));
}

TEST(ListImages, PathsBecomeFullPaths) {
    EXPECT_EQ(ListImages({"a.tif"}).images,
              std::vector<std::string>{(std::filesystem::current_path() / "a.tif").string()});
}

}  // namespace

}  // namespace Korvane
