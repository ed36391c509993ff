#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include <wx/busyinfo.h>
#include <wx/dirdlg.h>
#include <wx/display.h>
#include <wx/filedlg.h>
#include <wx/log.h>
#include <wx/settings.h>
#include <wx/statusbr.h>

#include "Accessibility.h"
#include "CommandTexts.h"
#include "DrawnText.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "ImageList.h"
#include "ImageWarnings.h"
#include "MainFrame.h"
#include "MeasurementTable.h"
#include "MessageLog.h"
#include "ObjectsPanel.h"
#include "OverlayDrawing.h"
#include "PathText.h"
#include "PixelScale.h"
#include "RecoveryJournal.h"
#include "ScaleBar.h"
#include "Scopes.h"
#include "SharedFiles.h"
#include "SingleImageCanvas.h"
#include "StatusTexts.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

const char* const kOpenQuestion =
    "After selecting new images, all unsaved results will be irretrievably lost!\nDo you really want to continue?";
const char* const kLoadQuestion = "All unsaved results will be irretrievably lost!\nDo you really want to continue?";

/// Does one position's part of a file task; a failure is reported and the others go on.
template <typename Work>
bool DoFileTask(FileTask task, const wxString& name, Work work) {
    try {
        work();
        return true;
    } catch (...) {
        const FailureText failure = TextOfFailure(task, name, std::current_exception());
        LogFailure(failure.Lines(), failure.cause);
        return false;
    }
}

/// The files that belong to positions, one each.
template <typename Rule>
std::vector<wxString> FilesOf(const PositionStore& store, const ChosenFolder& folder, Rule rule) {
    std::vector<wxString> files;
    for (const wxString& path : store.paths) files.push_back(rule(path, folder, kNativePathStyle));
    return files;
}

/// False, and reported, when two positions would share a file, as those of one name in two folders do in a chosen one.
bool HaveOwnFiles(const PositionStore& store, const std::vector<wxString>& files, FileUse use, const wxString& task) {
    const wxString shared = SharedFileText(store.paths, files, use);
    if (shared.empty()) return true;
    wxLogError("%s", "Cannot " + task + "! (" + shared + ". Nothing was " +
                         (use == FileUse::kWrite ? "written." : "loaded.") + ")");
    return false;
}

bool LiesThere(const wxString& file) {
    std::error_code unreachable;
    return std::filesystem::exists(PathBytes(file), unreachable);
}

/// The scale bar of the batch tool's overlays; false where there is none.
bool DrawScaleBar(ColourPicture& image, const qvox::PixelResolution& resolution) {
    if (!IsDefined(resolution.x)) return false;
    const std::optional<ScaleBar> bar = PlaceScaleBar(image.SizeX(), image.SizeY(), ScaleOf(resolution).widthNm);
    if (bar) PaintScaleBar(image, *bar, DrawText(bar->text, bar->textHeightPx));
    return bar.has_value();
}

/// One warning that names the positions whose sizes in the table are not in nanometres.
void WarnOfUncalibrated(const std::vector<wxString>& names) {
    if (names.empty()) return;
    constexpr std::size_t kMostNames = 20;
    wxString list;
    for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i) {
        list += (i == 0 ? "'" : ", '") + names[i] + "'";
    }
    if (names.size() > kMostNames) list << " and " << names.size() - kMostNames << " more";
    wxLogWarning(
        "%s",
        "The pixel size of some positions is undefined. The table counts a pixel of theirs as 1000 nm: " + list + ".");
}

}  // namespace

void MainFrame::OnOpenImages(wxCommandEvent&) {
    if (HasPositions() && !Confirm(kOpenQuestion)) return;
    const DisabledScope disabled(*this);
    wxFileDialog dialog(this, "Select images to be analyzed...", wxEmptyString, wxEmptyString, "Images (*.tif)|*.tif",
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST | wxFD_MULTIPLE);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    wxArrayString chosen;
    dialog.GetPaths(chosen);
    ReplacePositions({chosen.begin(), chosen.end()});
}

