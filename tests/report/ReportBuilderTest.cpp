#include "ReportBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Gnuplot.h"
#include "Position.h"
#include "ReportPart.h"
#include "ReportText.h"
#include "RunProgram.h"
#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {
namespace {

namespace fs = std::filesystem;

std::string BytesOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Dark discs on a bright ground, 2 nm per pixel. The first touches the edge.
Position Discs(int number, int firstRadius) {
    Position position;
    position.image.Resize(300, 200, 1);
    position.image.SetResolution({500.0f, 500.0f, 1.0f});
    std::fill(position.image.begin(), position.image.end(), 100.0f);
    position.labels.CopyPropertiesFrom(position.image);
    position.labels.Resize(300, 200, 1);
    position.labels.Zero();
    for (int i = 0; i < number; ++i) {
        const int radius = firstRadius + i;
        const int cx = i == 0 ? radius : 60 + (i - 1) % 5 * 50;
        const int cy = 40 + (i - 1 + 5) % 10 / 5 * 80;
        for (int y = cy - radius; y <= cy + radius; ++y) {
            for (int x = std::max(0, cx - radius); x <= cx + radius; ++x) {
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) > radius * radius) continue;
                position.image.Row(static_cast<std::uint64_t>(y))[x] = 20.0f;
                position.labels.Row(static_cast<std::uint64_t>(y))[x] = static_cast<std::uint16_t>(i + 1);
            }
        }
    }
    return position;
}

ReportOptions OptionsFor(const fs::path& folder) {
    ReportOptions options;
    options.folder = folder.string();
    options.images = {"/d/a/1.tif", "/d/a/<2>.tif", "/d/b/3.tif", "/d/b/4.tif"};
    options.groups = {"a", "b & c"};
    options.groupOfImage = {0, 0, 1, 1};
    return options;
}

LabelOrigin Detection() {
    return {"detect", "Korvane 9.9", "Area fraction (alpha) 0.15", "32 rows at the bottom left out"};
}

/// Three images of eight, nine and ten objects; the fourth has no labels.
wxString MakeReport(const ReportOptions& options) {
    ReportBuilder builder(options);
    const auto add = [&builder](std::size_t index, int objects) {
        const Position position = Discs(objects, 9);
        builder.Add(index, {position.image, position.labels, "the file", Detection(), {"has a warning."}});
    };
    std::thread other(add, 2, 10);
    add(1, 9);
    add(0, 8);
    other.join();
    builder.LeaveOut(3, "there is no 'seg_4.tif'");
    return builder.Write([](const wxString& step) { EXPECT_FALSE(step.empty()); });
}

std::size_t Occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

