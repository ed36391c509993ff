#include "InputList.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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

std::string Refusal(const Places& places, const std::vector<std::string>& inputs,
                    const WrittenFiles& written = kLabels) {
    try {
        PlanFiles(places, written, inputs);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(ExpandInputs, PatternsNeedAFolderToChooseFrom) {
    const TemporaryFolder folder;
    Touch(folder.File("a1.tif"));
    FolderChoice choice;
    choice.include = {"a*"};
    EXPECT_EQ(ExpandInputs({folder.Path().string()}, choice).images.size(), 1u);
    EXPECT_THROW(ExpandInputs({folder.File("a1.tif")}, choice), UsageError);
    choice = {};
    choice.exclude = {"b*"};
    EXPECT_THROW(ExpandInputs({folder.File("a1.tif")}, choice), UsageError);
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
