#include "ReportBuilder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "CompleteFile.h"
#include "FolderLock.h"
#include "Gnuplot.h"
#include "ImageWarnings.h"
#include "InlineSvg.h"
#include "LabelOutline.h"
#include "PathText.h"
#include "PixelScale.h"
#include "ReportFigures.h"
#include "ReportPage.h"
#include "ReportPart.h"
#include "ReportTables.h"
#include "ReportText.h"
#include "Thumbnail.h"
#include "ToolkitError.h"
#include "Version.h"
#include "files/AtomicFile.h"
#include "operations/Shape.h"

namespace Korvane {

namespace {

constexpr const char* kUsualDiameter = "diameter_nm";
constexpr const char* kFigureFolder = "figures";
constexpr std::array<const char*, 4> kReportFiles{kReportPage, "objects.csv", "summary.csv", "bins.csv"};

void MakeFolder(const std::string& path) {
    std::error_code failure;
    std::filesystem::create_directories(path, failure);
    if (failure) throw qvox::ToolkitError("The folder '" + path + "' cannot be made: " + failure.message() + ".");
}

/// What is there of the report that is to be written, and not to be replaced; empty where nothing is.
std::string InTheWay(const ReportOptions& options) {
    if (options.existing == ExistingReport::kReplace) return "";
    if (!options.share) return ExistingReportFile(options.folder);
    std::string part = options.folder + "/" + kReportPartName;
    std::error_code unreachable;
    return std::filesystem::exists(part, unreachable) ? part : "";
}

/// Under the lock of the folder: another report may have been written there since this one was begun.
void RequireStillFree(const ReportOptions& options) {
    const std::string made = InTheWay(options);
    if (!made.empty()) throw MadeMeanwhile(made);
}

/// The folder of the rows that wait, after it was made and found free.
std::string PreparedFolder(const ReportOptions& options) {
    RequireFree(options);
    MakeFolder(options.folder);
    if (!options.share) MakeFolder(options.folder + "/" + kFigureFolder);
    return options.folder;
}

const ObjectColumn& ColumnNamed(const std::string& name) {
    const std::vector<ObjectColumn>& columns = ObjectColumns();
    const auto found = std::find_if(columns.begin(), columns.end(),
                                    [&name](const ObjectColumn& column) { return column.name == name; });
    if (found == columns.end()) throw qvox::ToolkitError("There is no diameter '" + name + "'.");
    return *found;
}

std::string SelectionText(const ObjectSelection& selection) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (selection.minDiameterNm) add("from " + TableNumber(selection.minDiameterNm) + " nm on");
    if (selection.maxDiameterNm) add("up to " + TableNumber(selection.maxDiameterNm) + " nm");
    if (selection.minRoundness) add("roundness of at least " + TableNumber(selection.minRoundness));
    if (selection.atEdge == ObjectsAtEdge::kLeftOut) add("not at the edge of the image");
    if (selection.filled == FilledObjects::kCounted) add("filled ones included");
    return text;
}

/// What no option asked for and still left objects out.
std::string SelectionByResult(const ReportNumbers& numbers) {
    std::string text;
    const auto add = [&](const char* reason, const char* part) {
        if (numbers.all.leftOut.count(reason) == 0) return;
        text += (text.empty() && numbers.selection.empty() ? "" : ", ") + std::string(part);
    };
    add("not measured", "only those of which this diameter could be measured");
    add("filled", "none of which annotations cover more than a tenth");
    return text;
}

/// The parts of "too small; not round".
std::vector<std::string> Split(const std::string& reasons) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start < reasons.size();) {
        const std::size_t end = std::min(reasons.find("; ", start), reasons.size());
        parts.push_back(reasons.substr(start, end - start));
        start = end + 2;
    }
    return parts;
}

/// The line that the chosen diameter belongs to: that of the edge or the rim where they were found, else the label's.
ClosedCurve OutlineFor(const std::string& diameter, const ObjectMeasures& object, const qvox::LabelImage& labels) {
    if (diameter == "rim_diameter_nm" && !object.edge.rimCurve.empty()) return object.edge.rimCurve;
    if (diameter == "edge_diameter_nm" && !object.edge.edgeCurve.empty()) return object.edge.edgeCurve;
    const std::vector<OutlinePolygon> outlines = OutlinesOf(labels, object.extent);
    const auto largest = std::max_element(outlines.begin(), outlines.end(), [](const auto& a, const auto& b) {
        return SignedArea(a.exterior) < SignedArea(b.exterior);
    });
    return largest == outlines.end() ? ClosedCurve() : largest->exterior;
}

