#include "FilePlan.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

#include "PathText.h"
#include "RecordLog.h"
#include "ResultFiles.h"
#include "SharedFiles.h"

namespace Korvane {

namespace {

[[noreturn]] void Refuse(const wxString& text) { throw UsageError(PathBytes(text)); }

enum class Role : std::uint16_t { kInput, kWritten };

}  // namespace

/// A place that an image uses. Only a digest of it is held: lists have hundreds of thousands of images.
struct FilePlan::Use {
    std::size_t place;
    std::uint32_t image;
    std::uint16_t file;  ///< of those that are written for the image
    Role role;
};

/// Finds files that belong to two images, or to one image twice.
class FilePlan::Checks {
public:
    explicit Checks(const FilePlan& plan) : plan_(plan), isTaken_(plan.listing_.images.size(), false) {
        for (const std::size_t image : plan.taken_) isTaken_[image] = true;
    }

    void RequireDistinctFiles() {
        ForEachImage([&](std::size_t image, const ImageFiles& files) {
            const auto number = static_cast<std::uint32_t>(image);
            uses_.push_back({Digest(image, files.input), number, 0, Role::kInput});
            std::optional<std::size_t> seeds;
            std::uint16_t file = 0;
            for (const wxString& path : plan_.WrittenFor(files)) {
                uses_.push_back({Digest(image, path), number, file++, Role::kWritten});
                if (path == files.seeds) seeds = uses_.back().place;
            }
            seeds_.emplace_back(seeds ? *seeds : Digest(image, files.seeds), number);
        });
        // Writers in the order of the images; the inputs of a place behind them.
        std::sort(uses_.begin(), uses_.end(), [](const Use& a, const Use& b) {
            if (a.place != b.place) return a.place < b.place;
            if (a.role != b.role) return a.role == Role::kWritten;
            return a.image != b.image ? a.image < b.image : a.file < b.file;
        });
        RefuseFirst();
    }

    /// Labels of one image would pass for those of another that has its name. Comes after RequireDistinctFiles.
    void RequireOwnLabels() {
        std::sort(seeds_.begin(), seeds_.end());
        for (std::size_t i = 0; i + 1 < seeds_.size(); ++i) {
            if (seeds_[i].first != seeds_[i + 1].first) continue;
            const ImageFiles one = plan_.FilesOf(seeds_[i].second);
            const ImageFiles other = plan_.FilesOf(seeds_[i + 1].second);
            const wxString shared = SharedFileText({one.input, other.input}, {one.seeds, other.seeds}, FileUse::kRead);
            if (!shared.empty()) Refuse("The labels of " + shared + ".");
        }
    }

    /// A table, or another single file, is none of the files of the images. Comes after RequireDistinctFiles.
    void RequireOwnFile(const std::string& given, const wxString& kind) {
        const wxString path = PathText(FullPath(given));
        const wxString what = "The " + kind + " '" + path + "'";
        const wxString place = PlaceOf(path);
        const std::size_t digest = DigestOf(place);
        const auto use = std::lower_bound(uses_.begin(), uses_.end(), digest,
                                          [](const Use& a, std::size_t wanted) { return a.place < wanted; });
        if (use != uses_.end() && use->place == digest) {
            Refuse(what + " would be written over an image of this run.");
        }
        ForEachImage([&](std::size_t, const ImageFiles& files) {
            if (place == places_.OfName(files.labels) || place == places_.OfName(files.seeds)) {
                Refuse(what + " would be written over the labels of '" + files.input + "'.");
            }
            if (place == places_.OfName(ReportPath(FolderOf(files.labels)))) {
                Refuse(what + " would be written where the report of the run goes.");
            }
        });
    }

private:
    template <typename Look>
    void ForEachImage(Look look) {
        for (std::size_t image = 0; image < isTaken_.size(); ++image) look(image, plan_.FilesOf(image));
    }

    wxString Place(std::size_t image, const wxString& path) {
        return isTaken_[image] ? places_.Of(path) : places_.OfName(path);
    }

    std::size_t Digest(std::size_t image, const wxString& path) { return DigestOf(Place(image, path)); }

    static std::size_t DigestOf(const wxString& place) { return std::hash<std::string>()(place.utf8_string()); }

    wxString PathOf(const Use& use) const {
        const ImageFiles files = plan_.FilesOf(use.image);
        return use.role == Role::kInput ? files.input : plan_.WrittenFor(files)[use.file];
    }

