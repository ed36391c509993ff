#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <wx/frame.h>
#include <wx/timer.h>
#include <wx/utils.h>

#include "AnalysedLabels.h"
#include "AnalysisParameters.h"
#include "BackgroundReader.h"
#include "BurntInMarks.h"
#include "CanvasOwner.h"
#include "CanvasTool.h"
#include "CommandTexts.h"
#include "DisplayRange.h"
#include "FailureText.h"
#include "HandMarks.h"
#include "ImagePreparation.h"
#include "ImageWarnings.h"
#include "KnownResults.h"
#include "LabelEditing.h"
#include "LabelHistory.h"
#include "PositionStore.h"
#include "RecoveryJournal.h"
#include "ResultFiles.h"

class wxProgressDialog;

namespace Korvane {

class ObjectsPanel;
class ReportBuilder;
class SingleImageCanvas;
class StagesBar;
class StagesView;
struct AnalysisKind;
struct CopiedImage;
struct LabelExtent;
struct ObjectKey;
struct ReadImage;
struct ReportOptions;

/// What an analysis has to tell when it is over.
struct AnalysisNotes {
    struct Failure {
        wxString text;
        wxString cause;
    };
    std::vector<Failure> failures;  ///< positions that keep their labels
    std::vector<wxString> warnings;
    AnalysisOutcome outcome;
    GatheredWarnings tooSmall;  ///< images that are no larger than one object may be
};

/// What opening a series has to tell when all of it was read.
struct SeriesNotes {
    OpenOutcome outcome;
    std::vector<FailureText> failures;  ///< images that are no positions
    GatheredWarnings doubtful;
    wxString said;       ///< by the reading itself, last
    bool isRead = true;      ///< every image, and told
    bool isSearched = true;  ///< for what was burnt in, and told
};

/// The main window. It owns the positions, the analysis parameters and the state of viewing and editing; every command
/// of the program arrives here.
class MainFrame final : public wxFrame, public CanvasOwner {
public:
    MainFrame();
    ~MainFrame() override;

    // Calls that come from elsewhere than a command.

    /// Opens these files, and the images of these folders (see ListImages), in place of all positions, after the
    /// question that opening asks; nothing while a command runs.
    void OpenFiles(const std::vector<wxString>& paths);

    /// Keeps unsaved labels in a journal of this folder from now on, see RecoveryJournal. Before anything is opened.
    void KeepJournal(const std::string& folder);

    /// Asks about each journal of the folder that a program left behind until one is restored; true when one was.
    bool OfferRecovery(const std::string& folder);

    /// When images are opened, so many voxels of them in all are read before the window shows the first.
    void ReadAtOnceUpTo(std::uint64_t voxels) { readAtOnceVoxels_ = voxels; }

    /// So many bytes of changes can be undone. Before anything is changed.
    void KeepHistoryWithin(std::size_t bytes) { history_ = LabelHistory(bytes); }

    /// A dialog with Cancel comes when a command waits for so long until all images are read.
    void ShowReadingAfter(std::chrono::milliseconds time) { dialogAfter_ = time; }

    /// Does something once, after the window was painted for the first time.
    void OnFirstPaint(std::function<void()> work) { afterFirstPaint_ = std::move(work); }

    // The entry point of every event (see CommandTable.h).

    void OnFocus(wxFocusEvent&) {}
    void OnCommand(wxCommandEvent& event);
    void OnMouseWheel(wxMouseEvent& event) override;
    void OnChar(wxKeyEvent& event) override;
    void OnClose(wxCloseEvent& event);
    void OnEndSession(wxCloseEvent& event);

    // Documents.

    void OnOpenImages(wxCommandEvent&);
    void OnLoadResults(wxCommandEvent&);
    void OnLoadResultsFrom(wxCommandEvent&);
    void OnSaveResults(wxCommandEvent&);
    void OnSaveResultsTo(wxCommandEvent&);
    void OnExportTable(wxCommandEvent&);
    void OnExportImages(wxCommandEvent&);
    void OnExportImagesTo(wxCommandEvent&);
    void OnQuit(wxCommandEvent&);
    void LoadSegmentationResults(const ChosenFolder& folder);
    void SaveSegmentationResults(const ChosenFolder& folder);
    void ImageExport(const ChosenFolder& folder);

    // View.

    void OnLabelNumbers(wxCommandEvent&);
    void OnOnlyRaw(wxCommandEvent&);
    void OnOnlyContours(wxCommandEvent&);
    bool ShowsLabelNumbers() const { return labelNumbers_; }
    bool ShowsOnlyRaw() const { return onlyRaw_; }
    bool ShowsOnlyContours() const { return onlyContours_; }
    void SetZoomLevel(int level);
    void SwitchTo(std::size_t index);

