#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include <wx/progdlg.h>
#include <wx/sizer.h>
#include <wx/utils.h>

#include "CommandTable.h"
#include "DetectionProgress.h"
#include "ExceptionText.h"
#include "FreedMemory.h"
#include "ImagePreparation.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "PixelHeight.h"
#include "Scopes.h"
#include "SingleImageCanvas.h"
#include "StagesBar.h"
#include "StagesView.h"
#include "StatusTexts.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

void MainFrame::MakeStagesBar() {
    StagesBar::Links links;
    const auto command = [this](int id) {
        return [this, id] {
            RunMenuCommand(id);
            canvas_->SetFocus();
        };
    };
    links.previous = command(kPreviousStage);
    links.next = command(kNextStage);
    links.close = command(kStages);
    stagesBar_ = new StagesBar(this, std::move(links));
    stagesBar_->Hide();
}

void MainFrame::OnStages(wxCommandEvent&) {
    if (ShowsStages()) return LeaveStages();
    if (!editing_.contourPoints.empty()) return Say(kOpenContourText);
    // The release of a stroke would not reach the tool.
    if (wxGetMouseState().LeftIsDown()) return Say("Release the mouse button first");
    ComputeStages();
    ShowStage();
}

void MainFrame::OnNextStage(wxCommandEvent&) { StepStage(1); }

void MainFrame::OnPreviousStage(wxCommandEvent&) { StepStage(-1); }

void MainFrame::StepStage(int by) {
    if (!ShowsStages()) return Say("Results > Show detection stages (Ctrl+J) shows them first");
    stages_->Step(by);
    ShowStage();
}

/// Runs detection beside the labels, which it leaves alone.
void MainFrame::ComputeStages() {
    const DisabledScope disabled(*this);
    const qvox::FreedMemoryKeeper keeper;
    try {
        const qvox::VoxelImage<float>& whole = store_.images.ShownIntensities();
        const qvox::LabelImage& wholeLabels = store_.images.ShownLabels();
        const PreparationRules rules = RulesFor(store_.current);
        PreparedImage prepared;
        if (rules.Any()) prepared = PreparedImage(rules, whole, wholeLabels, {});
        const bool isPrepared = prepared.Prepared().has_value();
        const qvox::VoxelImage<float>& image = isPrepared ? prepared.Prepared()->image : whole;
        const qvox::LabelImage& labels = isPrepared ? prepared.Prepared()->labels : wholeLabels;
        AnalysedFrame frame{{}, whole.SizeX(), whole.SizeY()};
        frame.part = {0, 0, static_cast<std::int64_t>(frame.width), static_cast<std::int64_t>(frame.height)};
        if (isPrepared) frame.part = prepared.Box();
        RequirePixelHeight(image.Resolution());
        wxProgressDialog progress("Please wait ...", ProgressMessage(DetectionStage::kCandidates, 1),
                                  kProgressStepsPerPosition + 2, this, wxPD_APP_MODAL | wxPD_AUTO_HIDE);
        DetectionProgress observer(progress);
        StageRecord record = RecordStages(image, parameters_, image.Resolution().x, observer, RunOnOpenCVThreads);
        stages_ = std::make_unique<StagesView>(std::move(record), labels, frame);
    } catch (...) {
        const wxString cause = ExceptionText(std::current_exception());
        LogFailure("Cannot show the stages of the position number " + std::to_string(store_.current + 1) + ", '" +
                       store_.paths[store_.current] + "'! (" + cause + ")",
                   cause);
    }
}

void MainFrame::ShowStage() {
    if (!ShowsStages()) return;
    framed_ = {};
    canvas_->ShowInstead(stages_->Grey(), &stages_->Areas());
    if (!stagesBar_->IsShown()) {
        stagesBar_->Show();
        const int before = GetSize().y;
        Grow({0, stagesBar_->GetBestSize().y});
        stagesBar_->Took(GetSize().y - before);
        Layout();
        stagesBar_->Explain("Point at an object, or where one should be");
    }
    stagesBar_->ShowStage(stages_->Text());
    ShowChecks();
    RefreshAll();
    Say(stages_->Text());
}

void MainFrame::LeaveStages() {
    if (!ShowsStages()) return;
    canvas_->ShowInstead(nullptr, nullptr);
    stages_.reset();
    stagesBar_->Hide();
    Grow({0, -stagesBar_->Taken()});
    Layout();
    ShowChecks();
    RefreshAll();
    Say("The labels are shown again");
}

void MainFrame::ExplainPlace(const ImagePoint& point) {
    const qvox::LabelImage& labels = store_.images.ShownLabels();
    if (!Inside(labels, point)) return;
    const Pixel pixel = PixelAt(point);
    const auto x = static_cast<std::uint64_t>(pixel.x);
    const auto y = static_cast<std::uint64_t>(pixel.y);
    stagesBar_->Explain(stages_->Explain(x, y, labels(x, y)));
}

}  // namespace Korvane
