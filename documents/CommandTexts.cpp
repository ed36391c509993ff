#include "CommandTexts.h"

#include <algorithm>
#include <numeric>

#include "ImageList.h"
#include "ImageWarnings.h"
#include "PathText.h"

namespace Korvane {

namespace {

wxString Counted(std::size_t count, const char* one, const char* more) {
    return std::to_string(count) + " " + (count == 1 ? one : more);
}

wxString FailedText(std::size_t failed) { return failed == 0 ? wxString() : ", " + std::to_string(failed) + " failed"; }

/// The folder of all these files; "their folders" where they have several.
wxString FoldersText(const std::vector<wxString>& files) {
    const wxString folder = FolderOf(files.front());
    const bool one =
        std::all_of(files.begin(), files.end(), [&](const wxString& file) { return FolderOf(file) == folder; });
    if (!one) return "the folders of the images";
    return folder.empty() ? wxString("the current folder") : folder;
}

wxString DoneText(const wxString& done, const char* one, const char* more, const char* where,
                  const FilesOutcome& outcome) {
    wxString text = done + Counted(outcome.files.size(), one, more);
    if (!outcome.files.empty()) text += wxString(where) + FoldersText(outcome.files);
    return text + FailedText(outcome.failed);
}

/// "number 4", "numbers 1, 2 and 5", "12 positions".
wxString NumbersText(const std::vector<std::size_t>& positions) {
    constexpr std::size_t kMost = 6;
    if (positions.size() > kMost) return std::to_string(positions.size()) + " positions";
    wxString text = positions.size() == 1 ? "number " : "numbers ";
    for (std::size_t i = 0; i < positions.size(); ++i) {
        if (i > 0) text += i + 1 == positions.size() ? " and " : ", ";
        text += std::to_string(positions[i] + 1);
    }
    return text;
}

/// "'a.tif', 'b.tif' and 3 more".
wxString NamesText(const std::vector<wxString>& names) {
    constexpr std::size_t kMostNames = 20;
    wxString list;
    for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i) {
        list += (i == 0 ? "'" : ", '") + names[i] + "'";
    }
    if (names.size() > kMostNames) list << " and " << names.size() - kMostNames << " more";
    return list;
}

}  // namespace

wxString OpenedText(const OpenOutcome& outcome) {
    wxString text = "Opened " + Counted(outcome.opened, "image", "images") + FailedText(outcome.failed);
    if (outcome.withResults > 0) {
        text += "; results lie beside " +
                (outcome.withResults == outcome.opened ? wxString(outcome.opened == 1 ? "it" : "them")
                                                       : std::to_string(outcome.withResults) + " of them") +
                ": Ctrl+L loads them";
    }
    if (outcome.products > 0) text += "; " + wxString(ProductsText(outcome.products)) + " left out";
    return text;
}

wxString SavedText(const FilesOutcome& outcome) {
    wxString text = DoneText("Saved ", "label file", "label files", " in ", outcome);
    if (outcome.kept.size() == 1) text += "; the older one was kept as " + FileNameOf(outcome.kept.front());
    if (outcome.kept.size() > 1) {
        text += "; " + std::to_string(outcome.kept.size()) + " older ones were kept, the first as " +
                FileNameOf(outcome.kept.front());
    }
    return text;
}

wxString LoadedText(const FilesOutcome& outcome) {
    wxString text = DoneText("Loaded ", "label file", "label files", " from ", outcome);
    if (outcome.missing > 0) text += ", none for " + Counted(outcome.missing, "position", "positions");
    return text;
}

wxString ExportedText(const FilesOutcome& outcome) { return DoneText("Exported ", "image", "images", " to ", outcome); }

wxString AnalysedText(const wxString& task, const AnalysisOutcome& outcome) {
    wxString text = task + ": ";
    if (outcome.objects.empty()) {
        text += "no position was analysed";
    } else {
        const std::size_t all = std::accumulate(outcome.objects.begin(), outcome.objects.end(), std::size_t{0});
        text += Counted(all, "object", "objects") + " at " + Counted(outcome.objects.size(), "position", "positions");
    }
    if (!outcome.nothing.empty() && outcome.objects.size() > 1) text += "; none at " + NumbersText(outcome.nothing);
    if (!outcome.skipped.empty()) text += "; no seeds at " + NumbersText(outcome.skipped);
    if (!outcome.failed.empty()) text += "; failed at " + NumbersText(outcome.failed);
    return text;
}

wxString BurntInText(const InformationBars& bars, const Annotations& annotations) {
    if (bars.Empty() && annotations.Empty()) return {};
    wxString text = "Burnt in: " + InformationBarText(bars);
    if (annotations.Empty()) return text;
    const PixelBox box = annotations.Bounds();
    if (!bars.Empty()) text += "; ";
    text << "scale bar or writing at " << box.x << ", " << box.y << " (" << box.width << " x " << box.height << ")";
    return text;
}

wxString PositionName(const std::vector<wxString>& paths, std::size_t index) {
    const wxString name = FileNameOf(paths[index]);
    const auto same =
        std::count_if(paths.begin(), paths.end(), [&](const wxString& path) { return FileNameOf(path) == name; });
    return same > 1 ? name + " in " + FolderOf(paths[index]) : name;
}

wxString WorkText(const std::vector<wxString>& paths, std::size_t index, const wxString& task) {
    return "Position " + std::to_string(index + 1) + " of " + std::to_string(paths.size()) + ", " +
           PositionName(paths, index) + ": " + task;
}

wxString TravelText(const wxString& done, const wxString& what, std::vector<std::size_t> positions, std::size_t count) {
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    if (count < 2) return done + what;
    if (positions.size() == 1) return done + what + " at position " + std::to_string(positions.front() + 1);
    return done + what + " at " + std::to_string(positions.size()) + " positions";
}

wxString UnsavedText(std::size_t positions) {
    if (positions == 0) return "No position has unsaved changes.";
    return positions == 1 ? wxString("1 position has unsaved changes.")
                          : std::to_string(positions) + " positions have unsaved changes.";
}

wxString NothingToReportText(std::size_t withoutPixelSize, std::size_t positions) {
    if (withoutPixelSize == 0) return "There are no labels to report on: detect some, or load them";
    if (withoutPixelSize == positions) return "A report needs the pixel size, which no position has";
    return "A report needs labels and the pixel size, and no position has both";
}

wxString NotReportedText(const std::vector<wxString>& names) {
    return "The report leaves out positions without a pixel size: " + NamesText(names) + ".";
}

wxString WithoutScaleBarText(const std::vector<wxString>& names) {
    return "Without a scale bar, as the pixel size is unknown or the image has no room for it: " + NamesText(names) +
           ".";
}

}  // namespace Korvane