    // Drawing.

    void OnContourMode(wxCommandEvent&);
    bool DrawsContours() const { return editing_.mode == DrawingMode::kContour; }
    void OnPreviousLabel(wxCommandEvent&);
    void OnNextLabel(wxCommandEvent&);
    void OnEmptyLabel(wxCommandEvent&);
    void OnUniqueLabel(wxCommandEvent&);
    void OnDecreaseRadius(wxCommandEvent&);
    void OnIncreaseRadius(wxCommandEvent&);
    void OnClearCurrent(wxCommandEvent&);
    void OnClearAll(wxCommandEvent&);

    // Analysis.

    void OnParameters(wxCommandEvent&);
    void OnDetectCurrent(wxCommandEvent&);
    void OnDetectEmpty(wxCommandEvent&);
    void OnDetectAll(wxCommandEvent&);
    void OnSegmentExosomesSingle(wxCommandEvent&);
    void OnSegmentExosomesAll(wxCommandEvent&);

    // Results.

    void OnReport(wxCommandEvent&);
    void OnObjects(wxCommandEvent&);
    bool ShowsObjects() const;
    void OnStages(wxCommandEvent&);
    void OnNextStage(wxCommandEvent&);
    void OnPreviousStage(wxCommandEvent&);
    bool ShowsStages() const { return stages_ != nullptr; }
    /// Takes the place of the browser: gets the address of a page.
    void OpenPagesBy(std::function<void(const wxString&)> open) { openPage_ = std::move(open); }

    // Tools.

    void OnUndo(wxCommandEvent&);
    void OnRedo(wxCommandEvent&);
    void OnDisplayRange(wxCommandEvent&);
    void OnBrighter(wxCommandEvent&);
    void OnDarker(wxCommandEvent&);
    void OnWholeRange(wxCommandEvent&);
    void OnFitToWindow(wxCommandEvent&);
    void OnZoomToObject(wxCommandEvent&);
    void OnScaleBar(wxCommandEvent&);
    void OnScaleBarInExports(wxCommandEvent&);
    bool ShowsScaleBar() const { return scaleBar_; }
    bool ExportsScaleBar() const { return scaleBarInExports_; }
    void OnLoadParameters(wxCommandEvent&);
    void OnSaveParameters(wxCommandEvent&);
    void OnLearnParameters(wxCommandEvent&);
    void OnFillBurntIn(wxCommandEvent&);
    bool FillsBurntIn() const { return fillsBurntIn_; }
    void OnMarkBurntIn(wxCommandEvent&);
    bool MarksBurntIn() const { return drag_.tool == CanvasTool::kMarks; }
    void OnLoadMarks(wxCommandEvent&);
    void OnSaveMarks(wxCommandEvent&);
    void OnAnalysisRegion(wxCommandEvent&);
    void OnStorePixelSize(wxCommandEvent&);

    // Help: both entries come here.
    void OnHelp(wxCommandEvent& event);

    // Queries and notifications of the canvas.

    CanvasState StateOfCanvas() const override;
    const std::vector<LabelAnchor>& NumberAnchors() override;
    void RefreshStatusTexts() override;
    void OnCanvasPainted() override;
    void OnCanvasMouse(wxMouseEvent& event) override;

    // Read by tests.

    const PositionStore& Store() const { return store_; }
    SingleImageCanvas& Canvas() { return *canvas_; }
    ObjectsPanel& Objects() { return *objects_; }
    const StagesView* Stages() const { return stages_.get(); }
    StagesBar& BarOfStages() { return *stagesBar_; }
    int ZoomLevel() const { return zoomLevel_; }
    int BrushRadius() const { return editing_.brushRadiusPx; }
    AnalysisParameters& Parameters() { return parameters_; }
    const LabelHistory& History() const { return history_; }
    const HandMarks& Marks() const { return prepared_[store_.current].marks; }
    const ToolDrag& Tool() const { return drag_; }

protected:
    wxStatusBar* OnCreateStatusBar(int fields, long style, wxWindowID id, const wxString& name) override;

private:
    class CommandScope;
    class DisabledScope;

    // The event table is made from the table of commands; these two take the place of the toolkit's macros.
    const wxEventTable* GetEventTable() const override;
    wxEventHashTable& GetEventHashTable() const override;
    static const wxEventTable kEventTable;
    static wxEventHashTable eventHashTable_;

    /// Runs work that a person asked for, alone: not while other work runs; a failure is reported to the person.
    void RunAlone(const std::function<void()>& work);
    void OnCharHook(wxKeyEvent& event);
    void OnIdle(wxIdleEvent& event);
    bool HandleBareKey(wxKeyEvent& event);
    bool HandleViewKey(int key);
    bool HandleEditKey(int key);
    void RunMenuCommand(int id);

