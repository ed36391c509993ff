#include "RowSpool.h"

#include <gtest/gtest.h>

#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

std::string All(RowSpool& rows) {
    std::string text;
    rows.Copy([&text](const std::string& bytes) {
        text += bytes;
        return true;
    });
    return text;
}

TEST(RowSpool, GivesRowsInTheOrderOfTheImagesWhereverTheyWereKept) {
    const TemporaryFolder folder;
    for (const std::size_t inMemory : {std::size_t{0}, std::size_t{7}, std::size_t{1000}}) {
        RowSpool rows(5, folder.Path().string(), inMemory);
        rows.Add(4, {"e"});
        rows.Add(1, {"b1", "b2"});
        rows.Add(2, {});
        rows.AddText(3, "d,\r\n");
        rows.Add(0, {"a"});
        EXPECT_EQ(All(rows), "a\nb1\nb2\nd,\r\ne\n") << inMemory;
        EXPECT_EQ(All(rows), "a\nb1\nb2\nd,\r\ne\n") << inMemory;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(RowSpool, TellsThatRowsCouldNotBeKept) {
    RowSpool rows(2, "/nowhere/at/all", 0);
    rows.Add(0, {"a"});
    rows.Add(1, {"b"});
    try {
        All(rows);
        FAIL() << "no error";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_NE(std::string(error.what()).find("No such file or directory"), std::string::npos) << error.what();
    }
}

TEST(RowSpool, HoldsAQuarterOfAMebibyteInMemoryAndNoMore) {
    const std::string row(1023, 'x');
    RowSpool few(255, "/nowhere/at/all");
    for (std::size_t i = 0; i < 255; ++i) few.Add(i, {row});
    EXPECT_EQ(All(few).size(), 255u * 1024u) << "no file is needed";
    RowSpool many(300, "/nowhere/at/all");
    for (std::size_t i = 0; i < 300; ++i) many.Add(i, {row});
    EXPECT_THROW(All(many), qvox::ToolkitError) << "the file that is needed cannot be";
}

TEST(RowSpool, StopsWhereNothingMoreIsTaken) {
    const TemporaryFolder folder;
    RowSpool rows(3, folder.Path().string());
    for (std::size_t i = 0; i < 3; ++i) rows.Add(i, {"x"});
    int calls = 0;
    EXPECT_FALSE(rows.Copy([&calls](const std::string&) { return ++calls < 2; }));
    EXPECT_EQ(calls, 2);
}

}  // namespace

}  // namespace Korvane
