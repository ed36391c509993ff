#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

#include <wx/log.h>
#include <wx/progdlg.h>
#include <wx/stattext.h>

#include "DetectionDriver.h"
#include "DetectionProgress.h"
#include "DlgParams.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "FreedMemory.h"
#include "ImagePreparation.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "ParameterText.h"
#include "PixelHeight.h"
#include "Scopes.h"
#include "SeededSegmentation.h"
#include "SingleImageCanvas.h"
#include "Version.h"

namespace Korvane {

/// One of the two analyses, in the texts about it.
struct AnalysisKind {
    const char* message;  ///< of the progress dialog at first
    const char* what;
    const char* title;
};

namespace {

constexpr AnalysisKind kDetection{"this is progress ...", "detection", "Detection"};
constexpr AnalysisKind kSegmentation{"Segmentation in progress ...", "segmentation", "Segmentation"};
constexpr int kInitialMaximum = 1000000000;
/// Its five digits leave room for more positions than anybody opens at once.
constexpr int kWidestImageNumber = 10000;

/// The way out for an image whose pixel size is missing or cannot be true; empty where that is not the trouble.
wxString PixelSizeAdvice(const qvox::PixelResolution& resolution) {
    if (resolution.x > 0.0f && PixelHeightTrouble(resolution).empty()) return {};
    return "\nTools > Store pixel size... stores it in a copy of the image and opens the copy.";
}

/// The toolkit fits the dialog's text to each message, but the new size counts only when events are next handled: after
/// the stage that the message tells of. Until then the message would be cut at the width of the one before. So the text
/// is given the width of the longest once.
void WidenMessage(wxProgressDialog& progress) {
    for (wxWindow* const child : progress.GetChildren()) {
        auto* const text = dynamic_cast<wxStaticText*>(child);
        if (text == nullptr) continue;
        text->SetWindowStyle(text->GetWindowStyle() | wxST_NO_AUTORESIZE);
        int width = 0;
        for (const DetectionStageRow& row : kDetectionStages) {
            width = std::max(width, text->GetTextExtent(ProgressMessage(row.stage, kWidestImageNumber)).x);
        }
        text->SetMinSize({width, text->GetSize().y});
    }
    progress.Fit();
    // Where the dialog was wide enough already, its size does not change and nothing else would lay it out.
    progress.Layout();
}

}  // namespace

void MainFrame::OnParameters(wxCommandEvent&) {
    DlgParams dialog(this, parameters_);
    if (dialog.ShowModal() == wxID_OK) parameters_ = dialog.Parameters();
}

void MainFrame::RunAnalysis(const AnalysisKind& kind, int range, const std::function<void(wxProgressDialog&)>& body) {
    const DisabledScope disabled(*this);
    const qvox::FreedMemoryKeeper keeper;
    notes_ = {};
    history_.Open(kind.what);
    try {
        wxProgressDialog progress("Please wait ...", kind.message, kInitialMaximum, nullptr,
                                  wxPD_APP_MODAL | wxPD_AUTO_HIDE);
        progress.SetRange(range);
        WidenMessage(progress);
        progress.SetWindowStyleFlag(progress.GetWindowStyleFlag() | wxSTAY_ON_TOP);
        body(progress);
        progress.Update(progress.GetRange(), wxEmptyString);
    } catch (...) {
        TellNotes(kind);
        throw;
    }
    history_.Close();
    RefreshAll();
    TellNotes(kind);
}

/// Not before the progress dialog is gone: it handles events, which would show what is told so far.
void MainFrame::TellNotes(const AnalysisKind& kind) {
    for (const AnalysisNotes::Failure& failure : notes_.failures) LogFailure(failure.text, failure.cause);
    for (const wxString& warning : notes_.warnings) wxLogWarning("%s", warning);
    const wxString tooSmall = notes_.tooSmall.Text();
    if (!tooSmall.empty()) wxLogWarning("%s", tooSmall);
    Say(AnalysedText(kind.title, notes_.outcome));
}

/// The analysis of a position is done: its labels are replaced, whole.
void MainFrame::NoteResult(std::size_t index, qvox::LabelImage& result, LabelOrigin origin) {
    LabelChanges difference = DifferenceOf(*store_.images.LabelsOf(index), result);
    origin.program = std::string("Korvane ") + kVersion;
    origin.parameters = ParametersText(parameters_);
    analysed_.Remember(index, result, std::move(origin));
    ReplaceLabels(index, result, std::move(difference));
    const std::size_t objects = CountLabels(store_, index);
    notes_.outcome.objects.push_back(objects);
    if (objects == 0) notes_.outcome.nothing.push_back(index);
}

/// Keeps the exception that is handled now; the other positions are still analysed.
void MainFrame::NoteFailure(const wxString& task, std::size_t index) {
    const wxString cause = ExceptionText(std::current_exception());
    notes_.outcome.failed.push_back(index);
    notes_.failures.push_back({"Cannot " + task + " the position number " + std::to_string(index + 1) + ", '" +
                                   store_.paths[index] + "'! (" + cause + ")" +
                                   PixelSizeAdvice(store_.images.Resolution(index)),
                               cause});
}

/// An image that cannot be shown cannot be analysed either, which then tells why.
void MainFrame::ShowForAnalysis(std::size_t index) {
    try {
        SwitchTo(index);
    } catch (const std::exception&) {
        return;
    }
}

void MainFrame::AnalyseEach(const AnalysisKind& kind, const std::function<void(std::size_t)>& analyse) {
    const std::size_t remembered = store_.current;
    try {
        for (std::size_t i = 0; i < PositionCount(store_); ++i) {
            ShowForAnalysis(i);
            Say(WorkText(store_.paths, i, kind.what));
            analyse(i);
            WriteJournal(std::numeric_limits<std::uint64_t>::max());
        }
    } catch (...) {
        const std::exception_ptr failure = std::current_exception();
        ShowAgain(remembered);
        std::rethrow_exception(failure);
    }
    ShowAgain(remembered);
}

/// An image that has gone meanwhile is told; what was done to labels stands.
void MainFrame::ShowAgain(std::size_t index) {
    try {
        SwitchTo(index);
    } catch (...) {
        const FailureText text = TextOfFailure(FileTask::kLoadInput, store_.paths[index], std::current_exception());
        LogFailure(text.Lines(), text.cause);
    }
}

void MainFrame::DetectPosition(std::size_t index, wxProgressDialog& progress) {
    const int begun = progress.GetValue();
    try {
        const PositionImages::Intensities intensities = store_.images.IntensitiesOf(index);
        const qvox::VoxelImage<float>& image = *intensities;
        RequirePixelHeight(image.Resolution());
        // Into a copy: a failure half way leaves the position what it holds, and the canvas never shows half a result.
        qvox::LabelImage result(*store_.images.LabelsOf(index));
        DetectionProgress observer(progress);
        LabelOrigin origin{"detect", "", "", ""};
        std::uint64_t analysedPixels = 0;
        origin.prepared = AnalysePrepared(RulesFor(index), image, result,
                                          [&](const qvox::VoxelImage<float>& part, qvox::LabelImage& labels) {
                                              analysedPixels = part.VoxelCount();
                                              DetectExosomes(part, labels, parameters_, part.Resolution().x, observer);
                                          });
        const Extent extent = analysedPixels == image.VoxelCount() ? Extent::kWholeImage : Extent::kPart;
        notes_.tooSmall.Add(store_.paths[index],
                            AreaLimitWarning(analysedPixels, extent, image.Resolution().x, parameters_));
        NoteResult(index, result, std::move(origin));
    } catch (...) {
        NoteFailure("detect the exosomes in", index);
        // The number of the image after it is told from the steps done.
        progress.Update(std::min(begun + kProgressStepsPerPosition, progress.GetRange() - 1));
        return;
    }
    CountAgain();
}

void MainFrame::SegmentPosition(std::size_t index) {
    if (CountLabels(store_, index) == 0) {
        notes_.outcome.skipped.push_back(index);
        notes_.warnings.push_back("The position number " + std::to_string(index + 1) +
                                  " was not segmented due to missing seeds!");
        return;
    }
    try {
        const PositionImages::Intensities intensities = store_.images.IntensitiesOf(index);
        const qvox::VoxelImage<float>& image = *intensities;
        RequirePixelHeight(image.Resolution());
        qvox::LabelImage result(*store_.images.LabelsOf(index));
        LabelOrigin origin{"segment", "", "", ""};
        origin.prepared = AnalysePrepared(RulesFor(index), image, result,
                                          [&](const qvox::VoxelImage<float>& part, qvox::LabelImage& labels) {
                                              SegmentFromSeeds(part, labels, part.Resolution().x,
                                                               parameters_.minObjectDiameterUm);
                                          });
        NoteResult(index, result, std::move(origin));
    } catch (...) {
        NoteFailure("segment the exosomes in", index);
        return;
    }
    CountAgain();
}

void MainFrame::OnDetectCurrent(wxCommandEvent&) {
    RunAnalysis(kDetection, kProgressStepsPerPosition + 1,
                 [this](wxProgressDialog& progress) { DetectPosition(store_.current, progress); });
}

void MainFrame::OnDetectEmpty(wxCommandEvent&) {
    if (!FinishReading()) return;
    const int count = static_cast<int>(PositionCount(store_));
    RunAnalysis(kDetection, count * kProgressStepsPerPosition + 1, [this](wxProgressDialog& progress) {
        AnalyseEach(kDetection, [&](std::size_t i) {
            if (CountLabels(store_, i) != 0) {
                progress.SetRange(progress.GetRange() - kProgressStepsPerPosition);
            } else {
                DetectPosition(i, progress);
            }
        });
    });
}

void MainFrame::OnDetectAll(wxCommandEvent&) {
    if (!FinishReading()) return;
    const int count = static_cast<int>(PositionCount(store_));
    RunAnalysis(kDetection, count * kProgressStepsPerPosition + 1, [this](wxProgressDialog& progress) {
        AnalyseEach(kDetection, [&](std::size_t i) { DetectPosition(i, progress); });
    });
}

void MainFrame::OnSegmentExosomesSingle(wxCommandEvent&) {
    RunAnalysis(kSegmentation, 1, [this](wxProgressDialog&) { SegmentPosition(store_.current); });
}

void MainFrame::OnSegmentExosomesAll(wxCommandEvent&) {
    if (!FinishReading()) return;
    const int count = static_cast<int>(PositionCount(store_));
    RunAnalysis(kSegmentation, count + 1, [this](wxProgressDialog& progress) {
        AnalyseEach(kSegmentation, [&](std::size_t i) {
            SegmentPosition(i);
            progress.Update(static_cast<int>(i + 1));
        });
    });
}

}  // namespace Korvane