TEST(ReportBuilder, WritesTablesPageAndFigures) {
    const korvane_test::TemporaryFolder folder;
    const wxString missing = MakeReport(OptionsFor(folder.Path() / "new" / "report"));
    const fs::path made = folder.Path() / "new" / "report";
    const std::string objects = BytesOf(made / "objects.csv");
    EXPECT_EQ(objects.substr(0, 18), "group,image,label,");
    EXPECT_EQ(Occurrences(objects, "\r\n"), 1u + 8 + 9 + 10);
    EXPECT_NE(objects.find("\r\nb & c,/d/b/3.tif,10,"), std::string::npos);
    const std::string summary = BytesOf(made / "summary.csv");
    EXPECT_EQ(Occurrences(summary, "\r\n"), 1u + 1 + 2 + 3);
    EXPECT_NE(summary.find("\r\nall,,,3,27,27,0,,3,0.72,37.5,"), std::string::npos) << summary;
    EXPECT_NE(summary.find("\r\ngroup,a,a,2,17,17,0,,2,0.48,"), std::string::npos) << summary;
    EXPECT_NE(summary.find("\r\nimage,/d/a/<2>.tif,a,1,9,9,"), std::string::npos) << summary;
    EXPECT_NE(BytesOf(made / "bins.csv").find("\r\ngroup,b & c,"), std::string::npos);
    const std::string page = BytesOf(made / "report.html");
    for (const char* const text :
         {"27 objects counted in 3 images", "there is no &#39;seg_4.tif&#39;", "1 image left out",
          "detect, Korvane 9.9: Area fraction (alpha) 0.15", "32 rows at the bottom left out",
          "2 nm per pixel (the file)", "has a warning.", "3 objects of 27 (11.1 %) touch the edge", "b &amp; c",
          "<p>All objects count.</p>", "Vesicles in 3 electron micrographs", "&lt;2&gt;.tif: 9 objects counted, 0 not",
          "</html>"}) {
        EXPECT_NE(page.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(page.find("<2>"), std::string::npos);
    EXPECT_EQ(page.find("These are the first"), std::string::npos) << "all are there";
    EXPECT_EQ(Occurrences(page, "data:image/png"), 3u);
    for (const char* const name : {"histogram", "cumulative", "roundness", "boxes", "order"}) {
        EXPECT_TRUE(fs::exists(made / "figures" / (std::string(name) + ".gnuplot"))) << name;
        EXPECT_TRUE(fs::exists(made / "figures" / (std::string(name) + ".dat"))) << name;
    }
    if (!Gnuplot::Find()) GTEST_SKIP() << "gnuplot is not installed";
    EXPECT_TRUE(missing.empty());
    EXPECT_EQ(Occurrences(page, "<figure><h3>"), 5u);
    EXPECT_TRUE(fs::exists(made / "figures" / "order.pdf"));
    // Nothing is loaded from elsewhere.
    EXPECT_EQ(Occurrences(page, "http"), Occurrences(page, "http://www.w3.org/"));
    EXPECT_EQ(Occurrences(page, "<script"), 0u);
}

/// What a column of the table of sums holds for all images.
double OfAll(const std::string& summary, const std::string& column) {
    const auto fields = [](std::string line) {
        std::vector<std::string> found(1);
        for (const char c : line) {
            if (c == ',') {
                found.emplace_back();
            } else {
                found.back() += c;
            }
        }
        return found;
    };
    const std::size_t second = summary.find("\r\n") + 2;
    const std::vector<std::string> names = fields(summary.substr(0, second - 2));
    const std::vector<std::string> all = fields(summary.substr(second, summary.find("\r\n", second) - second));
    const auto at = static_cast<std::size_t>(std::find(names.begin(), names.end(), column) - names.begin());
    EXPECT_LT(at, all.size()) << column;
    return at < all.size() ? std::stod(all[at]) : 0.0;
}

TEST(ReportBuilder, SaysTheSizesInASentenceWithADecimalEach) {
    const korvane_test::TemporaryFolder folder;
    MakeReport(OptionsFor(folder.Path() / "report"));
    const std::string summary = BytesOf(folder.Path() / "report" / "summary.csv");
    const std::string page = BytesOf(folder.Path() / "report" / "report.html");
    const auto text = [&summary](const char* column) { return FixedText(OfAll(summary, column), 1); };
    EXPECT_NE(page.find(" The mean diameter was " + text("mean_nm") + " nm (SD " + text("sd_nm") + " nm, n = 27, "),
              std::string::npos);
    EXPECT_NE(page.find(", the median " + text("median_nm") + " nm ("), std::string::npos);
    EXPECT_NE(page.find("), D10 and D90 " + text("d10_nm") + " and " + text("d90_nm") + " nm"), std::string::npos);
}

TEST(ReportBuilder, WritesTheSameBytesAgain) {
    const korvane_test::TemporaryFolder folder;
    MakeReport(OptionsFor(folder.Path() / "1"));
    MakeReport(OptionsFor(folder.Path() / "2"));
    std::size_t files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder.Path() / "1")) {
        if (!entry.is_regular_file()) continue;
        const fs::path name = fs::relative(entry.path(), folder.Path() / "1");
        EXPECT_EQ(BytesOf(entry.path()), BytesOf(folder.Path() / "2" / name)) << name;
        ++files;
    }
    EXPECT_GE(files, 14u);
}

TEST(ReportBuilder, SaysWhatIsMissingWithoutGnuplot) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    MakeReport(options);
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", "/var/empty", 1);
    options.existing = ExistingReport::kReplace;
    const wxString missing = MakeReport(options);
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_NE(missing.Find("gnuplot is not installed"), wxNOT_FOUND);
    EXPECT_NE(BytesOf(folder.Path() / "report.html").find("gnuplot is not installed"), std::string::npos);
    EXPECT_TRUE(fs::exists(folder.Path() / "figures" / "boxes.gnuplot"));
    EXPECT_FALSE(fs::exists(folder.Path() / "figures" / "boxes.svg")) << "of the report before";
    EXPECT_EQ(Occurrences(BytesOf(folder.Path() / "summary.csv"), "\r\n"), 7u);
}