    /// Refuses the clash that comes first in the order of the images; uses of one place follow each other.
    void RefuseFirst() {
        const Use* late = nullptr;
        const Use* early = nullptr;
        for (std::size_t first = 0, end = 0; first < uses_.size(); first = end) {
            for (end = first; end < uses_.size() && uses_[end].place == uses_[first].place;) ++end;
            if (end - first < 2 || uses_[first].role != Role::kWritten) continue;
            const bool isWrittenTwice = uses_[first + 1].role == Role::kWritten;
            const Use& written = isWrittenTwice ? uses_[first + 1] : uses_[first];
            const Use& other = isWrittenTwice ? uses_[first] : uses_[first + 1];
            if (!IsOnePlace(written, other)) continue;
            const bool isFirst = late == nullptr ||
                                 std::make_pair(written.image, written.file) < std::make_pair(late->image, late->file);
            if (!isFirst) continue;
            late = &written;
            early = &other;
        }
        if (late != nullptr) RefuseClash(*late, *early);
    }

    /// True but for an accident of the digests.
    bool IsOnePlace(const Use& one, const Use& other) {
        return Place(one.image, PathOf(one)) == Place(other.image, PathOf(other));
    }

    [[noreturn]] void RefuseClash(const Use& late, const Use& early) const {
        const wxString path = PathOf(late);
        const wxString input = plan_.FilesOf(late.image).input;
        const wxString other = plan_.FilesOf(early.image).input;
        if (early.role == Role::kInput)
            Refuse("'" + path + "' is an input image and would be written for '" + input + "'.");
        if (late.image == early.image) Refuse("'" + path + "' would be written twice for '" + input + "'.");
        Refuse("'" + other + "' and '" + input + "' would both be written to '" + path + "'.");
    }

    const FilePlan& plan_;
    std::vector<bool> isTaken_;
    PlaceFinder places_;
    std::vector<Use> uses_;
    std::vector<std::pair<std::size_t, std::uint32_t>> seeds_;  // where labels are read, and for which image
};

FilePlan::FilePlan(const Places& places, const WrittenFiles& written, ImageListing listing,
                   const std::optional<Shard>& shard)
    : places_(places), written_(written), listing_(std::move(listing)) {
    for (std::size_t image = 0; image < listing_.images.size(); ++image) {
        if (!shard || shard->Holds(listing_.keys[image])) taken_.push_back(image);
    }
    Checks checks(*this);
    checks.RequireDistinctFiles();
    checks.RequireOwnLabels();
    for (const auto& table : {places.table, places.csv}) {
        if (table) checks.RequireOwnFile(*table, "table");
    }
    for (const std::string& file : places.singleFiles) checks.RequireOwnFile(file, "file");
    if (!places.table || !places.csv || *places.table == "-") return;
    const wxString table = PathText(FullPath(*places.table));
    if (PlaceOf(table) == PlaceOf(PathText(FullPath(*places.csv)))) {
        Refuse("Both tables would be written to '" + table + "'.");
    }
}

ImageFiles FilePlan::FilesOf(std::size_t image) const {
    ImageFiles files;
    files.input = PathText(listing_.images[image]);
    files.subfolder = PathText(listing_.subfolders[image]);
    const ChosenFolder output = FolderFor(places_.output, files.subfolder);
    const ChosenFolder labels = places_.labels ? FolderFor(places_.labels, files.subfolder) : output;
    files.labels = SegResultPath(files.input, output);
    files.seeds = SegResultPath(files.input, labels);
    const bool isPng = places_.overlayFormat == OverlayFormat::kPng;
    files.picture = isPng ? ExportPathWithEnding(files.input, output, ".png") : ExportPath(files.input, output);
    files.comparison = PrefixedPath(files.input, output, kComparisonPrefix);
    files.copy = PrefixedPath(files.input, output, output ? "" : kCalibratedPrefix);
    files.imageJRegions = RegionsPath(files.input, output, ".zip");
    files.geoJsonRegions = RegionsPath(files.input, output, ".geojson");
    return files;
}

std::vector<wxString> FilePlan::WrittenFor(const ImageFiles& files) const {
    std::vector<wxString> paths;
    for (const auto file : written_) paths.push_back(files.*file);
    if (!places_.stages) return paths;
    for (const DetectionStageRow& row : kDetectionStages) {
        if (!row.filePrefix.empty()) paths.push_back(StagePath(places_, files, row.stage));
    }
    return paths;
}

wxString ReportPath(const wxString& folder) { return JoinPath(folder, kRunDocumentName); }

wxString StagePath(const Places& places, const ImageFiles& files, DetectionStage stage) {
    return PrefixedPath(files.input, FolderFor(places.stages, files.subfolder),
                        wxString::FromUTF8(std::string(RowOf(stage).filePrefix)));
}

ChosenFolder FolderFor(const std::optional<std::string>& folder, const wxString& subfolder) {
    if (!folder) return std::nullopt;
    const wxString chosen = PathText(FullPath(*folder));
    return subfolder.empty() ? chosen : JoinPath(chosen, subfolder);
}

}  // namespace Korvane