void MainFrame::OpenFiles(const std::vector<wxString>& paths) {
    RunAlone([&] {
        std::vector<std::string> named;
        named.reserve(paths.size());
        for (const wxString& path : paths) named.push_back(PathBytes(path));
        // A folder's images are looked for before anything is asked: without any there is nothing to ask.
        std::vector<wxString> images;
        const ImageListing listing = ListImages(named);
        for (const std::string& image : listing.images) images.push_back(PathText(image));
        if (images.empty()) return;
        if (HasPositions() && !Confirm(kOpenQuestion)) return;
        const DisabledScope disabled(*this);
        ReplacePositions(images, listing.products);
    });
}

void MainFrame::ReplacePositions(const std::vector<wxString>& paths, std::size_t products) {
    const wxBusyCursor busy;
    reader_.Stop();
    editing_.contourPoints.clear();
    LabelsReplaced(editing_);
    canvas_->SetImages(nullptr, nullptr);
    RemoveAllPositions(store_);
    history_.Clear();
    dropped_ = Dropped::kUntold;
    analysed_.Clear();
    unsaved_.clear();
    burntIn_.clear();
    prepared_.clear();
    LeaveTool();
    framed_ = {};
    LeaveStages();
    objects_->Reset(0);
    series_ = {};
    OpenOutcome& outcome = series_.outcome;
    outcome.products = products;
    GatheredWarnings doubtful;
    std::uint64_t readVoxels = 0;
    PositionImages::Intensities first;  // held until it is shown, so that it is not made twice
    for (const wxString& path : paths) {
        DoFileTask(FileTask::kLoadInput, path, [&] {
            AppendPosition(store_, path);
            const std::size_t index = PositionCount(store_) - 1;
            unsaved_.resize(PositionCount(store_));
            burntIn_.resize(PositionCount(store_));
            prepared_.resize(PositionCount(store_));
            PositionImages::Intensities image = ReadAtOnce(index, readVoxels, doubtful);
            if (index == 0) first = std::move(image);
            if (LiesThere(SegResultPath(path, std::nullopt))) ++outcome.withResults;
        });
    }
    BeginJournal();
    objects_->Reset(PositionCount(store_));
    WarnOf(doubtful);
    outcome.opened = PositionCount(store_);
    outcome.failed = paths.size() - outcome.opened;
    ShowFirst();
    if (HasPositions()) {
        series_.isRead = UnreadCount() == 0;
        series_.isSearched =
            std::all_of(burntIn_.begin(), burntIn_.end(), [](const auto& text) { return text.has_value(); });
        series_.said = WithBurntIn(OpenedText(outcome));
        Say(series_.said);
        return;
    }
    // The title would go on naming a position that is gone.
    SetTitle(kStartTitle);
    SetAccessibleDescription(*canvas_, kNothingOpenText);
    Say(kNothingOpenText);
    canvas_->ShowFromCorner();
    RefreshStatusTexts();
    RefreshAll();
}

/// The first that can be shown; those before it are no positions.
void MainFrame::ShowFirst() {
    store_.currentLabel = 1;
    while (HasPositions()) {
        try {
            FitToPosition();
            SwitchTo(0);
            break;
        } catch (...) {
            canvas_->SetImages(nullptr, nullptr);
            RemoveUnreadable(0, std::current_exception());
        }
    }
    TellFailures();
}

void MainFrame::FitToPosition() {
    const ClientSize screen{wxSystemSettings::GetMetric(wxSYS_SCREEN_X, this),
                            wxSystemSettings::GetMetric(wxSYS_SCREEN_Y, this)};
    const ClientSize fitted =
        FittedClientSize(screen, store_.images.SizeX(store_.current), store_.images.SizeY(store_.current));
    SetClientSize(fitted.width + ObjectsWidth(), fitted.height);
    KeepOnScreen();
}

void MainFrame::KeepOnScreen() {
    if (IsMaximized() || IsFullScreen()) return;
    const wxRect place = GetRect();
    const wxRect screen = wxDisplay(this).GetClientArea();
    // The corner with the menus stays in sight where the window is larger than the screen.
    const wxPoint corner(std::max(screen.x, std::min(place.x, screen.x + screen.width - place.width)),
                         std::max(screen.y, std::min(place.y, screen.y + screen.height - place.height)));
    if (corner != place.GetPosition()) Move(corner);
}

