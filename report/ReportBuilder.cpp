#include "ReportBuilder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "CompleteFile.h"
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

void MakeFolder(const std::string& path) {
    std::error_code failure;
    std::filesystem::create_directories(path, failure);
    if (failure) throw qvox::ToolkitError("The folder '" + path + "' cannot be made: " + failure.message() + ".");
}

/// The folder of the rows that wait, after it was made and found free.
std::string PreparedFolder(const ReportOptions& options) {
    if (options.share) {
        const std::string part = options.folder + "/" + kReportPartName;
        std::error_code unreachable;
        if (options.existing == ExistingReport::kRefuse && std::filesystem::exists(part, unreachable)) {
            throw qvox::ToolkitError("'" + part + "' exists already; --overwrite replaces it.");
        }
        MakeFolder(options.folder);
        return options.folder;
    }
    const std::string existing = ExistingReportFile(options.folder);
    if (options.existing == ExistingReport::kRefuse && !existing.empty()) {
        const bool isFolder = std::filesystem::path(existing).filename() == kFigureFolder;
        throw qvox::ToolkitError("'" + existing +
                                 (isFolder ? "' holds files already; --overwrite replaces those of a report."
                                           : "' exists already; --overwrite replaces a report."));
    }
    MakeFolder(options.folder);
    MakeFolder(options.folder + "/" + kFigureFolder);
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
    const auto leftOut = [&numbers](const char* reason) {
        return std::any_of(numbers.images.begin(), numbers.images.end(),
                           [reason](const ReportedImage& image) { return image.leftOut.count(reason) > 0; });
    };
    std::string text;
    const auto add = [&](const char* part) {
        text += (text.empty() && numbers.selection.empty() ? "" : ", ") + std::string(part);
    };
    if (leftOut("not measured")) add("only those of which this diameter could be measured");
    if (leftOut("filled")) add("none of which annotations cover more than a tenth");
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
    for (const char* const name : {kReportPage, "objects.csv", "summary.csv", "bins.csv"}) {
        std::string path = folder + "/" + name;
        if (std::filesystem::exists(std::filesystem::symlink_status(path, unreachable))) return path;
    }
    const std::string figures = folder + "/" + kFigureFolder;
    const bool holdsFigures =
        std::filesystem::exists(figures, unreachable) && !std::filesystem::is_empty(figures, unreachable);
    return holdsFigures ? figures : "";
}

ReportBuilder::ReportBuilder(ReportOptions options)
    : options_(std::move(options)),
      rows_(options_.images.size(), PreparedFolder(options_)),
      thumbnails_(options_.images.size(), options_.folder) {
    numbers_.groups = options_.groups;
    numbers_.diameter = options_.selection.diameter.value_or(kUsualDiameter);
    numbers_.selection = SelectionText(options_.selection);
    numbers_.binWidth = options_.binWidthNm.value_or(0.0);
    numbers_.images.resize(options_.images.size());
    for (std::size_t i = 0; i < options_.images.size(); ++i) {
        ReportedImage& image = numbers_.images[i];
        image.path = options_.images[i].utf8_string();
        image.name = FileNameOf(options_.images[i]).utf8_string();
        image.group = options_.groups.empty() ? 0 : options_.groupOfImage.at(i);
    }
    ColumnNamed(numbers_.diameter);
    table_.Selection() = options_.selection;
}

std::string ReportBuilder::FileIn(const std::string& name) const { return options_.folder + "/" + name; }