TEST(ReportBuilder, IsMadeWithoutTheFiguresThatGnuplotCannotDraw) {
    const korvane_test::TemporaryFolder folder;
    const std::string program = folder.File("gnuplot");
    std::ofstream(program) << "#!/bin/sh\n[ \"$1\" != --version ] || { echo gnuplot 1; exit; }\necho broken; exit 3\n";
    fs::permissions(program, fs::perms::owner_all);
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", folder.Path().c_str(), 1);
    const wxString missing = MakeReport(OptionsFor(folder.Path() / "report"));
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(missing, "gnuplot cannot draw the figure 'order' (status 3): broken");
    const std::string page = BytesOf(folder.Path() / "report" / "report.html");
    EXPECT_NE(page.find("gnuplot cannot draw the figure"), std::string::npos);
    EXPECT_TRUE(fs::exists(folder.Path() / "report" / "figures" / "order.gnuplot"));
}

TEST(ReportBuilder, CountsWhatTheSelectionTakes) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    options.groups.clear();
    options.groupOfImage.clear();
    options.selection.minDiameterNm = 45.0;
    options.selection.atEdge = ObjectsAtEdge::kLeftOut;
    options.binWidthNm = 4.0;
    MakeReport(options);
    // Radii of 9 px (36 nm) upwards: 9, 10 and 11 are too small, and the first lies at the edge.
    EXPECT_NE(
        BytesOf(folder.Path() / "summary.csv").find("\r\nall,,,3,27,18,9,at the edge: 3; too small: 9,3,0.72,25,"),
        std::string::npos)
        << BytesOf(folder.Path() / "summary.csv");
    EXPECT_NE(BytesOf(folder.Path() / "bins.csv").find("\r\nall,,44,48,"), std::string::npos);
    const std::string page = BytesOf(folder.Path() / "report.html");
    EXPECT_NE(page.find("from 45 nm on, not at the edge of the image"), std::string::npos);
    EXPECT_NE(page.find("<polygon class=\"other\""), std::string::npos);
    EXPECT_NE(page.find("9 objects of 27 do not count."), std::string::npos);
}

TEST(ReportBuilder, AnInterruptLeavesThePageAndTheTablesThatAreThere) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    MakeReport(options);
    std::vector<std::string> before;
    const std::vector<std::string> files{"report.html", "objects.csv", "summary.csv", "bins.csv"};
    for (const std::string& name : files) before.push_back(BytesOf(folder.Path() / name));
    options.existing = ExistingReport::kReplace;
    options.images = {"/d/a/1.tif"};
    options.groups.clear();
    struct Interrupt {};
    for (const char* const step : {"Drawing order", "Writing the tables"}) {
        ReportBuilder builder(options);
        const Position position = Discs(4, 12);
        builder.Add(0, {position.image, position.labels, "the file", {}, {}});
        const auto interrupt = [step](const wxString& told) {
            if (told == step) throw Interrupt();
        };
        EXPECT_THROW(builder.Write(interrupt), Interrupt);
        for (std::size_t i = 0; i < files.size(); ++i) EXPECT_EQ(BytesOf(folder.Path() / files[i]), before[i]) << step;
    }
}

TEST(ReportBuilder, RefusesAFolderWithFiguresOfOthers) {
    const korvane_test::TemporaryFolder folder;
    fs::create_directories(folder.Path() / "figures");
    std::ofstream(folder.Path() / "figures" / "histogram.svg") << "mine";
    EXPECT_THROW(ReportBuilder{OptionsFor(folder.Path())}, qvox::ToolkitError);
    EXPECT_EQ(BytesOf(folder.Path() / "figures" / "histogram.svg"), "mine");
}

TEST(ReportBuilder, TakesTheAreaOfThePartThatWasAnalysed) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    options.images = {"/d/a/1.tif"};
    options.groups.clear();
    ReportBuilder builder(options);
    const Position position = Discs(8, 9);
    builder.Add(0, {position.image, position.labels, "the file", {}, {}, nullptr, ImagePart{0, 0, 300, 150}});
    builder.Write([](const wxString&) {});
    // 300 x 150 pixels of 2 nm.
    EXPECT_NE(BytesOf(folder.Path() / "summary.csv").find(",0.18,"), std::string::npos)
        << BytesOf(folder.Path() / "summary.csv");
}

