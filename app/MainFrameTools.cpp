#include <exception>

#include <wx/filedlg.h>

#include "CommandTexts.h"
#include "DisplayRangeDialog.h"
#include "ExceptionText.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "OverlayGeometry.h"
#include "ParametersFile.h"
#include "PathText.h"
#include "PixelScale.h"
#include "SingleImageCanvas.h"
#include "StatusTexts.h"

namespace Korvane {

namespace {

const char* const kParametersFilter = "Parameters (*.json)|*.json|All files (*)|*";

}  // namespace

void MainFrame::ShowRange(const DisplayRange& range) {
    displayRange_ = range;
    canvas_->SetDisplayRange(range);
    RefreshAll();
    Say("Display range: " + (IsWhole(range) ? wxString("all intensities") : wxString::FromUTF8(RangeText(range))));
}

void MainFrame::OnDisplayRange(wxCommandEvent&) {
    const DisplayRange before = displayRange_;
    DisplayRangeDialog dialog(this, canvas_->Intensities(), before,
                              [this](const DisplayRange& range) { ShowRange(range); });
    if (dialog.ShowModal() != wxID_OK) ShowRange(before);
}

void MainFrame::OnBrighter(wxCommandEvent&) { ShowRange(Brighter(displayRange_)); }

void MainFrame::OnDarker(wxCommandEvent&) { ShowRange(Darker(displayRange_)); }

void MainFrame::OnWholeRange(wxCommandEvent&) { ShowRange(DisplayRange()); }

void MainFrame::OnFitToWindow(wxCommandEvent&) { SetZoomLevel(FittedZoomLevel(canvas_->View())); }

void MainFrame::OnZoomToObject(wxCommandEvent&) {
    const qvox::LabelImage& labels = store_.images.ShownLabels();
    // The object under the pointer, else the one of the current label.
    std::uint16_t label = store_.currentLabel;
    const ImagePoint point = canvas_->ImagePointUnder(canvas_->Pointer());
    if (canvas_->PointerInside() && Inside(labels, point)) {
        const Pixel pixel = PixelAt(point);
        const std::uint16_t under = labels(static_cast<std::uint64_t>(pixel.x), static_cast<std::uint64_t>(pixel.y));
        if (under != 0) label = under;
    }
    const PixelRectangle box = label == 0 ? PixelRectangle{} : BoxOfLabel(labels, label);
    if (box.width == 0) return Say("There is no object under the pointer, nor one with the current label");
    SetZoomLevel(ZoomLevelFor(box, canvas_->View()));
    canvas_->ScrollTo(StartCentring(box, canvas_->View()));
    RefreshAll();
    Say("Object " + std::to_string(label));
}

void MainFrame::OnScaleBar(wxCommandEvent&) {
    scaleBar_ = !scaleBar_;
    RefreshAll();
    if (scaleBar_ && HasPositions() && !IsDefined(store_.images.Resolution(store_.current).x)) {
        Say("There is no scale bar: the pixel size of this position is not known");
    }
}

void MainFrame::OnScaleBarInExports(wxCommandEvent&) { scaleBarInExports_ = !scaleBarInExports_; }

void MainFrame::OnLoadParameters(wxCommandEvent&) {
    wxFileDialog dialog(this, "Load parameters...", wxEmptyString, wxEmptyString, kParametersFilter,
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    const wxString path = dialog.GetPath();
    try {
        parameters_ = ReadParametersFile(PathBytes(path)).parameters;
        Say("Loaded parameters from " + path);
    } catch (const std::exception&) {
        const wxString cause = ExceptionText(std::current_exception(), path);
        LogFailure("Cannot load the parameters from '" + path + "'! (" + cause + ")", cause);
    }
}

void MainFrame::OnSaveParameters(wxCommandEvent&) {
    wxFileDialog dialog(this, "Save parameters...", wxEmptyString, "parameters.json", kParametersFilter,
                        wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    const wxString path = dialog.GetPath();
    try {
        WriteParametersFile(PathBytes(path), {parameters_, ""});
        Say("Saved parameters to " + path);
    } catch (const std::exception&) {
        const wxString cause = ExceptionText(std::current_exception(), path);
        LogFailure("Cannot save the parameters to '" + path + "'! (" + cause + ")", cause);
    }
}

}  // namespace Korvane