void ReportBuilder::Add(std::size_t index, const ReportSource& source) {
    const ObjectColumn& diameter = ColumnNamed(numbers_.diameter);
    const std::vector<ObjectMeasures> objects =
        MeasureEverything(source.image, source.labels, {source.excluded, source.part});
    ReportedImage image = numbers_.images[index];
    const PixelScale scale = ScaleOf(source.image.Resolution());
    image.widthPx = source.image.SizeX();
    image.heightPx = source.image.SizeY();
    const ImagePart part = source.part.value_or(WholePart(source.labels));
    image.areaUm2 = static_cast<double>(part.width * part.height) * scale.widthNm * scale.heightNm * 1e-6;
    image.pixelSize = PixelSizeText(source.image.Resolution()).utf8_string();
    image.pixelSizeSource = source.pixelSizeSource.utf8_string();
    image.origin = source.origin;
    for (const wxString& warning : source.warnings) image.warnings.push_back(warning.utf8_string());
    const ObjectTableImage tableImage{options_.images[index], source.image.Resolution(), source.pixelSizeSource,
                                      source.origin.prepared};
    const std::string group = numbers_.groups.empty() ? "" : CsvField(numbers_.groups[image.group]) + ",";
    std::string rows;
    std::vector<ThumbnailObject> drawn;
    for (const ObjectMeasures& object : objects) {
        const std::string reasons = WhyNotCounted(options_.selection, object);
        for (const std::string& reason : Split(reasons)) ++image.leftOut[reason];
        const std::optional<double> size = diameter.value(object);
        if (reasons.empty() && size) {
            image.counted.push_back({*size, qvox::Roundness(object.areaNm2, object.perimeterNm)});
        }
        if (object.touchesEdge) ++image.atEdge;
        drawn.push_back({object.extent.label, object.moments.xPx, object.moments.yPx,
                         OutlineFor(numbers_.diameter, object, source.labels), reasons.empty()});
        rows += group + table_.Rows(tableImage, {object});
    }
    image.objects = objects.size();
    image.leftOutBecause.clear();
    rows_.AddText(index, rows);
    thumbnails_.AddText(
        index, "<figure class=\"image\">" +
                   ThumbnailSvg(source.image, drawn, ThumbnailWidth(ImagesOfAll()), image.name) + "<figcaption>" +
                   HtmlText(image.name) + ": " + Counted(image.counted.size(), "object") + " counted, " +
                   std::to_string(image.objects - image.counted.size()) + " not</figcaption></figure>\n");
    const std::lock_guard<std::mutex> lock(mutex_);
    numbers_.images[index] = std::move(image);
}

void ReportBuilder::LeaveOut(std::size_t image, const wxString& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    numbers_.images[image].leftOutBecause = reason.utf8_string();
}

bool ReportBuilder::HasImages() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(numbers_.images.begin(), numbers_.images.end(),
                       [](const ReportedImage& image) { return image.leftOutBecause.empty(); });
}

void ReportBuilder::AddKnown(std::size_t index, const ReportPartImage& known) {
    rows_.AddText(index, known.rows);
    thumbnails_.AddText(index, known.thumbnail);
    const std::lock_guard<std::mutex> lock(mutex_);
    numbers_.images[index] = known.image;
}

void ReportBuilder::WritePart() {
    ReportPartHead head;
    head.version = kVersion;
    head.selection = options_.selection;
    head.binWidth = numbers_.binWidth;
    head.groups = numbers_.groups;
    head.images = ImagesOfAll();
    if (options_.share) head.part = options_.share->name;
    StreamedFile file(FileIn(kReportPartName));
    file.Put(HeadLine(head));
    for (std::size_t i = 0; i < numbers_.images.size(); ++i) {
        const std::size_t place = options_.share ? options_.share->places[i] : i;
        file.Put(ImageLine({place, numbers_.images[i], rows_.Of(i), thumbnails_.Of(i)}));
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
    notify("Computing statistics");
    numbers_.selection += SelectionByResult(numbers_);
    Summarise(numbers_);
    ReportPageParts parts = DrawFigures(notify);
    notify("Writing the tables");
    WriteObjects();
    WriteCompleteFile(FileIn("summary.csv"), SummaryTable(numbers_));
    WriteCompleteFile(FileIn("bins.csv"), BinTable(numbers_));
    parts.thumbnails = [this](const PutPart& put) { return thumbnails_.Copy(put); };
    notify("Writing the page");
    WritePage(parts);
    return wxString::FromUTF8(parts.figuresNote);
}

}  // namespace Korvane