TEST(ReportBuilder, LeavesOutAnImageWhoseMeasuringWasEnded) {
    struct Late {};
    const korvane_test::TemporaryFolder folder;
    ReportBuilder builder(OptionsFor(folder.Path() / "report"));
    const Position position = Discs(3, 9);
    ReportSource source{position.image, position.labels, "the file", Detection(), {}};
    // Three objects, whose edges, other measures and rows are made one after the other.
    int objects = 0;
    source.beforeEachObject = [&objects] {
        if (++objects == 8) throw Late();
    };
    EXPECT_THROW(builder.Add(0, source), Late);
    EXPECT_EQ(objects, 8);
    EXPECT_FALSE(builder.HasImages());
}

TEST(ReportBuilder, DoesNotCountWhatWasFilled) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    options.images = {"/d/a/1.tif"};
    options.groups.clear();
    ReportBuilder builder(options);
    const Position position = Discs(8, 9);
    qvox::VoxelImage<std::uint8_t> excluded;
    excluded.CopyPropertiesFrom(position.labels);
    excluded.Resize(300, 200, 1);
    std::transform(position.labels.begin(), position.labels.end(), excluded.begin(),
                   [](std::uint16_t label) { return static_cast<std::uint8_t>(label == 3 ? 255 : 0); });
    builder.Add(0, {position.image, position.labels, "the file", {}, {}, &excluded});
    builder.Write([](const wxString&) {});
    EXPECT_NE(BytesOf(folder.Path() / "summary.csv").find("\r\nall,,,1,8,7,1,filled: 1,1,"), std::string::npos)
        << BytesOf(folder.Path() / "summary.csv");
}

TEST(ReportBuilder, MakesAReportWhereNothingCounts) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    options.selection.minDiameterNm = 4500.0;
    EXPECT_NE(MakeReport(options).Find("nothing to draw"), wxNOT_FOUND);
    EXPECT_NE(BytesOf(folder.Path() / "report.html").find("0 objects counted in 3 images"), std::string::npos);
    EXPECT_EQ(BytesOf(folder.Path() / "bins.csv"), "scope,name,from_nm,to_nm,counted,fitted\r\n");
}

/// What a program prints of the tables in `folder`; empty where it is not installed.
std::string PrintedBy(const std::vector<std::string>& program, const fs::path& folder) {
    try {
        const ProgramEnd ended = RunProgram(program, folder.string(), std::chrono::milliseconds(120000));
        return ended.status == 0 ? ended.output : "";
    } catch (const qvox::ToolkitError&) {
        return "";
    }
}

TEST(ReportBuilder, WritesTablesThatPandasAndRReadAlike) {
    const korvane_test::TemporaryFolder folder;
    MakeReport(OptionsFor(folder.Path()));
    const std::string pandas =
        PrintedBy({"/usr/bin/python3", "-c",
                   "import pandas; o = pandas.read_csv('objects.csv'); s = pandas.read_csv('summary.csv'); "
                   "b = pandas.read_csv('bins.csv'); "
                   "print(len(o), s.counted[0], b.counted[b.scope == 'all'].sum(), "
                   "'%.2f' % abs(o.diameter_nm.mean() - s.mean_nm[0]))"},
                  folder.Path());
    const std::string r =
        PrintedBy({"/usr/bin/Rscript", "-e",
                   "o <- read.csv('objects.csv'); s <- read.csv('summary.csv'); b <- read.csv('bins.csv'); "
                   "cat(sprintf('%d %d %d %.2f\\n', nrow(o), s$counted[1], sum(b$counted[b$scope == 'all']), "
                   "abs(mean(o$diameter_nm) - s$mean_nm[1])))"},
                  folder.Path());
    if (pandas.empty() && r.empty()) GTEST_SKIP() << "neither pandas nor R is installed";
    for (const std::string& printed : {pandas, r}) {
        if (printed.empty()) continue;
        EXPECT_EQ(printed, "27 27 27 0.00\n");
    }
}

/// An image as a part of a report would tell of it, with two objects.
ReportPartImage Known(std::size_t place) {
    ReportPartImage known;
    known.place = place;
    known.image.path = "/d/" + std::to_string(place) + ".tif";
    known.image.name = std::to_string(place) + ".tif";
    known.image.leftOutBecause.clear();
    known.image.areaUm2 = 1.0;
    known.image.pixelSize = std::to_string(place) + " nm per pixel";
    known.image.pixelSizeSource = "the file";
    known.image.warnings = {"is doubtful."};
    const double size = 50.0 + static_cast<double>(place % 17);
    known.image.counted = {{size, 0.9}, {size + 20.0, 0.8}};
    known.image.objects = 2;
    known.rows = std::to_string(place) + ",1\r\n";
    if (place % 2 == 0) known.thumbnail = "<figure class=\"image\"></figure>\n";
    return known;
}

