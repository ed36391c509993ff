#include "TablePart.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>

#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

std::string WriteTable(const korvane_test::TemporaryFolder& folder, const std::string& text) {
    std::ofstream(folder.File("t.csv"), std::ios::binary) << text;
    return folder.File("t.csv");
}

TEST(RowReader, FieldsInQuotesMayHoldQuotesSeparatorsAndLines) {
    const korvane_test::TemporaryFolder folder;
    for (const std::string& separator : {std::string(","), std::string(";")}) {
        RowReader rows(WriteTable(folder, "image" + separator + "label\r\n" + R"("a ""b"", ; c.tif")" + separator +
                                              "7\r\n" + R"("""q"".tif")" + separator + "8\r\n\"two\nlines.tif\"" +
                                              separator + "9\r\nplain.tif" + separator + "10\r\n"));
        for (const auto& [image, label] :
             {std::pair{R"(a "b", ; c.tif)", 7u}, {R"("q".tif)", 8u}, {"two\nlines.tif", 9u}, {"plain.tif", 10u}}) {
            ASSERT_TRUE(rows.Next());
            EXPECT_EQ(rows.Image(), image);
            EXPECT_EQ(rows.Label(), label);
        }
        EXPECT_FALSE(rows.Next());
    }
}

TEST(RowReader, RefusesWhatIsNoTableOrCutOff) {
    const korvane_test::TemporaryFolder folder;
    for (const char* const text : {"", "name,label\r\n", "image,label\r\na.tif,1"}) {
        EXPECT_THROW(
            {
                RowReader rows(WriteTable(folder, text));
                rows.Next();
            },
            qvox::ToolkitError)
            << text;
    }
}

}  // namespace

}  // namespace Korvane
