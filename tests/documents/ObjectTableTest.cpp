#include "ObjectTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "ToolkitError.h"
#include "Version.h"
#include "support/TestData.h"

namespace Korvane {

namespace {

using Names = std::vector<std::string>;

ObjectTableImage Image(const char* path = "/a/b.tif") { return {path, {500.0f, 250.0f, 0.0f}, "--pixel-size"}; }

/// An object of 12 nm^2 whose rim was not found.
ObjectMeasures Object(std::uint16_t label = 7) {
    ObjectMeasures object;
    object.extent.label = label;
    object.moments.xPx = -1.5;
    object.areaNm2 = 12.0;
    object.perimeterNm = 10.0;
    return object;
}

ObjectTable TableOf(const Names& columns) {
    ObjectTable table;
    table.ChooseColumns(columns);
    return table;
}

std::string Rows(const Names& columns, const ObjectTableImage& image = Image()) {
    return TableOf(columns).Rows(image, {Object()});
}

TEST(ObjectTable, HasAColumnForEveryMeasureBetweenTheImageAndItsPixelSize) {
    Names wanted{"image"};
    for (const ObjectColumn& column : ObjectColumns()) wanted.push_back(column.name);
    for (const char* name : {"counted", "not_counted_because", "pixel_size_nm", "pixel_height_nm", "pixel_size_source",
                             "prepared", "program_version"}) {
        wanted.push_back(name);
    }
    EXPECT_EQ(ObjectTableColumns(), wanted);
    std::string header;
    for (const std::string& name : wanted) header += (header.empty() ? "" : ",") + name;
    EXPECT_EQ(ObjectTable().Header(), header + "\r\n");
    const std::string row = ObjectTable().Rows(Image(), {Object()});
    EXPECT_EQ(static_cast<std::size_t>(std::count(row.begin(), row.end(), ',')) + 1, wanted.size());
}

TEST(ObjectTable, SaysWhatWasFilledOrLeftOut) {
    ObjectTableImage image = Image();
    EXPECT_EQ(Rows({"prepared"}, image), "\r\n");
    image.prepared = "region 0,0,9,9; 20 rows at the top left out";
    EXPECT_EQ(Rows({"prepared"}, image), "\"region 0,0,9,9; 20 rows at the top left out\"\r\n");
}

TEST(ObjectTable, HoldsTheColumnsThatAreChosenInTheirOrder) {
    const ObjectTable table = TableOf({"x_px", "label", "image"});
    EXPECT_EQ(table.Header(), "x_px,label,image\r\n");
    EXPECT_EQ(table.Rows(Image(), {Object(), Object(8)}), "-1.500,7,/a/b.tif\r\n-1.500,8,/a/b.tif\r\n");
    EXPECT_EQ(table.Rows(Image(), {}), "");
}

TEST(ObjectTable, SaysWhereThePixelSizeCameFromAndWhichProgramWroteIt) {
    EXPECT_EQ(Rows({"pixel_size_nm", "pixel_height_nm", "pixel_size_source", "program_version"}),
              std::string("2,4,--pixel-size,") + kVersion + "\r\n");
    EXPECT_EQ(Rows({"pixel_size_nm", "pixel_height_nm"}, {"/a", {0.0f, 672.0f, 0.0f}, ""}), ",1.488095\r\n");
}

TEST(ObjectTable, LeavesWhatWasNotMeasuredEmpty) {
    EXPECT_EQ(Rows({"rim_diameter_nm", "rim_kind", "neighbour_nm", "area_nm2"}), ",,,12.000\r\n");
}

TEST(ObjectTable, SaysWhyAnObjectIsNotCounted) {
    ObjectTable table = TableOf({"label", "counted", "not_counted_because"});
    EXPECT_EQ(table.Rows(Image(), {Object()}), "7,1,\r\n");
    table.Selection().minDiameterNm = 100.0;
    EXPECT_EQ(table.Rows(Image(), {Object()}), "7,0,too small\r\n");
}

TEST(ObjectTable, QuotesFieldsWithSeparatorsQuotesAndLineEnds) {
    EXPECT_EQ(Rows({"image"}, Image("/a, b.tif")), "\"/a, b.tif\"\r\n");
    EXPECT_EQ(Rows({"image"}, Image("/\"a\".tif")), "\"/\"\"a\"\".tif\"\r\n");
    EXPECT_EQ(Rows({"image"}, Image("/a\n.tif")), "\"/a\n.tif\"\r\n");
    EXPECT_EQ(Rows({"image"}, Image("/a;b.tif")), "/a;b.tif\r\n");
    EXPECT_EQ(Rows({"image"}, {wxString::FromUTF8("/\xC3\xA4.tif"), {}, ""}), "/\xC3\xA4.tif\r\n");
}

TEST(ObjectTable, WritesDecimalCommasBetweenSemicolons) {
    ObjectTable table = TableOf({"x_px", "program_version", "image"});
    table.SetDecimalMark(DecimalMark::kComma);
    EXPECT_EQ(table.Header(), "x_px;program_version;image\r\n");
    EXPECT_EQ(table.Rows(Image("/a;b.c.tif"), {Object()}), std::string("-1,500;") + kVersion + ";\"/a;b.c.tif\"\r\n");
}

TEST(ObjectTable, RefusesColumnsThatItHasNotAndOnesThatComeTwice) {
    ObjectTable table = TableOf({"x_px"});
    EXPECT_THROW(table.ChooseColumns({"label", "Label"}), qvox::ToolkitError);
    EXPECT_THROW(table.ChooseColumns({"label", "label"}), qvox::ToolkitError);
    EXPECT_THROW(table.ChooseColumns({}), qvox::ToolkitError);
    EXPECT_EQ(table.Header(), "x_px\r\n");
}

TEST(ObjectTable, IsDescribedInTheManualBesideItsMeasures) {
    std::ifstream file(korvane_test::SourceFile("docs/BATCH.md"));
    std::set<std::string> described;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("| `", 0) == 0) described.insert(line.substr(3, line.find('`', 3) - 3));
    }
    std::set<std::string> measures;
    for (const ObjectColumn& column : ObjectColumns()) measures.insert(column.name);
    for (const std::string& name : ObjectTableColumns()) {
        EXPECT_EQ(described.count(name) + measures.count(name), 1u) << name;
    }
}

}  // namespace

}  // namespace Korvane