ChosenFolder MainFrame::AskForFolder(const wxString& title) {
    wxDirDialog dialog(this, title, wxEmptyString, wxDD_DEFAULT_STYLE);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return std::nullopt;
    return dialog.GetPath();
}

void MainFrame::OnLoadResults(wxCommandEvent&) {
    if (Confirm(kLoadQuestion)) LoadSegmentationResults(std::nullopt);
}

void MainFrame::OnLoadResultsFrom(wxCommandEvent&) {
    if (!Confirm(kLoadQuestion)) return;
    if (const ChosenFolder folder = AskForFolder("Load segmentation results from...")) LoadSegmentationResults(folder);
}

void MainFrame::OnSaveResults(wxCommandEvent&) { SaveSegmentationResults(std::nullopt); }

void MainFrame::OnSaveResultsTo(wxCommandEvent&) {
    if (const ChosenFolder folder = AskForFolder("Save segmentation results to...")) SaveSegmentationResults(folder);
}

/// While a command handles no events: the text is painted at once.
void MainFrame::SayWork(std::size_t index, const wxString& task) {
    Say(WorkText(store_.paths, index, task));
    GetStatusBar()->Update();
}

void MainFrame::SaveSegmentationResults(const ChosenFolder& folder) {
    if (!HasPositions()) return;
    if (!FinishReading()) return;
    const std::vector<wxString> files = FilesOf(store_, folder, SegResultPath);
    if (!HaveOwnFiles(store_, files, FileUse::kWrite, "save the segmentation results")) return;
    const wxBusyInfo busy("Saving segmentation results...", this);
    FilesOutcome outcome;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        SayWork(i, "saving");
        const bool saved = DoFileTask(FileTask::kSaveResults, FileNameOf(store_.paths[i]), [&] {
            const PositionImages::Labels labels = store_.images.LabelsOf(i);
            const std::optional<wxString> kept = knownResults_.Keep(files[i], *labels);
            if (kept) outcome.kept.push_back(*kept);
            SaveLabels(files[i], *labels);
            knownResults_.Know(files[i]);
            LieIn(i, MarkOf(PathBytes(files[i])));
        });
        if (saved) outcome.files.push_back(files[i]);
        outcome.failed += saved ? 0 : 1;
    }
    ShortenJournal();
    Say(SavedText(outcome));
}

void MainFrame::LoadSegmentationResults(const ChosenFolder& folder) {
    const std::vector<wxString> files = FilesOf(store_, folder, SegResultPath);
    if (HaveOwnFiles(store_, files, FileUse::kRead, "load the segmentation results") && HasPositions()) {
        const wxBusyInfo busy("Loading segmentation results...", this);
        FilesOutcome outcome;
        history_.Open("loading of results");
        for (std::size_t i = 0; i < PositionCount(store_); ++i) {
            SayWork(i, "loading");
            LabelsFound found = LabelsFound::kNoFile;
            const bool read = DoFileTask(FileTask::kLoadResults, FileNameOf(store_.paths[i]),
                                         [&] { found = LoadPositionLabels(i, files[i]); });
            if (found == LabelsFound::kLoaded) outcome.files.push_back(files[i]);
            outcome.missing += read && found == LabelsFound::kNoFile ? 1 : 0;
            outcome.failed += read ? 0 : 1;
        }
        history_.Close();
        ShortenJournal();
        Say(LoadedText(outcome));
    }
    RefreshAll();
}

LabelsFound MainFrame::LoadPositionLabels(std::size_t index, const wxString& file) {
    const PositionImages& images = store_.images;
    qvox::LabelImage read;
    const std::optional<FileMark> mark = MarkOf(PathBytes(file));
    const LabelsFound found =
        LoadNewLabels(file, {images.SizeX(index), images.SizeY(index), images.SizeZ(index)}, read);
    if (found == LabelsFound::kNoFile) return found;
    LabelChanges difference = DifferenceOf(*images.LabelsOf(index), read);
    ReplaceLabels(index, read, std::move(difference));
    LieIn(index, mark);
    knownResults_.Know(file);
    if (index == store_.current) CountAgain();
    return found;
}

