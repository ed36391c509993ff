#include "ImageGroups.h"

#include <gtest/gtest.h>

#include <random>

#include "ToolkitError.h"
#include "support/Random.h"

namespace Korvane {
namespace {

using Names = std::vector<std::string>;
using Places = std::vector<std::size_t>;

TEST(GroupByFolder, NamesGroupsAfterTheFolders) {
    const ImageGroups groups = GroupByFolder({"/d/control/1.tif", "/d/treated/1.tif", "/d/control/2.tif"});
    EXPECT_EQ(groups.names, (Names{"control", "treated"}));
    EXPECT_EQ(groups.ofImage, (Places{0, 1, 0}));
}

TEST(GroupByFolder, TellsFoldersOfOneNameApart) {
    EXPECT_EQ(GroupByFolder({"/a/day 1/x.tif", "/b/day 1/x.tif"}).names, (Names{"a/day 1", "b/day 1"}));
    EXPECT_EQ(GroupByFolder({"/x.tif", "/a/x.tif"}).names, (Names{"/", "a"}));
    EXPECT_EQ(GroupByFolder({"x.tif"}).names, (Names{"."}));
}

TEST(GroupByTable, FindsImagesByTheEndsOfTheirPaths) {
    const std::string table = "group,image\nA,1.tif\r\n\"B, late\",deep/2.tif\nA,/d/3.tif\n";
    const ImageGroups groups = GroupByTable({"/d/2/1.tif", "/d/deep/2.tif", "/d/3.tif"}, table);
    EXPECT_EQ(groups.names, (Names{"A", "B, late"}));
    EXPECT_EQ(groups.ofImage, (Places{0, 1, 0}));
}

TEST(GroupByTable, ReadsSemicolonsQuotesAndTheMarkOfUtf8) {
    const ImageGroups groups =
        GroupByTable({"/d/a;b.tif"}, "\xEF\xBB\xBFimage;group;n\n\"a;b.tif\";\"say \"\"x\"\"\";3");
    EXPECT_EQ(groups.names, (Names{"say \"x\""}));
}

std::string FailureOf(const Names& paths, const std::string& table) {
    try {
        GroupByTable(paths, table);
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "";
}

TEST(GroupByTable, SaysWhatIsWrong) {
    EXPECT_EQ(FailureOf({"/1.tif"}, ""), "The table of groups is empty.");
    EXPECT_EQ(FailureOf({"/1.tif"}, "image,class\n1.tif,A\n"), "The table of groups has no column 'group'.");
    EXPECT_EQ(FailureOf({"/1.tif", "/2.tif"}, "image,group\n1.tif,A\n"),
              "The table of groups has no group for '/2.tif'.");
    EXPECT_EQ(FailureOf({"/11.tif"}, "image,group\n1.tif,A\n"), "The table of groups has no group for '/11.tif'.");
    EXPECT_EQ(FailureOf({"/a/1.tif"}, "image,group\n1.tif,A\na/1.tif,B\n"),
              "The table of groups has several groups for '/a/1.tif'.");
    EXPECT_EQ(FailureOf({"/1.tif"}, "image,group\n1.tif\n"), "Line 2 of the table of groups has too few columns.");
}

TEST(GroupByTable, TakesAnyTextOrSaysWhatIsWrong) {
    const std::string alphabet = ",;\"\n\r1./ag";
    std::mt19937 random(1);
    std::size_t taken = 0;
    for (int i = 0; i < 5000; ++i) {
        std::string table = i % 2 == 0 ? "image,group\n" : "group;image;\r\n";
        const int length = korvane_test::UniformInt(random, 0, 30);
        for (int k = 0; k < length; ++k) {
            table += alphabet[static_cast<std::size_t>(korvane_test::UniformInt(random, 0, 9))];
        }
        try {
            EXPECT_EQ(GroupByTable({"/g/1.a"}, table).names.size(), 1u) << table;
            ++taken;
        } catch (const qvox::ToolkitError& error) {
            EXPECT_NE(std::string(error.what()).find("table of groups"), std::string::npos);
        }
    }
    EXPECT_GT(taken, 0u);
}

}  // namespace
}  // namespace Korvane
