#include "MeasurementTable.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <wx/log.h>

#include <clocale>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

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

/// The numbers of a row behind its path.
std::vector<double> Numbers(const wxString& row) {
    std::vector<double> numbers;
    std::istringstream text(row.AfterFirst('\t').ToStdString());
    for (double number = 0.0; text >> number;) numbers.push_back(number);
    return numbers;
}

TEST(MeasurementRows, ADiscIsRoundAndHasItsDiameter) {
    const std::vector<wxString> rows = MeasurementRows("a", Disc(700, 20.0, 500.0f));
    ASSERT_EQ(rows.size(), 1u);
    const std::vector<double> numbers = Numbers(rows[0]);
    ASSERT_EQ(numbers.size(), 5u);
    EXPECT_EQ(numbers[0], 700.0);
    EXPECT_NEAR(numbers[1], 80.0, 1.0);  // 40 px of 2 nm
    EXPECT_NEAR(numbers[2], 1.0, 0.03);
    EXPECT_NEAR(numbers[3], 3.14159 * 80.0, 4.0);
    EXPECT_NEAR(numbers[1], std::sqrt(numbers[4] * 4.0 / 3.141592653589793), 0.001);
    EXPECT_NEAR(numbers[2], numbers[4] * 4.0 * 3.141592653589793 / (numbers[3] * numbers[3]), 0.001);
}

TEST(MeasurementRows, ListPiecesInRasterOrder) {
    const std::vector<wxString> rows =
        MeasurementRows("a", korvane_test::Draw<std::uint16_t>({".9..2", "9...2", ".....", "2...."}));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_TRUE(rows[0].StartsWith("a\t9\t"));
    EXPECT_TRUE(rows[1].StartsWith("a\t2\t"));
    EXPECT_TRUE(rows[2].StartsWith("a\t2\t"));
}

TEST(MeasurementRow, HasThreeDecimalsAndNoTabAtItsEnd) {
    EXPECT_EQ(MeasurementRow("/data/100%s.tif", {65535, 123456789.0625, 1e21}),
              wxString("/data/100%s.tif\t65535\t35682482323.055\t824479.590\t123456789.062\t"
                       "1000000000000000000000.000"));
    EXPECT_EQ(MeasurementRow("a", {1, 71.08894228, 400.0}), wxString("a\t1\t22.568\t0.995\t71.089\t400.000"));
}

TEST(MeasurementRow, PrintsARoundnessThatIsNoNumberAsItIs) {
    EXPECT_EQ(MeasurementRow("a", {1, 0.0, 1.0}), wxString("a\t1\t1.128\tinf\t0.000\t1.000"));
}

TEST(MeasurementRow, WritesAPointInEveryLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "the locale de_DE.UTF-8 is not installed";
    const wxString row = MeasurementRow("a", {1, 0.5, 1.0});
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(row, wxString("a\t1\t1.128\t50.265\t0.500\t1.000"));
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