void MainFrame::OnExportTable(wxCommandEvent&) {
    wxFileDialog dialog(this, "Export quantitative results to...", wxEmptyString, wxEmptyString,
                        "Text files (*.txt)|*.txt", wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    if (!FinishReading()) return;
    std::vector<wxString> rows;
    std::vector<wxString> uncalibrated;
    GatheredWarnings broken;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        const wxString name = FileNameOf(store_.paths[i]);
        SayWork(i, "measuring");
        // One that cannot be measured, having more objects than can be told apart, costs its own rows only.
        DoFileTask(FileTask::kMeasure, name, [&] {
            std::vector<wxString> measured = MeasurementRows(store_.paths[i], *store_.images.LabelsOf(i));
            const qvox::PixelResolution& resolution = store_.images.Resolution(i);
            const bool calibrated = resolution.x > 0.0f && resolution.y > 0.0f;
            if (!calibrated && !measured.empty()) uncalibrated.push_back(name);
            if (!measured.empty()) broken.Add(store_.paths[i], BrokenRowsWarning(store_.paths[i]));
            rows.insert(rows.end(), measured.begin(), measured.end());
        });
    }
    const wxString table = MeasurementTablePath(dialog.GetPath());
    WriteMeasurementTable(table, rows);
    Say("Exported " + std::to_string(rows.size()) + (rows.size() == 1 ? " object to " : " objects to ") + table);
    WarnOfUncalibrated(uncalibrated);
    WarnOf(broken);
}

void MainFrame::OnExportImages(wxCommandEvent&) { ImageExport(std::nullopt); }

void MainFrame::OnExportImagesTo(wxCommandEvent&) {
    if (const ChosenFolder folder = AskForFolder("Export image results to...")) ImageExport(folder);
}

MainFrame::BarDrawn MainFrame::ExportOverlay(std::size_t index, const wxString& file) {
    const PositionImages::Labels held = store_.images.LabelsOf(index);
    const qvox::LabelImage& labels = *held;
    CanvasState state = StateOfLabels();
    // The open contour belongs to the current position only: in another its points would lie elsewhere, or nowhere.
    if (index != store_.current) state.editing = nullptr;
    ColourPicture image = PaintPosition(*store_.images.IntensitiesOf(index), labels, state.style);
    OverlayDrawing overlay;
    overlay.Draw(image, labels, LabelAnchors(labels), state, OverlayPort());
    BarDrawn drawn = BarDrawn::kNotWanted;
    if (scaleBarInExports_) drawn = DrawScaleBar(image, labels.Resolution()) ? BarDrawn::kDrawn : BarDrawn::kNoRoom;
    qvox::SaveImageFile(PathBytes(file), image);
    return drawn;
}

void MainFrame::ImageExport(const ChosenFolder& folder) {
    if (!HasPositions()) return;
    if (!FinishReading()) return;
    const std::vector<wxString> files = FilesOf(store_, folder, ExportPath);
    if (!HaveOwnFiles(store_, files, FileUse::kWrite, "export the image results")) return;
    const wxBusyInfo busy("Exporting image results...", this);
    FilesOutcome outcome;
    std::vector<wxString> withoutBar;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        const wxString name = FileNameOf(store_.paths[i]);
        SayWork(i, "exporting");
        const bool exported = DoFileTask(FileTask::kExportPicture, name, [&] {
            if (ExportOverlay(i, files[i]) == BarDrawn::kNoRoom) withoutBar.push_back(name);
        });
        if (exported) outcome.files.push_back(files[i]);
        outcome.failed += exported ? 0 : 1;
    }
    Say(ExportedText(outcome));
    if (!withoutBar.empty()) wxLogWarning("%s", WithoutScaleBarText(withoutBar));
}

}  // namespace Korvane