    bool HasPositions() const { return PositionCount(store_) > 0; }
    bool Confirm(const wxString& question);
    void Tell(const wxString& text);
    /// In the status bar's first field. It stands for some seconds before the pointer's place may replace it, and comes
    /// back when the pointer leaves.
    void Say(const wxString& text);
    void SayOfPosition(std::size_t index);
    void SayWork(std::size_t index, const wxString& task);
    /// What is shown where nothing but labels and tools are.
    CanvasState StateOfLabels() const;
    bool HasBeenRead() const { return std::chrono::steady_clock::now() - saidAt_ >= kToBeRead; }
    void ShowFirstField(const wxString& text);
    void ShowPointer(const wxMouseEvent& event);
    void DescribeStatus();
    void RefreshAll();
    void ShowChecks();
    void EnableLater();

    // What is read after opening.
    PositionImages::Intensities ReadAtOnce(std::size_t index, std::uint64_t& readVoxels, GatheredWarnings& warnings);
    void ShowFirst();
    BackgroundReader::Job JobFor(std::size_t index) const;
    BackgroundReader::Job SearchFor(std::size_t index) const;
    void PlanReading();
    void TakeRead();
    void ReadOn();
    void ReadOneHere();
    /// All images are read when it returns true, and those that cannot be are no positions any more. False where a
    /// person cancelled it.
    bool FinishReading();
    void TellReadFailures();
    void TellDropped();
    std::size_t UnreadCount() const;
    wxString WithBurntIn(const wxString& text) const;
    wxString ProgressText() const;
    void SayProgress();
    void TellFailures();
    void SayOpened();
    void NoteBurntIn(std::size_t index, const BurntIn& burntIn, GatheredWarnings& warnings);
    void RemoveUnreadable(std::size_t index, const std::exception_ptr& failure);

    void ReplacePositions(const std::vector<wxString>& paths, std::size_t products = 0);
    LabelsFound LoadPositionLabels(std::size_t index, const wxString& file);
    wxString TitleOf(std::size_t index) const;
    void FitToPosition();
    void KeepOnScreen();
    enum class BarDrawn { kNotWanted, kDrawn, kNoRoom };
    BarDrawn ExportOverlay(std::size_t index, const wxString& file);
    ChosenFolder AskForFolder(const wxString& title);

    EditedPosition Edited();
    void Finish(EditResult result, const char* whenMaximumReached = "");
    EditResult ChangeRadius(EditResult (*change)(EditingState& state));
    void RefreshEdited(const PixelRectangle& part);
    void CountAgain();

    // Every change of labels passes through these.
    void Changed(std::size_t position, LabelChanges changes);
    void ReplaceLabels(std::size_t position, qvox::LabelImage& labels, LabelChanges difference);
    void TakeToolChanges();
    void LabelsInDoubt();
    void Travel(ChangeDirection direction);
    void ShowRange(const DisplayRange& range);
    void DiscardContour();

    // What outlives a crash.
    void SayNotKept();
    bool WriteJournal(std::uint64_t bytes);
    void JournalSoon();
    void WriteLateJournal();
    void BeginJournal();
    void LieIn(std::size_t index, const std::optional<FileMark>& file);
    void ShortenJournal();
    void ReplaceInJournal();
    void OfferForeign(const std::vector<std::string>& files);
    bool Restore(const LeftJournal& journal, const std::vector<std::size_t>& images);
    std::size_t UnsavedCount() const;

    void RunAnalysis(const AnalysisKind& kind, int range, const std::function<void(wxProgressDialog&)>& body);
    void TellNotes(const AnalysisKind& kind);
    void NoteFailure(const wxString& task, std::size_t index);
    /// `origin`: of the result, but for what every one has.
    void NoteResult(std::size_t index, qvox::LabelImage& result, LabelOrigin origin);
    void DetectPosition(std::size_t index, wxProgressDialog& progress);
    void SegmentPosition(std::size_t index);
    void ShowForAnalysis(std::size_t index);
    void ShowAgain(std::size_t index);
    void AnalyseEach(const AnalysisKind& kind, const std::function<void(std::size_t)>& analyse);

    // The panel of objects.
    void MakeObjectsPanel();
    std::function<ReadImage()> ReaderOf(std::size_t index) const;
    int ObjectsWidth() const;
    void Grow(const wxSize& by);
    void ObjectsChanged(std::size_t position);
    void ShowObject(std::size_t position, const LabelExtent& extent);
    void ChooseObjectAt(const ImagePoint& point);
    void RemoveObjects(const std::vector<ObjectKey>& objects);
    void ExportObjects();
    std::size_t WriteObjects(const wxString& path, const std::vector<std::size_t>& positions);
    bool TakePanelKey(wxKeyEvent& event);