std::string ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Streams a file, complete or absent.
class StreamedFile {
public:
    explicit StreamedFile(const std::string& path) : file_(path) {}
    bool Put(const std::string& bytes) {
        pending_ += bytes;
        if (pending_.size() >= kBlock) Flush();
        return file_.Error() == 0;
    }
    void Commit() {
        Flush();
        file_.Commit();
    }

private:
    static constexpr std::size_t kBlock = std::size_t{1} << 16;
    void Flush() {
        file_.Write(pending_.data(), pending_.size());
        pending_.clear();
    }
    qvox::AtomicFile file_;
    std::string pending_;
};

/// A picture of an earlier report would pass for one of this.
void RemovePictures(const std::string& folder, const std::string& name) {
    std::error_code ignored;
    const std::filesystem::path place = std::filesystem::path(folder) / name;
    for (const char* const ending : {".svg", ".pdf"}) {
        std::filesystem::remove(std::filesystem::path(place).replace_extension(ending), ignored);
    }
}

}  // namespace

std::string ExistingReportFile(const std::string& folder) {
    std::error_code unreachable;
    for (const char* const name : kReportFiles) {
        std::string path = folder + "/" + name;
        if (std::filesystem::exists(std::filesystem::symlink_status(path, unreachable))) return path;
    }
    const std::string figures = folder + "/" + kFigureFolder;
    const bool holdsFigures =
        std::filesystem::exists(figures, unreachable) && !std::filesystem::is_empty(figures, unreachable);
    return holdsFigures ? figures : "";
}

void RequireFree(const ReportOptions& options) {
    const std::string existing = InTheWay(options);
    if (existing.empty()) return;
    if (options.share) throw qvox::ToolkitError("'" + existing + "' exists already; --overwrite replaces it.");
    const bool isFolder = std::filesystem::path(existing).filename() == kFigureFolder;
    throw qvox::ToolkitError("'" + existing +
                             (isFolder ? "' holds files already; --overwrite replaces those of a report."
                                       : "' exists already; --overwrite replaces a report."));
}

std::vector<std::string> ReportFiles(const ReportOptions& options) {
    if (options.share) return {options.folder + "/" + kReportPartName};
    std::vector<std::string> files;
    files.reserve(std::size(kReportFiles) + 1);
    for (const char* const name : kReportFiles) files.push_back(options.folder + "/" + name);
    files.push_back(options.folder + "/" + kFigureFolder);
    return files;
}

ReportBuilder::ReportBuilder(ReportOptions options)
    : options_(std::move(options)),
      isPart_(options_.images.count, false),
      images_(options_.images.count, PreparedFolder(options_)),
      rows_(options_.images.count, options_.folder),
      thumbnails_(options_.images.count, options_.folder) {
    numbers_.groups = options_.groups;
    numbers_.diameter = options_.selection.diameter.value_or(kUsualDiameter);
    numbers_.selection = SelectionText(options_.selection);
    numbers_.binWidth = options_.binWidthNm.value_or(0.0);
    numbers_.imagesGiven = options_.images.count;
    ColumnNamed(numbers_.diameter);
    table_.Selection() = options_.selection;
}

std::string ReportBuilder::FileIn(const std::string& name) const { return options_.folder + "/" + name; }

ReportedImage ReportBuilder::Blank(std::size_t index) const {
    const wxString path = options_.images.path(index);
    ReportedImage image;
    image.path = path.utf8_string();
    image.name = FileNameOf(path).utf8_string();
    image.group = options_.groups.empty() ? 0 : options_.groupOfImage.at(index);
    return image;
}

ReportedImage ReportBuilder::ImageAt(std::size_t index) {
    const std::string kept = images_.Of(index);
    return kept.empty() ? Blank(index) : ReadImageLine(kept, options_.folder).image;
}

void ReportBuilder::Keep(std::size_t index, const ReportedImage& image) {
    images_.AddText(index, ImageLine({index, image, {}, {}}));
    const std::lock_guard<std::mutex> lock(mutex_);
    isPart_[index] = image.leftOutBecause.empty();
}