TEST(ReportBuilder, BoundsThePageAndTheFiguresOfManyImages) {
    constexpr std::size_t kImages = 5200;
    const korvane_test::TemporaryFolder folder;
    ReportOptions options;
    options.folder = folder.Path().string();
    options.images = {kImages, [](std::size_t) { return wxString(); }};
    ReportBuilder builder(options);
    for (std::size_t i = kImages; i > 0; --i) builder.AddKnown(i - 1, Known(i - 1));
    builder.Write([](const wxString&) {});
    EXPECT_EQ(Occurrences(BytesOf(folder.Path() / "summary.csv"), "\r\n"), 2u + kImages);
    EXPECT_EQ(Occurrences(BytesOf(folder.Path() / "objects.csv"), "\r\n"), 1u + kImages);
    const std::string page = BytesOf(folder.Path() / "report.html");
    for (const char* const text :
         {"10400 objects counted in 5200 images", "These are the first 5000 of 5200 images; summary.csv has all",
          "<tr><td class=\"number\">5000</td><td>4999.tif</td>", "and 4200 warnings more",
          "<td>others</td><td>4200</td>", "Of the 5200 images 500, at equal distances in their list, are shown"}) {
        EXPECT_NE(page.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(page.find("<td>5000.tif</td>"), std::string::npos);
    // Six images share a place: 1 to 6 that of 3.5.
    const std::string order = BytesOf(folder.Path() / "figures" / "order.dat");
    EXPECT_EQ(Occurrences(order, "\n"), 1u + (kImages + 5) / 6);
    EXPECT_NE(order.find("\n3.5\t"), std::string::npos) << order.substr(0, 200);
    EXPECT_NE(BytesOf(folder.Path() / "figures" / "order.gnuplot").find("(6 images together)"), std::string::npos);
    EXPECT_NE(BytesOf(folder.Path() / "figures" / "boxes.gnuplot").find("BOX = 3\n"), std::string::npos);
}

TEST(ReportBuilder, ShowsAsManyImagesAsAreAskedFor) {
    for (const std::size_t wanted : {0u, 1u, 2u, 9u}) {
        const korvane_test::TemporaryFolder folder;
        ReportOptions options = OptionsFor(folder.Path());
        options.thumbnails = wanted;
        MakeReport(options);
        const std::string page = BytesOf(folder.Path() / "report.html");
        // Of the four images the first and the third are at equal distances; the fourth is left out.
        EXPECT_EQ(Occurrences(page, "data:image/png"), std::min<std::size_t>(wanted, 3)) << wanted;
        EXPECT_EQ(page.find("at equal distances") == std::string::npos, wanted == 0 || wanted == 9) << wanted;
        if (wanted == 2) {
            EXPECT_NE(page.find("<figcaption>1.tif: "), std::string::npos);
            EXPECT_NE(page.find("<figcaption>3.tif: "), std::string::npos);
        }
    }
}

TEST(ReportBuilder, DoesNotReplaceAReportUnasked) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    EXPECT_FALSE(ReportBuilder(options).HasImages());
    MakeReport(options);
    EXPECT_THROW(ReportBuilder{options}, qvox::ToolkitError);
    options.existing = ExistingReport::kReplace;
    EXPECT_NO_THROW(ReportBuilder{options});
}

TEST(ReportBuilder, RefusesAFolderThatCannotBe) {
    const korvane_test::TemporaryFolder folder;
    std::ofstream(folder.File("file")) << "x";
    EXPECT_THROW(ReportBuilder{OptionsFor(folder.Path() / "file" / "report")}, qvox::ToolkitError);
}

TEST(ReportBuilder, RefusesMoreBinsThanAFigureHasRoomFor) {
    const korvane_test::TemporaryFolder folder;
    ReportOptions options = OptionsFor(folder.Path());
    options.binWidthNm = 1e-6;
    EXPECT_THROW(MakeReport(options), qvox::ToolkitError);
    EXPECT_FALSE(fs::exists(folder.Path() / "report.html"));
}

}  // namespace
}  // namespace Korvane
