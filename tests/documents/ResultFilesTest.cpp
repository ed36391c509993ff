#include "ResultFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FailureText.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"
#include "support/TiffBuilder.h"

namespace Korvane {

namespace {

using korvane_test::SameVoxels;
using korvane_test::TemporaryFolder;

qvox::LabelImage Labels() {
    qvox::LabelImage labels = korvane_test::Draw<std::uint16_t>({"11.", "..5", "9.."});
    labels[8] = 65535;
    labels.SetResolution({100.0f, 100.0f, 0.0f});
    return labels;
}

qvox::LabelImage ZeroLabels() {
    qvox::LabelImage labels = Labels();
    labels.Zero();
    labels.SetResolution({672.0f, 672.0f, 0.0f});
    labels.SetMetadata({{"who", "me"}});
    return labels;
}

wxString LoadMessage(const wxString& path, qvox::LabelImage& labels) {
    try {
        return LoadLabels(path, labels) == LabelsFound::kLoaded ? "loaded" : "no file";
    } catch (...) {
        return FailureMessage(FileTask::kLoadResults, "a.tif", std::current_exception());
    }
}

TEST(SegResultPath, LiesBesideTheInputOrInTheChosenFolder) {
    EXPECT_EQ(SegResultPath("C:\\data\\a.tif", std::nullopt, PathStyle::kWindows), wxString("C:\\data\\seg_a.tif"));
    EXPECT_EQ(SegResultPath("C:\\data\\a.tif", "D:\\out", PathStyle::kWindows), wxString("D:\\out\\seg_a.tif"));
    EXPECT_EQ(SegResultPath("/data/a.tif", std::nullopt, PathStyle::kElsewhere), wxString("/data/seg_a.tif"));
    EXPECT_EQ(SegResultPath("/data/a.tif", "/out", PathStyle::kElsewhere), wxString("/out/seg_a.tif"));
}

TEST(SegResultPath, OfANameWithoutSeparatorIsANameWithoutSeparator) {
    for (const PathStyle style : {PathStyle::kWindows, PathStyle::kElsewhere}) {
        EXPECT_EQ(SegResultPath("a.tif", std::nullopt, style), wxString("seg_a.tif"));
        EXPECT_EQ(ExportPath("a.tif", std::nullopt, style), wxString("export_a.tif"));
    }
    EXPECT_EQ(SegResultPath("a.tif", "/out", PathStyle::kElsewhere), wxString("/out/seg_a.tif"));
}

TEST(SegResultPath, OfAFileInTheRootLiesInTheRoot) {
    EXPECT_EQ(SegResultPath("/a.tif", std::nullopt, PathStyle::kElsewhere), wxString("/seg_a.tif"));
    EXPECT_EQ(SegResultPath("C:\\a.tif", std::nullopt, PathStyle::kWindows), wxString("C:\\seg_a.tif"));
}

TEST(RegionsPath, HasAnEndingOfItsOwn) {
    EXPECT_EQ(RegionsPath("x/a.b.tif", "F", ".zip", PathStyle::kElsewhere), wxString("F/rois_a.b.zip"));
    EXPECT_EQ(RegionsPath("/d.x/a", std::nullopt, ".zip", PathStyle::kElsewhere), wxString("/d.x/rois_a.zip"));
    EXPECT_EQ(RegionsPath(".tif", std::nullopt, ".geojson", PathStyle::kElsewhere), wxString("rois_.tif.geojson"));
}

TEST(ExportPath, FollowsTheSameRule) {
    EXPECT_EQ(ExportPath("x\\a.tif", "F", PathStyle::kWindows), wxString("F\\export_a.tif"));
    EXPECT_EQ(ExportPath("/data/a b#%.tif", std::nullopt, PathStyle::kElsewhere), wxString("/data/export_a b#%.tif"));
}

TEST(LoadLabels, RestoresEveryValueThatWasSaved) {
    const TemporaryFolder folder;
    const wxString path = PathText(folder.File("seg_\xE4\xB8\xAD \xFF.tif"));
    SaveLabels(path, Labels());
    qvox::LabelImage labels = ZeroLabels();
    EXPECT_EQ(LoadMessage(path, labels), wxString("loaded"));
    EXPECT_TRUE(SameVoxels(Labels(), labels));
}

TEST(LoadLabels, LeavesResolutionAndDescriptionOfThePosition) {
    const TemporaryFolder folder;
    SaveLabels(PathText(folder.File("seg_a.tif")), Labels());
    qvox::LabelImage labels = ZeroLabels();
    LoadLabels(PathText(folder.File("seg_a.tif")), labels);
    EXPECT_EQ(labels.Resolution().x, 672.0f);
    EXPECT_EQ(labels.Metadata().at("who"), "me");
}

TEST(LoadLabels, PassesOverAFileThatIsNotThere) {
    const TemporaryFolder folder;
    qvox::LabelImage labels = Labels();
    EXPECT_EQ(LoadMessage(PathText(folder.File("seg_a.tif")), labels), wxString("no file"));
    EXPECT_TRUE(SameVoxels(Labels(), labels));
}

TEST(LoadLabels, RefusesAnotherSizeAndChangesNothing) {
    const TemporaryFolder folder;
    qvox::LabelImage other;
    other.Resize(9, 1, 1);
    other.Zero();
    SaveLabels(PathText(folder.File("seg_a.tif")), other);
    qvox::LabelImage labels = Labels();
    EXPECT_EQ(LoadMessage(PathText(folder.File("seg_a.tif")), labels),
              PathText("Cannot load the segmentation results for 'a.tif'! (Inconsistent image size)\n'" +
                       folder.File("seg_a.tif") + "' has 9 x 1 pixels; wanted are the image's 3 x 3."));
    EXPECT_TRUE(SameVoxels(Labels(), labels));
}

TEST(LoadLabels, RefusesAnEightBitFile) {
    const TemporaryFolder folder;
    qvox::VoxelImage<std::uint8_t> bytes;
    bytes.Resize(3, 3, 1);
    bytes.Zero();
    qvox::SaveImageFile(folder.File("seg_a.tif"), bytes);
    qvox::LabelImage labels = Labels();
    EXPECT_EQ(LoadMessage(PathText(folder.File("seg_a.tif")), labels),
              PathText("Cannot load the segmentation results for 'a.tif'! (Unsupported pixel type)\n'" +
                       folder.File("seg_a.tif") +
                       "' holds 8-bit grey; wanted is 16-bit grey. korvane-batch import makes such a file of it."));
    EXPECT_TRUE(SameVoxels(Labels(), labels));
}

TEST(LoadLabels, NamesNoImportForAFileThatItDoesNotTake) {
    const TemporaryFolder folder;
    qvox::VoxelImage<qvox::Rgb8> colour;
    colour.Resize(3, 3, 1);
    colour.Zero();
    qvox::SaveImageFile(folder.File("seg_a.tif"), colour);
    qvox::LabelImage labels = Labels();
    EXPECT_TRUE(LoadMessage(PathText(folder.File("seg_a.tif")), labels).EndsWith("; wanted is 16-bit grey."));
}

TEST(LoadLabels, TakesTheStoredNumbersOfAWhiteIsZeroFile) {
    const TemporaryFolder folder;
    korvane_test::TiffBuilder file;
    const std::string voxels("\x00\x00\x01\x00\x00\x00\xbc\x02\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff", 18);
    file.Page().Grey(3, 3, 16).Short(262, 0).AddPiece(voxels);
    file.Write(folder.File("seg_a.tif"));
    qvox::LabelImage labels = ZeroLabels();
    EXPECT_EQ(LoadMessage(PathText(folder.File("seg_a.tif")), labels), wxString("loaded"));
    EXPECT_EQ(std::vector<std::uint16_t>(labels.begin(), labels.end()),
              (std::vector<std::uint16_t>{0, 1, 0, 700, 0, 0, 0, 0, 65535}));
}

TEST(SaveLabels, IntoAMissingFolderThrows) {
    const TemporaryFolder folder;
    EXPECT_THROW(SaveLabels(PathText(folder.File("none/seg_a.tif")), Labels()), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane
