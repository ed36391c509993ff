#include "ComparisonFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "FolderLock.h"
#include "Gnuplot.h"
#include "ImageList.h"
#include "PathText.h"
#include "RunFolders.h"
#include "SharedFiles.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

/// Throws UsageError for a file that is not to be replaced, or that cannot be written.
void RequireFile(const OutputPlace& place, ExistingLabels existing) {
    if (!place.IsFile()) return;
    std::error_code failure;
    if (!fs::is_directory(fs::path(place.Path()).parent_path(), failure)) {
        throw UsageError("The folder of '" + place.Given() + "' does not exist.");
    }
    place.RequireWritable();
    if (fs::exists(place.Path(), failure) && existing == ExistingLabels::kSkip) {
        throw UsageError("'" + place.Given() + "' exists; --overwrite replaces it.");
    }
}

void DrawFigure(const ComparisonReport& report, const std::string& folder, Progress& progress) {
    const Figure figure = AgreementFigure(report);
    if (const std::optional<Gnuplot> gnuplot = Gnuplot::Find()) {
        gnuplot->Draw(figure, folder);
        return;
    }
    WriteFigureSources(figure, folder);
    progress.Warning(wxString(kGnuplotIsMissing) + ".");
}

/// True for the names of the figure's files in its folder, with any ending.
bool IsOfFigure(const std::string& path, const std::string& folder) {
    std::error_code failure;
    const fs::path place = fs::weakly_canonical(path, failure);
    return place.stem() == AgreementFigure({}).name &&
           place.parent_path() == fs::weakly_canonical(fs::absolute(folder, failure) / "file", failure).parent_path();
}

/// Empty: there is no figure yet.
std::string FigureIn(const std::string& folder) {
    std::string data = folder + "/" + AgreementFigure({}).name + ".dat";
    std::error_code failure;
    return fs::exists(data, failure) ? data : "";
}

}  // namespace

ComparisonFiles::ComparisonFiles(const ComparisonPlaces& places) : places_(places) {
    const auto add = [this](const std::optional<std::string>& file, std::string (*text)(const ComparisonReport&)) {
        if (file) files_.push_back({OutputPlace("file", *file), text});
    };
    add(places.csv, ComparisonCsv);
    add(places.objects, ComparedObjectsCsv);
    add(places.json, ComparisonJson);
    RequireDistinct();
    for (const File& file : files_) RequireFile(file.place, places.existing);
    if (places.figure) RequireFoldersCanBe({*places.figure});
}

void ComparisonFiles::RequireDistinct() const {
    std::vector<wxString> paths;
    std::size_t streams = 0;
    for (const File& file : files_) {
        if (file.place.Kind() == OutputKind::kStream) ++streams;
        if (!file.place.Path().empty()) paths.push_back(PlaceOf(PathText(file.place.Path())));
    }
    if (streams > 1) throw UsageError("Only one of --csv, --objects and --json can go to the standard output.");
    std::sort(paths.begin(), paths.end());
    if (std::adjacent_find(paths.begin(), paths.end()) != paths.end()) {
        throw UsageError("--csv, --objects and --json need files of their own.");
    }
    if (!places_.figure) return;
    for (const File& file : files_) {
        if (file.place.IsFile() && IsOfFigure(file.place.Path(), *places_.figure)) {
            throw UsageError("'" + file.place.Given() + "' would be written over a file of the figure.");
        }
    }
}

bool ComparisonFiles::TakesOutput() const {
    return std::any_of(files_.begin(), files_.end(),
                       [](const File& file) { return file.place.Kind() == OutputKind::kStream; });
}

std::vector<std::string> ComparisonFiles::SingleFiles() const {
    std::vector<std::string> paths;
    for (const File& file : files_) {
        if (file.place.IsFile()) paths.push_back(file.place.Path());
    }
    return paths;
}

std::vector<wxString> ComparisonFiles::Paths() const {
    std::vector<wxString> paths;
    for (const File& file : files_) {
        if (!file.place.Path().empty()) paths.push_back(PathText(file.place.Path()));
    }
    if (places_.figure) paths.push_back(PathText(FullPath(*places_.figure)));
    return paths;
}

std::vector<std::string> ComparisonFiles::Folders() const {
    std::vector<std::string> folders;
    for (const File& file : files_) {
        if (file.place.IsFile()) folders.push_back(FolderOfFile(file.place.Path()));
    }
    if (places_.figure) folders.push_back(*places_.figure);
    return folders;
}

/// Under the lock of the folders.
std::vector<wxString> ComparisonFiles::WhyKept(const RunEnd& end) const {
    std::vector<wxString> kept;
    std::error_code failure;
    for (const File& file : files_) {
        const bool isThere = file.place.IsFile() && fs::exists(file.place.Path(), failure);
        if (isThere && places_.existing == ExistingLabels::kSkip) {
            kept.push_back(PathText(MadeMeanwhile(file.place.Given()).what()));
        }
    }
    if (!kept.empty() || end.failed == 0 || places_.partial == PartialTable::kWrite) return kept;
    const auto keep = [&](const std::string& path) {
        kept.push_back("'" + PathText(path) + "' is kept as it was: " + end.FailedText() +
                       ". --partial-table writes the scores of the others.");
    };
    for (const File& file : files_) {
        if (file.place.HasContents()) keep(file.place.Given());
    }
    const std::string figure = places_.figure ? FigureIn(*places_.figure) : "";
    if (!figure.empty()) keep(figure);
    if (kept.empty()) return kept;
    for (const File& file : files_) {
        if (!file.place.IsFile() || file.place.HasContents()) continue;
        kept.push_back("'" + PathText(file.place.Given()) + "' is not written: the files would be of two comparisons.");
    }
    return kept;
}

bool ComparisonFiles::Write(const ComparisonReport& report, const RunEnd& end, const Streams& streams,
                            Progress& progress) const {
    bool isWritten = true;
    const auto attempt = [&](const auto& write) {
        try {
            write();
        } catch (const qvox::ToolkitError& error) {
            progress.Error({PathText(error.what())});
            isWritten = false;
        }
    };
    const FolderLock lock(Folders());
    const std::vector<wxString> kept = WhyKept(end);
    for (const wxString& why : kept) progress.Error({why});
    for (const File& file : files_) {
        // Streams and devices lose nothing.
        if (!kept.empty() && file.place.IsFile()) continue;
        attempt([&] { file.place.Write(streams.output, file.text(report)); });
    }
    if (places_.figure && kept.empty()) attempt([&] { DrawFigure(report, *places_.figure, progress); });
    return isWritten && kept.empty();
}

}  // namespace Korvane
