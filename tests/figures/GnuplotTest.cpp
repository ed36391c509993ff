#include "Gnuplot.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "FigureData.h"
#include "RunProgram.h"
#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {
namespace {

std::string BytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// What could be a command or a tag, if any part of the way took it for one.
const std::string kDangerous = "it's `touch here` $(touch here) \"<b>&amp; a_b {^x} @y %z \\n #";

Figure SmallFigure() {
    FigureData data;
    data.BeginBlock({"x", "y", "name"});
    data.Row({1, 2.5, "first"});
    data.Row({2, 3, kDangerous});
    Figure figure;
    figure.name = "small";
    figure.settings = "set xlabel " + GnuplotString(kDangerous) + " noenhanced\nset xtics noenhanced\n";
    figure.plot = "plot DATA index 0 using 1:2:xticlabels(3) with linespoints title " +
                  GnuplotString("µm² " + kDangerous) + " noenhanced\n";
    figure.data = data.Text();
    return figure;
}

class GnuplotFiles : public testing::Test {
protected:
    void SetUp() override {
        if (!gnuplot_) GTEST_SKIP() << "gnuplot is not installed";
    }

    std::string Path(const std::string& name) const { return (folder_.Path() / name).string(); }

    std::optional<Gnuplot> gnuplot_ = Gnuplot::Find();
    korvane_test::TemporaryFolder folder_;
};

TEST_F(GnuplotFiles, AreDrawnWithTheirTextsAsTheyAre) {
    gnuplot_->Draw(SmallFigure(), Path(""));
    const std::string svg = BytesOf(Path("small.svg"));
    EXPECT_NE(svg.find("it's `touch here` $(touch here) \"&lt;b>&amp;amp; a_b {^x} @y %z \\n #</text>"),
              std::string::npos);
    EXPECT_NE(svg.find("it's `touch here` $(touch here) '&lt;b>&amp;amp; a_b {^x} @y %z /n #</text>"),
              std::string::npos);
    EXPECT_NE(svg.find("µm² it's"), std::string::npos);
    EXPECT_EQ(svg.find("<b>"), std::string::npos);
    EXPECT_EQ(BytesOf(Path("small.pdf")).substr(0, 5), "%PDF-");
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_.Path())) ++files;
    EXPECT_EQ(files, 4u);
}

TEST_F(GnuplotFiles, AreTheSameBytesAtAnyTime) {
    std::filesystem::create_directory(Path("later"));
    gnuplot_->Draw(SmallFigure(), Path(""));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    gnuplot_->Draw(SmallFigure(), Path("later"));
    for (const char* const ending : {".svg", ".pdf", ".dat", ".gnuplot"}) {
        EXPECT_EQ(BytesOf(Path("small") + ending), BytesOf(Path("later/small") + ending)) << ending;
    }
    EXPECT_NE(BytesOf(Path("small.pdf")).find("/CreationDate (D:19800101000000"), std::string::npos);
}

TEST_F(GnuplotFiles, AreDrawnAgainFromTheScript) {
    gnuplot_->Draw(SmallFigure(), Path(""));
    const std::string svg = BytesOf(Path("small.svg"));
    std::filesystem::remove(Path("small.svg"));
    const ProgramEnd ended =
        RunProgram({FindProgram("gnuplot"), "small.gnuplot"}, Path(""), std::chrono::milliseconds(60000));
    EXPECT_EQ(ended.status, 0) << ended.output;
    EXPECT_EQ(BytesOf(Path("small.svg")), svg);
}

TEST_F(GnuplotFiles, AreNotTouchedWhereTheScriptFails) {
    gnuplot_->Draw(SmallFigure(), Path(""));
    const std::string svg = BytesOf(Path("small.svg"));
    Figure broken = SmallFigure();
    broken.plot = "plot nonsense(\n";
    try {
        gnuplot_->Draw(broken, Path(""));
        FAIL() << "the broken script was drawn";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_NE(std::string(error.what()).find("the figure 'small'"), std::string::npos) << error.what();
        EXPECT_NE(std::string(error.what()).find("\"small.gnuplot\" line "), std::string::npos) << error.what();
        EXPECT_NE(std::string(error.what()).back(), ' ') << error.what();
    }
    EXPECT_EQ(BytesOf(Path("small.svg")), svg);
}

TEST_F(GnuplotFiles, CannotBeWrittenIntoAFolderThatIsNotThere) {
    EXPECT_THROW(gnuplot_->Draw(SmallFigure(), Path("absent")), qvox::ToolkitError);
}

TEST(Gnuplot, IsNotFoundWhereTheSearchPathHasNone) {
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", "/var/empty", 1);
    EXPECT_FALSE(Gnuplot::Find().has_value());
    ::setenv("PATH", path.c_str(), 1);
}

TEST(FigureSources, AreWrittenWithoutGnuplot) {
    const korvane_test::TemporaryFolder folder;
    WriteFigureSources(SmallFigure(), folder.Path().string());
    EXPECT_EQ(BytesOf(folder.Path() / "small.dat"), SmallFigure().data);
    EXPECT_EQ(BytesOf(folder.Path() / "small.gnuplot"), FigureScript(SmallFigure()));
}

}  // namespace
}  // namespace Korvane