void ReportBuilder::EachImage(const std::function<void(const ReportedImage& image)>& look) {
    for (std::size_t i = 0; i < options_.images.count; ++i) look(ImageAt(i));
}

/// Images at equal distances, the first one among them.
bool ReportBuilder::HasThumbnail(std::size_t index) const {
    const std::size_t place = options_.share ? options_.share->places[index] : index;
    return place * Thumbnails() % ImagesOfAll() < Thumbnails();
}

std::string ReportBuilder::ThumbnailsNote() const {
    if (Thumbnails() == 0) return "<p>No thumbnails of the images were asked for.</p>\n";
    std::string note =
        "<p>Yellow: counted objects, with their labels; white and dashed: objects that do not count.</p>\n";
    if (Thumbnails() == ImagesOfAll()) return note;
    return note + "<p>Of the " + std::to_string(ImagesOfAll()) + " images " + std::to_string(Thumbnails()) +
           ", at equal distances in their list, are shown; korvane-batch report --thumbnails changes the number.</p>\n";
}

void ReportBuilder::Add(std::size_t index, const ReportSource& source) {
    const ObjectColumn& diameter = ColumnNamed(numbers_.diameter);
    const std::vector<ObjectMeasures> objects =
        MeasureEverything(source.image, source.labels, {source.excluded, source.part, source.beforeEachObject});
    ReportedImage image = Blank(index);
    const PixelScale scale = ScaleOf(source.image.Resolution());
    image.widthPx = source.image.SizeX();
    image.heightPx = source.image.SizeY();
    const ImagePart part = source.part.value_or(WholePart(source.labels));
    image.areaUm2 = static_cast<double>(part.width * part.height) * scale.widthNm * scale.heightNm * 1e-6;
    image.pixelSize = PixelSizeText(source.image.Resolution()).utf8_string();
    image.pixelSizeSource = source.pixelSizeSource.utf8_string();
    image.origin = source.origin;
    for (const wxString& warning : source.warnings) image.warnings.push_back(warning.utf8_string());
    const ObjectTableImage tableImage{options_.images.path(index), source.image.Resolution(), source.pixelSizeSource,
                                      source.origin.prepared};
    const std::string group = numbers_.groups.empty() ? "" : CsvField(numbers_.groups[image.group]) + ",";
    std::string rows;
    const bool hasThumbnail = HasThumbnail(index);
    std::vector<ThumbnailObject> drawn;
    for (const ObjectMeasures& object : objects) {
        if (source.beforeEachObject) source.beforeEachObject();
        const std::string reasons = WhyNotCounted(options_.selection, object);
        for (const std::string& reason : Split(reasons)) ++image.leftOut[reason];
        const std::optional<double> size = diameter.value(object);
        if (reasons.empty() && size) {
            image.counted.push_back({*size, qvox::Roundness(object.areaNm2, object.perimeterNm)});
        }
        if (object.touchesEdge) ++image.atEdge;
        if (hasThumbnail) {
            drawn.push_back({object.extent.label, object.moments.xPx, object.moments.yPx,
                             OutlineFor(numbers_.diameter, object, source.labels), reasons.empty()});
        }
        rows += group + table_.Rows(tableImage, {object});
    }
    image.objects = objects.size();
    image.leftOutBecause.clear();
    rows_.AddText(index, rows);
    if (hasThumbnail) {
        thumbnails_.AddText(
            index, "<figure class=\"image\">" +
                       ThumbnailSvg(source.image, drawn, ThumbnailWidth(Thumbnails()), image.name) + "<figcaption>" +
                       HtmlText(image.name) + ": " + Counted(image.counted.size(), "object") + " counted, " +
                       std::to_string(image.objects - image.counted.size()) + " not</figcaption></figure>\n");
    }
    Keep(index, image);
}

void ReportBuilder::LeaveOut(std::size_t index, const wxString& reason) {
    ReportedImage image = Blank(index);
    image.leftOutBecause = reason.utf8_string();
    Keep(index, image);
}

bool ReportBuilder::HasImages() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::find(isPart_.begin(), isPart_.end(), true) != isPart_.end();
}

void ReportBuilder::AddKnown(std::size_t index, const ReportPartImage& known) {
    rows_.AddText(index, known.rows);
    thumbnails_.AddText(index, known.thumbnail);
    Keep(index, known.image);
}