    // The stages of detection: while they are shown nothing can be drawn, and what changes labels ends them.
    void MakeStagesBar();
    void ComputeStages();
    void StepStage(int by);
    void ShowStage();
    void LeaveStages();
    void ExplainPlace(const ImagePoint& point);

    // What the left button does other than drawing labels.
    void UseTool(CanvasTool tool);
    bool LeaveTool();
    bool DragTool(const wxMouseEvent& event);
    void DragMarks(const wxMouseEvent& event, const Pixel& pixel);
    void DragShape(const wxMouseEvent& event, const Pixel& pixel);
    void TakeShape(const ToolDrag& drawn);
    PixelRectangle ApplyMarks(const HistoryStep::Part& part, ChangeDirection direction);
    void SayMarks();

    // What is left out of an image before it is analysed, and the pixel size.
    PreparationRules RulesFor(std::size_t index) const;
    void PreparationChanged(const std::vector<std::size_t>& positions);
    void ChooseRegion(const std::optional<PixelBox>& drawn);
    void AskForPixelSize(const std::optional<std::int64_t>& linePx);
    std::vector<std::size_t> PositionsOfSize(std::size_t index) const;
    PixelRectangle RegionShown() const;
    bool MayStorePixelSize(const std::vector<CopiedImage>& copies);

    wxString WhyNotReported(std::size_t index) const;
    void MeasureForReport(std::size_t index, std::mutex& reading, ReportBuilder& builder) const;
    void WriteReport(ReportOptions options, const std::vector<wxString>& whyNot);
    void LearnFrom(const std::vector<std::size_t>& positions, std::size_t evaluations);

    /// For so long a text in the status bar is not replaced by one that nobody asked for.
    static constexpr std::chrono::seconds kToBeRead{3};

    PositionStore store_;
    EditingState editing_;
    std::optional<wxPoint> strokeAt_;  ///< where the stroke of the left button was last seen, until its release
    enum class Stroke { kFollowed, kIgnored } stroke_ = Stroke::kFollowed;  ///< ignored once the contour was discarded
    ToolDrag drag_;
    LabelHistory history_;
    enum class Dropped { kUntold, kTold } dropped_ = Dropped::kUntold;  ///< the oldest steps of the history
    KnownResults knownResults_;
    AnalysedLabels analysed_;
    std::vector<std::uint8_t> unsaved_;  ///< by position: 1 where labels were changed since they were loaded or saved
    std::unique_ptr<RecoveryJournal> journal_;
    wxTimer journalTimer_;  ///< runs while something may wait to be written
    std::vector<std::optional<FileMark>> results_;  ///< by position: the file that its labels lay in last
    std::vector<std::optional<BurntInMarks>> burntIn_;  ///< by position: once searched
    struct Preparation {
        std::optional<PixelBox> region;  ///< the part that is analysed; none: all of it
        HandMarks marks;
    };
    std::vector<Preparation> prepared_;  ///< by position
    bool fillsBurntIn_ = false;
    SeriesNotes series_;
    std::uint64_t readAtOnceVoxels_ = std::uint64_t{1} << 23;  ///< takes a fraction of a second
    std::chrono::milliseconds dialogAfter_{500};
    wxString said_;
    wxString pointerText_;  ///< while it is shown instead
    std::chrono::steady_clock::time_point saidAt_;
    DisplayRange displayRange_;
    bool onlyRaw_ = false;
    bool onlyContours_ = true;
    bool labelNumbers_ = false;
    bool scaleBar_ = false;
    bool scaleBarInExports_ = false;
    AnalysisParameters parameters_;
    AnalysisNotes notes_;
    int zoomLevel_ = 0;
    std::vector<LabelAnchor> anchors_;  ///< of the census' version below
    std::optional<std::uint64_t> anchorsVersion_;
    enum class Work { kNone, kRunning } work_ = Work::kNone;
    std::function<void()> afterFirstPaint_;
    std::function<void(const wxString&)> openPage_ = [](const wxString& page) { wxLaunchDefaultBrowser(page); };
    SingleImageCanvas* canvas_ = nullptr;
    BackgroundReader reader_;
    ObjectsPanel* objects_ = nullptr;
    StagesBar* stagesBar_ = nullptr;
    std::unique_ptr<StagesView> stages_;
    PixelRectangle framed_;  ///< the object that was chosen in the panel
};

}  // namespace Korvane
