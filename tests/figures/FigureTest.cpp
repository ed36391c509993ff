#include "Figure.h"

#include <gtest/gtest.h>

#include <limits>

#include "FigureData.h"
#include "InlineSvg.h"
#include "ToolkitError.h"

namespace Korvane {
namespace {

TEST(GnuplotString, KeepsAQuoteInsideTheQuotes) { EXPECT_EQ(GnuplotString("it's `id` \"x\""), "'it''s `id` \"x\"'"); }

TEST(GnuplotString, LetsNoControlCharacterEndTheLine) {
    EXPECT_EQ(GnuplotString("a\nset output 'b"), "'a set output ''b'");
}

TEST(GnuplotNumber, IsTheShortestTextThatGivesTheNumberAgain) {
    EXPECT_EQ(GnuplotNumber(0.1), "0.1");
    EXPECT_EQ(GnuplotNumber(100.0), "100");
    EXPECT_EQ(GnuplotNumber(std::numeric_limits<double>::quiet_NaN()), "NaN");
    EXPECT_EQ(GnuplotNumber(std::numeric_limits<double>::infinity()), "NaN");
}

TEST(FigureData, SeparatesBlocksByTwoEmptyLines) {
    FigureData data;
    data.BeginBlock({"x", "name"});
    data.Row({1, "a"});
    data.Gap();
    data.Row({2.5, "b"});
    data.BeginBlock({"y"});
    data.Row({3});
    EXPECT_EQ(data.Text(), "# x\tname\n1\t\"a\"\n\n2.5\t\"b\"\n\n\n# y\n3\n");
}

TEST(FigureData, LetsNoTextEndItsField) {
    FigureData data;
    data.BeginBlock({"name"});
    data.Row({"a\tb\n#\"c\\n"});
    EXPECT_EQ(data.Text(), "# name\n\"a b #'c/n\"\n");
    data = {};
    data.BeginBlock({"name"});
    data.Row({"a\x1f\x7f~\xC2\x80z"});
    EXPECT_EQ(data.Text(), "# name\n\"a  ~\xC2\x80z\"\n") << "control characters alone become spaces";
}

TEST(FigureScript, RefusesANameThatIsAPathOrACommand) {
    for (const char* const name : {"", "../a", "a b", "a.b", "a'b", "a/b"}) {
        Figure figure;
        figure.name = name;
        EXPECT_THROW(FigureScript(figure), qvox::ToolkitError) << name;
    }
}

TEST(FigureScript, NamesItsFilesAndHoldsTheCommands) {
    Figure figure;
    figure.name = "sizes-2";
    figure.settings = "set xlabel 'x'\n";
    figure.plot = "plot DATA index 0 using 1:2\n";
    const std::string script = FigureScript(figure);
    EXPECT_NE(script.find("DATA = 'sizes-2.dat'\nset xlabel 'x'\n"), std::string::npos);
    EXPECT_NE(script.find("set output 'sizes-2.' . format\nplot DATA index 0 using 1:2\nunset output\n"),
              std::string::npos);
}

TEST(InlineSvg, GivesIdentifiersAPrefixAndDropsWhatOnlyAFileHas) {
    const std::string file =
        "<?xml version=\"1.0\"?>\n<svg \n width=\"6\" height=\"4\"\n viewBox=\"0 0 6 4\"\n xmlns=\"s\"\n>\n"
        "<title>t</title>\n<desc>d</desc>\n<g id='a'/><use xlink:href='#a' id=\"b\"/></svg>\n";
    EXPECT_EQ(InlineSvg(file, "f1", "a & b"),
              "<svg role=\"img\" aria-label=\"a &amp; b\" viewBox=\"0 0 6 4\" xmlns=\"http://www.w3.org/2000/svg\" "
              "xmlns:xlink=\"http://www.w3.org/1999/xlink\">\n\n<g id='f1-a'/><use xlink:href='#f1-a' "
              "id=\"f1-b\"/></svg>\n");
}

TEST(InlineSvg, RefusesOtherTexts) {
    EXPECT_THROW(InlineSvg("", "f", "t"), qvox::ToolkitError);
    EXPECT_THROW(InlineSvg("<svg viewBox=\"0 0 1 1\">", "f", "t"), qvox::ToolkitError);
}

TEST(HtmlText, LetsNoTextBecomeATag) { EXPECT_EQ(HtmlText("<b>\"&'\x1b"), "&lt;b&gt;&quot;&amp;&#39; "); }

}  // namespace
}  // namespace Korvane