void ReportBuilder::WritePart() {
    const FolderLock lock({options_.folder});
    RequireStillFree(options_);
    ReportPartHead head;
    head.version = kVersion;
    head.selection = options_.selection;
    head.binWidth = numbers_.binWidth;
    head.groups = numbers_.groups;
    head.images = ImagesOfAll();
    head.thumbnails = options_.thumbnails;
    if (options_.share) head.part = options_.share->name;
    StreamedFile file(FileIn(kReportPartName));
    file.Put(HeadLine(head));
    for (std::size_t i = 0; i < options_.images.count; ++i) {
        const std::size_t place = options_.share ? options_.share->places[i] : i;
        file.Put(ImageLine({place, ImageAt(i), rows_.Of(i), thumbnails_.Of(i)}));
    }
    file.Commit();
}

void ReportBuilder::WriteObjects() {
    StreamedFile file(FileIn("objects.csv"));
    file.Put((numbers_.groups.empty() ? "" : "group,") + table_.Header());
    rows_.Copy([&file](const std::string& bytes) { return file.Put(bytes); });
    file.Commit();
}

void ReportBuilder::WritePage(const ReportPageParts& parts) {
    StreamedFile file(FileIn(kReportPage));
    PutPage(numbers_, parts, [&file](const std::string& html) { return file.Put(html); });
    file.Commit();
}

ReportPageParts ReportBuilder::DrawFigures(const std::function<void(const wxString& step)>& notify) const {
    const std::optional<Gnuplot> gnuplot = Gnuplot::Find();
    ReportPageParts parts;
    if (!gnuplot) parts.figuresNote = kGnuplotIsMissing;
    if (numbers_.all.sizes.empty()) parts.figuresNote = "No object counts: there is nothing to draw";
    const std::string folder = FileIn(kFigureFolder);
    if (!gnuplot || numbers_.all.sizes.empty()) {
        for (const std::string& name : ReportFigureNames()) RemovePictures(folder, name);
    }
    for (const ReportFigure& figure : ReportFigures(numbers_)) {
        const std::string& name = figure.figure.name;
        notify("Drawing " + wxString::FromUTF8(name));
        WriteFigureSources(figure.figure, folder);
        if (!gnuplot) continue;
        try {
            gnuplot->Draw(figure.figure, folder);
            const std::string svg = ReadBytes(std::filesystem::path(folder) / (name + ".svg"));
            parts.figures.push_back({name, figure.title, figure.caption, InlineSvg(svg, name, figure.title)});
        } catch (const qvox::ToolkitError& error) {
            // An interrupt ends gnuplot as well; then there is to be no report.
            notify("Going on without " + wxString::FromUTF8(name));
            // The tables are worth having without it.
            RemovePictures(folder, name);
            parts.figuresNote = error.what();
        }
    }
    return parts;
}

wxString ReportBuilder::Write(const std::function<void(const wxString& step)>& notify) {
    return Write(FolderLock({options_.folder}), notify);
}

wxString ReportBuilder::Write(const FolderLock&, const std::function<void(const wxString& step)>& notify) {
    RequireStillFree(options_);
    notify("Computing statistics");
    const auto eachImage = [this](const auto& look) { EachImage(look); };
    SummariseAll(numbers_, eachImage);
    numbers_.selection += SelectionByResult(numbers_);
    StreamedFile summary(FileIn("summary.csv"));
    summary.Put(SummaryHead(numbers_));
    constexpr std::size_t kToldAfter = 50000;
    std::size_t done = 0;
    SummariseImages(numbers_, eachImage, [&](const SizeSummary& image) {
        summary.Put(SummaryLine(image));
        if (++done % kToldAfter == 0) notify(wxString::Format("Computing statistics of images: %zu done", done));
    });
    ReportPageParts parts = DrawFigures(notify);
    notify("Writing the tables");
    WriteObjects();
    summary.Commit();
    WriteCompleteFile(FileIn("bins.csv"), BinTable(numbers_));
    parts.thumbnailsNote = ThumbnailsNote();
    parts.thumbnails = [this](const PutPart& put) { return thumbnails_.Copy(put); };
    notify("Writing the page");
    WritePage(parts);
    return wxString::FromUTF8(parts.figuresNote);
}

}  // namespace Korvane
