#include "MeasurementTable.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <wx/log.h>

#include <clocale>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "PathText.h"
#include "ToolkitError.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

const std::string kHeaderLine = "Filename\tLabel\tDiameter(nm)\tRoundness\tPerimeter(nm)\tArea(nm^2)\t\n";

/// Names beyond ASCII must work whatever the locale of the test is.
class MeasurementTableFile : public ::testing::Test {
protected:
    void SetUp() override {
        wxLog::EnableLogging(false);
        AdoptPathConversion();
    }
    void TearDown() override { wxLog::EnableLogging(true); }
};

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

qvox::LabelImage Disc(std::uint16_t label, double radius, float perUm) {
    qvox::LabelImage labels;
    labels.Resize(64, 64, 1);
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        const double dx = static_cast<double>(i % 64) - 31.3;
        const double dy = static_cast<double>(i / 64) - 32.2;
        labels[i] = dx * dx + dy * dy <= radius * radius ? label : std::uint16_t{0};
    }
    labels.SetResolution({perUm, perUm, 0.0f});
    return labels;
}

TEST(MeasureObjects, ADiscIsRoundAndHasItsDiameter) {
    const std::vector<ObjectMeasures> objects = MeasureObjects(Disc(700, 20.0, 500.0f));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(objects[0].label, 700);
    EXPECT_NEAR(objects[0].roundness, 1.0, 0.03);
    EXPECT_NEAR(objects[0].diameterNm, 80.0, 1.0);  // 40 px of 2 nm
    EXPECT_NEAR(objects[0].perimeterNm, 3.14159 * 80.0, 4.0);
    EXPECT_DOUBLE_EQ(objects[0].diameterNm, std::sqrt(objects[0].areaNm2 * 4.0 / 3.141592653589793));
    EXPECT_DOUBLE_EQ(objects[0].roundness,
                     objects[0].areaNm2 * 4.0 * 3.141592653589793 / (objects[0].perimeterNm * objects[0].perimeterNm));
}

TEST(MeasureObjects, ListsPiecesInRasterOrderWithTheirLabel) {
    const std::vector<ObjectMeasures> objects =
        MeasureObjects(korvane_test::Draw<std::uint16_t>({".9..2", "9...2", ".....", "2...."}));
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0].label, 9);
    EXPECT_EQ(objects[1].label, 2);
    EXPECT_EQ(objects[2].label, 2);
    EXPECT_DOUBLE_EQ(objects[2].areaNm2, 1000000.0);  // no resolution: 1 pixel per micrometre
}

TEST(MeasureObjects, NothingIsMeasuredWhereNothingIs) {
    EXPECT_TRUE(MeasureObjects(qvox::LabelImage()).empty());
    EXPECT_TRUE(MeasureObjects(korvane_test::Draw<std::uint16_t>({"..", ".."})).empty());
}

TEST(MeasurementRow, HasThreeDecimalsAndNoTabAtItsEnd) {
    const ObjectMeasures measures{65535, 1.5, 0.99951, 123456789.0625, 1e21};
    EXPECT_EQ(MeasurementRow("/data/100%s.tif", measures),
              wxString("/data/100%s.tif\t65535\t1.500\t1.000\t123456789.062\t1000000000000000000000.000"));
}

TEST(MeasurementRow, PrintsARoundnessThatIsNoNumberAsItIs) {
    const ObjectMeasures measures{1, 0.0, std::numeric_limits<double>::infinity(), 0.0, 0.0};
    EXPECT_EQ(MeasurementRow("a", measures), wxString("a\t1\t0.000\tinf\t0.000\t0.000"));
}

TEST(MeasurementRow, WritesAPointInEveryLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "the locale de_DE.UTF-8 is not installed";
    const wxString row = MeasurementRow("a", {1, 0.5, 0.5, 0.5, 0.5});
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(row, wxString("a\t1\t0.500\t0.500\t0.500\t0.500"));
}

TEST(MeasurementTablePath, EndsInTxtAfterTheCutAtTheLastPoint) {
    EXPECT_EQ(MeasurementTablePath("results.csv"), wxString("results.txt"));
    EXPECT_EQ(MeasurementTablePath("/a/results.txt"), wxString("/a/results.txt"));
    EXPECT_EQ(MeasurementTablePath("/a/b.c.d"), wxString("/a/b.c.txt"));
    EXPECT_EQ(MeasurementTablePath("results"), wxString(".txt"));
    EXPECT_EQ(MeasurementTablePath("/data/results"), wxString(".txt"));
    EXPECT_EQ(MeasurementTablePath("C:\\my.dir\\results"), wxString("C:\\my.txt"));
}

TEST_F(MeasurementTableFile, WithoutObjectsIsTheHeaderOnly) {
    const TemporaryFolder folder;
    WriteMeasurementTable(PathText(folder.File("t.txt")), {});
    EXPECT_EQ(Contents(folder.File("t.txt")), kHeaderLine);
}

TEST_F(MeasurementTableFile, HasOneLinePerRow) {
    const TemporaryFolder folder;
    WriteMeasurementTable(PathText(folder.File("t.txt")), {"a\t1", wxString::FromUTF8("\xE4\xB8\xAD\t2")});
    EXPECT_EQ(Contents(folder.File("t.txt")), kHeaderLine + "a\t1\n\xE4\xB8\xAD\t2\n");
    EXPECT_EQ(Contents(folder.File("t.txt")), MeasurementTableText({"a\t1", wxString::FromUTF8("\xE4\xB8\xAD\t2")}));
}

TEST_F(MeasurementTableFile, WrittenTwiceHoldsTheSecondTableOnly) {
    const TemporaryFolder folder;
    const wxString path = PathText(folder.File("t.txt"));
    WriteMeasurementTable(path, {"a\t1", "b\t2"});
    WriteMeasurementTable(path, {"c\t3"});
    EXPECT_EQ(Contents(folder.File("t.txt")), kHeaderLine + "c\t3\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
}

TEST_F(MeasurementTableFile, HasAnyName) {
    const TemporaryFolder folder;
    for (const char* name : {"\xC3\xBC \xC3\xA9 \xC2\xB5 \xE4\xB8\xAD #1 100% $HOME ~.txt", "bad\xFF\x80.txt"}) {
        WriteMeasurementTable(PathText(folder.File(name)), {"a\t1"});
        EXPECT_EQ(Contents(folder.File(name)), kHeaderLine + "a\t1\n");
    }
}

TEST_F(MeasurementTableFile, IsWholeWhenItIsLong) {
    const TemporaryFolder folder;
    const std::vector<wxString> rows(20000, wxString::FromUTF8("/data/\xC2\xB5.tif\t1\t2.000"));
    WriteMeasurementTable(PathText(folder.File("t.txt")), rows);
    EXPECT_EQ(Contents(folder.File("t.txt")), MeasurementTableText(rows));
}

TEST_F(MeasurementTableFile, SurvivesAFailureToReplaceIt) {
    const TemporaryFolder folder;
    EXPECT_THROW(WriteMeasurementTable(PathText(folder.File("none/t.txt")), {}), qvox::ToolkitError);
    EXPECT_THROW(WriteMeasurementTable(PathText(folder.Path().string()), {}), qvox::ToolkitError);
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

}  // namespace

}  // namespace Korvane
