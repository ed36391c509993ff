#include "VisibleText.h"

#include <gtest/gtest.h>

#include "PathText.h"

namespace Korvane {

namespace {

TEST(VisibleText, WritesControlCharactersOut) {
    EXPECT_EQ(VisibleText("a\tb\nc\rd"), "a\\tb\\nc\\rd");
    EXPECT_EQ(VisibleText(PathText("\x1b]0;x\x07\x7f")), "\\x1b]0;x\\x07\\x7f");
    EXPECT_EQ(VisibleText(PathText("\xC2\x9B"
                                   "1m\x9B"
                                   "2m")),
              "\\x9b1m\\x9b2m");
}

TEST(VisibleText, LeavesEveryOtherByteAsItIs) {
    const std::string bytes = "\xC3\xBC \xC2\xB5 \xE4\xB8\xAD \xF0\x9F\x94\xAC bad\xFF\x80 100%s\\";
    EXPECT_EQ(VisibleText(PathText(bytes)), bytes);
}

TEST(VisibleLines, KeepTabsAndLineFeeds) { EXPECT_EQ(VisibleLines("a\tb\r\n"), "a\tb\\r\n"); }

TEST(VisibleJson, StaysJson) {
    EXPECT_EQ(VisibleJson("{\n  \"a\": \"\xC2\x85 \x7F\x1b \\u001b \xC2\xA0\xC3\x9B\"\n}\n\xC2"),
              "{\n  \"a\": \"\\u0085 \\u007f\\u001b \\u001b \xC2\xA0\xC3\x9B\"\n}\n\xC2");
    EXPECT_EQ(VisibleJson("\xC2\x85"), "\\u0085") << "also as the end";
}

TEST(VisibleFailure, IsOneLineForEachPart) {
    const wxString hostile = "Cannot load ')\nb.tif'!";
    EXPECT_EQ(VisibleFailure({hostile}), "Cannot load ')\\nb.tif'!");
    EXPECT_EQ(VisibleFailure({hostile, "')\nb.tif' holds \x1b."}),
              "Cannot load ')\\nb.tif'!\n')\\nb.tif' holds \\x1b.");
}

}  // namespace

}  // namespace Korvane
