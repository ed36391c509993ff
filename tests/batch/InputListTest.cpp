#include "InputList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "FilePlan.h"
#include "PathText.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

void Touch(const std::string& path) { std::ofstream(path) << "x"; }

const WrittenFiles kLabels{&ImageFiles::labels};

/// The files of images that were named, once they were found to be distinct.
std::vector<ImageFiles> PlanFiles(const Places& places, const WrittenFiles& written,
                                  const std::vector<std::string>& inputs) {
    const FilePlan plan(places, written, ListImages(inputs));
    std::vector<ImageFiles> files;
    for (std::size_t i = 0; i < plan.Count(); ++i) files.push_back(plan.Files(i));
    return files;
}

FolderChoice Choose(const std::vector<std::string>& include, const std::vector<std::string>& exclude) {
    FolderChoice choice;
    choice.include = include;
    choice.exclude = exclude;
    return choice;
}

std::string Refusal(const Places& places, const std::vector<std::string>& inputs,
                    const WrittenFiles& written = kLabels) {
    try {
        PlanFiles(places, written, inputs);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
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

TEST(WalkLess, PutsAFoldersImagesBeforeItsSubfolders) {
    EXPECT_TRUE(WalkLess("/in/z.tif", "/in/a/1.tif"));
    EXPECT_FALSE(WalkLess("/in/a/1.tif", "/in/z.tif"));
    EXPECT_TRUE(WalkLess("/in/a2/z.tif", "/in/a10/b.tif"));
    EXPECT_FALSE(WalkLess("/in/a10/b.tif", "/in/a2/z.tif"));
    EXPECT_TRUE(WalkLess("/in/a/2.tif", "/in/a/10.tif"));
    EXPECT_TRUE(WalkLess("/in/a/2.tif", "/in/a-1/1.tif")) << "the folder's whole name counts";
    EXPECT_FALSE(WalkLess("/in/a/2.tif", "/in/a/2.tif"));
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

TEST(ExpandInputs, AFolderStandsForItsImagesInNaturalOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"b10.tif", "b9.TIF", "a.Tiff", "seg_a.tif", "export_a.tif", ".hidden.tif", "notes.txt",
                             "c.tif.txt", ".tif"}) {
        Touch(folder.File(name));
    }
    std::filesystem::create_directory(folder.File("d.tif"));
    EXPECT_EQ(ExpandInputs({folder.Path().string()}).images,
              (std::vector<std::string>{folder.File("a.Tiff"), folder.File("b9.TIF"), folder.File("b10.tif")}));
    EXPECT_EQ(ExpandInputs({folder.Path().string() + "/"}).images.size(), 3u);
}

TEST(ExpandInputs, ProductsOfEarlierRunsInAFolderAreLeftOutAndCounted) {
    const TemporaryFolder folder;
    Touch(folder.File("a.tif"));
    Touch(folder.File("segment.tif"));
    const std::vector<std::string> prefixes{"seg_",      "export_",    "calibrated_", "edges_",  "candidates_",
                                            "filtered_", "separated_", "relief_",     "markers_", "marks_"};
    for (const std::string& prefix : prefixes) Touch(folder.File(prefix + "a.tif"));
    const ImageListing listing = ExpandInputs({folder.Path().string()});
    EXPECT_TRUE(listing.images == (std::vector<std::string>{folder.File("a.tif"), folder.File("segment.tif")}));
    EXPECT_EQ(listing.products, prefixes.size());
    EXPECT_EQ(LeftOutText(listing), "10 files of folders left out: 10 products of earlier runs.");
    for (const std::string& prefix : prefixes) {
        EXPECT_EQ(ExpandInputs({folder.File(prefix + "a.tif")}).images.size(), 1u) << "named itself";
    }
}

TEST(ExpandInputs, PatternsDecideWhichFilesOfFoldersAreTaken) {
    const TemporaryFolder folder;
    for (const char* name : {"a1.tif", "a2.tif", "b1.tif", "calibrated_a1.tif"}) Touch(folder.File(name));
    const auto names = [&folder](const FolderChoice& choice) {
        std::vector<std::string> found;
        for (const std::string& path : ExpandInputs({folder.Path().string()}, choice).images) {
            found.push_back(std::filesystem::path(path).filename().string());
        }
        return found;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(names(Choose({"a*"}, {})), (Names{"a1.tif", "a2.tif"}));
    EXPECT_EQ(names(Choose({"*1.tif"}, {})), (Names{"a1.tif", "b1.tif"})) << "a pattern for images takes no products";
    EXPECT_EQ(names(Choose({"calibrated_*"}, {})), (Names{"calibrated_a1.tif"}));
    EXPECT_EQ(names(Choose({"a*", "b?.tif"}, {"?2.*"})), (Names{"a1.tif", "b1.tif"}));
    EXPECT_EQ(LeftOutText(ExpandInputs({folder.Path().string()}, Choose({}, {"b*"}))),
              "2 files of folders left out: 1 product of an earlier run, 1 by name patterns.");
    EXPECT_EQ(LeftOutText(ExpandInputs({folder.File("a1.tif")})), "");
    EXPECT_THROW(ExpandInputs({folder.File("a1.tif")}, Choose({"a*"}, {})), UsageError)
        << "nothing that it could choose from";
}

TEST(ExpandInputs, AFolderOfProductsOnlySaysSo) {
    const TemporaryFolder folder;
    Touch(folder.File("edges_a.tif"));
    try {
        ExpandInputs({folder.Path().string()});
        FAIL() << "accepted";
    } catch (const UsageError& error) {
        EXPECT_NE(std::string(error.what()).find("1 file of a folder left out: 1 product of an earlier run."),
                  std::string::npos)
            << error.what();
    }
}

TEST(ExpandInputs, KeepsTheOrderGivenAndEachPathOnce) {
    EXPECT_EQ(ExpandInputs({"/x/b.tif", "/x/./a.tif", "/x/a.tif"}).images,
              (std::vector<std::string>{"/x/b.tif", "/x/a.tif"}));
}

TEST(ExpandInputs, PathsBecomeFullPaths) {
    EXPECT_EQ(ExpandInputs({"a.tif"}).images,
              std::vector<std::string>{(std::filesystem::current_path() / "a.tif").string()});
}

TEST(ExpandInputs, AFolderWithoutImagesIsAnError) {
    const TemporaryFolder folder;
    Touch(folder.File("seg_a.tif"));
    EXPECT_THROW(ExpandInputs({folder.Path().string()}), UsageError);
    EXPECT_THROW(ExpandInputs({""}), UsageError);
}

TEST(PlanFiles, EverythingLiesBesideTheImageUnlessAFolderIsGiven) {
    Places places;
    ImageFiles files = PlanFiles(places, kLabels, {"/d/a.tif"})[0];
    EXPECT_EQ(files.labels, wxString("/d/seg_a.tif"));
    EXPECT_EQ(files.seeds, wxString("/d/seg_a.tif"));
    EXPECT_EQ(files.picture, wxString("/d/export_a.tif"));
    places.output = "/o";
    files = PlanFiles(places, kLabels, {"/d/a.tif"})[0];
    EXPECT_EQ(files.labels, wxString("/o/seg_a.tif"));
    EXPECT_EQ(files.seeds, wxString("/o/seg_a.tif"));
    places.labels = "/l";
    files = PlanFiles(places, kLabels, {"/d/a.tif"})[0];
    EXPECT_EQ(files.labels, wxString("/o/seg_a.tif"));
    EXPECT_EQ(files.seeds, wxString("/l/seg_a.tif"));
    EXPECT_EQ(files.picture, wxString("/o/export_a.tif"));
}

TEST(PlanFiles, CalibratedCopiesNeverLieOverAnImage) {
    Places places;
    const WrittenFiles written{&ImageFiles::copy};
    EXPECT_EQ(PlanFiles(places, written, {"/d/a.tif"})[0].copy, wxString("/d/calibrated_a.tif"));
    EXPECT_NE(Refusal(places, {"/d/a.tif", "/d/calibrated_a.tif"}, written), "accepted");
    places.output = "/o";
    EXPECT_EQ(PlanFiles(places, written, {"/d/a.tif"})[0].copy, wxString("/o/a.tif"));
    EXPECT_NE(Refusal(places, {"/x/a.tif", "/y/a.tif"}, written), "accepted");
    EXPECT_EQ(Refusal(places, {"/o/a.tif"}, written),
              "'/o/a.tif' is an input image and would be written for '/o/a.tif'.");
}

TEST(PlanFiles, TwoImagesOfOneNameCannotShareAnOutputFolder) {
    Places places;
    EXPECT_EQ(Refusal(places, {"/x/a.tif", "/y/a.tif"}), "accepted");
    places.output = "/o";
    EXPECT_EQ(Refusal(places, {"/x/a.tif", "/y/a.tif"}),
              "'/x/a.tif' and '/y/a.tif' would both be written to '/o/seg_a.tif'.");
    const WrittenFiles none;  // as when only a table is made, of labels that are there
    EXPECT_EQ(Refusal(places, {"/x/a.tif", "/y/a.tif"}, none),
              "The labels of '/x/a.tif' and '/y/a.tif' would both be read from '/o/seg_a.tif'.");
    places.output.reset();
    EXPECT_EQ(Refusal(places, {"/x/a.tif", "/y/a.tif"}, none), "accepted");
}

TEST(PlanFiles, StagesOfTwoImagesCannotShareAName) {
    Places places;
    places.stages = "/s";
    EXPECT_NE(Refusal(places, {"/x/a.tif", "/y/a.tif"}), "accepted");
}

TEST(PlanFiles, NoInputIsOverwritten) {
    Places places;
    EXPECT_NE(Refusal(places, {"/x/a.tif", "/x/seg_a.tif"}), "accepted");
    places.table = "/x/a.tif";
    EXPECT_NE(Refusal(places, {"/x/a.tif"}), "accepted");
    places.table = "/x/seg_a.tif";
    EXPECT_NE(Refusal(places, {"/x/a.tif"}), "accepted");
}

TEST(PlanFiles, TheTableReplacesNeitherLabelsThatAreReadNorTheReport) {
    Places places;
    places.output = "/o";
    places.labels = "/l";
    places.table = "/l/seg_a.tif";
    EXPECT_EQ(Refusal(places, {"/x/a.tif"}, {}),
              "The table '/l/seg_a.tif' would be written over the labels of '/x/a.tif'.");
    places.table = "/o/korvane-run.json";
    EXPECT_EQ(Refusal(places, {"/x/a.tif"}),
              "The table '/o/korvane-run.json' would be written where the report of the run goes.");
}

TEST(PlanFiles, ALinkDoesNotHideThatAnInputWouldBeOverwritten) {
    const TemporaryFolder folder;
    Touch(folder.File("a.tif"));
    Places places;
    std::filesystem::create_symlink(folder.File("a.tif"), folder.File("seg_a.tif"));
    EXPECT_NE(Refusal(places, {folder.File("a.tif")}), "accepted");
    std::filesystem::remove(folder.File("seg_a.tif"));
    EXPECT_EQ(Refusal(places, {folder.File("a.tif")}), "accepted");
    std::filesystem::create_symlink(folder.File("a.tif"), folder.File("t.txt"));
    places.table = folder.File("t.txt");
    EXPECT_NE(Refusal(places, {folder.File("a.tif")}), "accepted");
    places.table.reset();
    std::filesystem::create_directory_symlink(folder.Path(), folder.File("again"));
    EXPECT_NE(Refusal(places, {folder.File("a.tif"), folder.File("again/a.tif")}), "accepted");
}

}  // namespace

}  // namespace Korvane
