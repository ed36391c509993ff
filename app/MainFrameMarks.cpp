#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include <wx/cursor.h>
#include <wx/filedlg.h>
#include <wx/filename.h>

#include "CommandTexts.h"
#include "ExceptionText.h"
#include "ImagePreparation.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "PathText.h"
#include "ResultFiles.h"
#include "SingleImageCanvas.h"
#include "StatusTexts.h"
#include "ToolkitError.h"

// What the left button does other than drawing labels: marking bars and writing, a region, a line over a scale bar.

namespace Korvane {

namespace {

const char* const kMarksFilter = "TIFF images (*.tif;*.tiff)|*.tif;*.tiff|All files (*)|*";

const char* HintOf(CanvasTool tool) {
    switch (tool) {
        case CanvasTool::kMarks:
            return "Drag over bars and writing to mark them, with Shift to erase marks; Esc ends that";
        case CanvasTool::kRegion:
            return "Drag a rectangle over the part to be analysed; Esc cancels";
        case CanvasTool::kLine:
            return "Drag from one end of the scale bar to the other; Esc cancels";
        case CanvasTool::kLabels:
            break;
    }
    return "Dragging draws labels again";
}

const char* LeavingText(CanvasTool tool) {
    if (tool == CanvasTool::kRegion) return "No region was drawn";
    return tool == CanvasTool::kLine ? "No line was drawn" : HintOf(CanvasTool::kLabels);
}

bool Begins(const wxMouseEvent& event) { return event.LeftDown() || event.LeftDClick(); }

std::string SizeText(std::uint64_t width, std::uint64_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

}  // namespace

void MainFrame::UseTool(CanvasTool tool) {
    LeaveStages();
    drag_ = {};
    drag_.tool = tool;
    canvas_->SetCursor(drag_.DrawsShape() ? wxCursor(wxCURSOR_CROSS) : wxNullCursor);
    ShowChecks();
    RefreshAll();
    Say(HintOf(tool));
}

/// False where labels are drawn anyway.
bool MainFrame::LeaveTool() {
    if (drag_.tool == CanvasTool::kLabels) return false;
    // What is left of a drag draws no labels.
    if (drag_.from) stroke_ = Stroke::kIgnored;
    if (drag_.from && MarksBurntIn()) history_.Close();
    const char* const text = LeavingText(drag_.tool);
    UseTool(CanvasTool::kLabels);
    Say(text);
    return true;
}

void MainFrame::OnMarkBurntIn(wxCommandEvent&) {
    if (MarksBurntIn()) {
        LeaveTool();
        return;
    }
    if (!editing_.contourPoints.empty()) return Say(kOpenContourText);
    // The release of a stroke would not reach the tool.
    if (wxGetMouseState().LeftIsDown()) return Say("Release the mouse button first");
    UseTool(CanvasTool::kMarks);
}

/// True for events that are the tool's alone.
bool MainFrame::DragTool(const wxMouseEvent& event) {
    if (drag_.tool == CanvasTool::kLabels || ShowsStages()) return false;
    if (!event.LeftIsDown() && !event.LeftUp() && !Begins(event)) return false;
    if (Begins(event) ? !canvas_->PointerInside() : !drag_.from) return true;
    RunAlone([&] {
        const Pixel pixel = PixelAt(canvas_->ImagePointUnder(event.GetPosition()));
        if (MarksBurntIn()) {
            DragMarks(event, pixel);
        } else {
            DragShape(event, pixel);
        }
    });
    return true;
}

void MainFrame::DragMarks(const wxMouseEvent& event, const Pixel& pixel) {
    const std::size_t index = store_.current;
    if (Begins(event)) {
        drag_.stroke = event.ShiftDown() ? HandMarks::Stroke::kErase : HandMarks::Stroke::kMark;
        drag_.from = pixel;
        history_.Open(event.ShiftDown() ? "erasing of marks" : "marking");
    }
    const HandMarks::Dab dab{*drag_.from,   pixel,
                             editing_.brushRadiusPx, drag_.stroke,
                             store_.images.SizeX(index), store_.images.SizeY(index)};
    drag_.from = pixel;
    LabelChanges changes;
    RefreshEdited(prepared_[index].marks.Paint(dab, changes));
    history_.Add(index, std::move(changes), ChangedLayer::kMarks);
    if (!event.LeftUp()) return;
    drag_.from.reset();
    history_.Close();
    if (fillsBurntIn_) PreparationChanged({index});
    SayMarks();
}

void MainFrame::DragShape(const wxMouseEvent& event, const Pixel& pixel) {
    const std::size_t index = store_.current;
    const PixelRectangle before = drag_.Shape();
    const auto clamped = [](std::int64_t at, std::uint64_t size) {
        return std::clamp<std::int64_t>(at, 0, static_cast<std::int64_t>(size) - 1);
    };
    drag_.to = {clamped(pixel.x, store_.images.SizeX(index)), clamped(pixel.y, store_.images.SizeY(index))};
    if (Begins(event)) drag_.from = drag_.to;
    const PixelRectangle shape = drag_.Shape();
    canvas_->RefreshPixels(before);
    canvas_->RefreshPixels(shape);
    ShowFirstField(drag_.tool == CanvasTool::kLine
                       ? std::to_string(drag_.LengthPx()) + " pixels"
                       : SizeText(shape.width, shape.height) + " pixels from " + std::to_string(shape.x) + ", " +
                             std::to_string(shape.y));
    if (!event.LeftUp()) return;
    const ToolDrag drawn = drag_;
    drag_.from.reset();
    RefreshAll();
    // A click is no drag: the tool waits for one.
    if (drawn.LengthPx() < 2) return Say(HintOf(drawn.tool));
    UseTool(CanvasTool::kLabels);
    // The dialog comes when the release was dealt with, which ends the grab of the pointer.
    CallAfter([this, drawn] { RunAlone([&] { TakeShape(drawn); }); });
}

void MainFrame::TakeShape(const ToolDrag& drawn) {
    if (!HasPositions()) return;
    const PixelRectangle shape = drawn.Shape();
    if (drawn.tool == CanvasTool::kLine) return AskForPixelSize(static_cast<std::int64_t>(drawn.LengthPx()));
    ChooseRegion(PixelBox{static_cast<std::int64_t>(shape.x), static_cast<std::int64_t>(shape.y),
                          static_cast<std::int64_t>(shape.width), static_cast<std::int64_t>(shape.height)});
}

/// Returns the part that may look different now, of width 0 for a position that is not shown.
PixelRectangle MainFrame::ApplyMarks(const HistoryStep::Part& part, ChangeDirection direction) {
    HandMarks& marks = prepared_[part.position].marks;
    marks.Apply(part.changes, direction, store_.images.SizeX(part.position));
    if (fillsBurntIn_) PreparationChanged({part.position});
    if (part.position != store_.current) return {};
    return {0, 0, store_.images.SizeX(part.position), store_.images.SizeY(part.position)};
}

void MainFrame::SayMarks() {
    const std::uint64_t count = prepared_[store_.current].marks.PixelCount();
    if (count == 0) return Say("Nothing is marked at this position");
    Say(std::to_string(count) + (count == 1 ? " pixel is" : " pixels are") +
        (fillsBurntIn_ ? " marked, and filled for detection and segmentation"
                       : " marked; Tools > Fill bars and writing fills them"));
}

void MainFrame::OnLoadMarks(wxCommandEvent&) {
    wxFileDialog dialog(this, "Load marks...", wxEmptyString, wxEmptyString, kMarksFilter,
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    const wxString path = dialog.GetPath();
    const std::size_t index = store_.current;
    const std::uint64_t width = store_.images.SizeX(index);
    const std::uint64_t height = store_.images.SizeY(index);
    try {
        const std::shared_ptr<const qvox::VoxelImage<bool>> mask = ReadAnnotationMask(PathBytes(path));
        if (mask->SizeX() != width || mask->SizeY() != height || mask->SizeZ() != 1) {
            throw qvox::ToolkitError("It has " + SizeText(mask->SizeX(), mask->SizeY()) + " pixels, the image " +
                                     SizeText(width, height) + ".");
        }
        HandMarks marks = HandMarks::FromMask(*mask);
        HandMarks& now = prepared_[index].marks;
        history_.Open("loading of marks");
        history_.Add(index, now.DifferenceTo(marks, width), ChangedLayer::kMarks);
        history_.Close();
        now = std::move(marks);
    } catch (const std::exception&) {
        const wxString cause = ExceptionText(std::current_exception(), path);
        LogFailure("Cannot load the marks from '" + path + "'! (" + cause + ")", cause);
        return;
    }
    if (fillsBurntIn_) PreparationChanged({index});
    RefreshAll();
    SayMarks();
}

void MainFrame::OnSaveMarks(wxCommandEvent&) {
    const std::size_t index = store_.current;
    const HandMarks& marks = prepared_[index].marks;
    if (marks.Empty()) return Say("Nothing is marked at this position");
    const wxFileName image(store_.paths[index]);
    wxFileDialog dialog(this, "Save marks...", image.GetPath(), kMarksPrefix + image.GetName() + ".tif", kMarksFilter,
                        wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    const wxString path = dialog.GetPath();
    try {
        WriteAnnotationMask(PathBytes(path), marks.Mask(store_.images.SizeX(index), store_.images.SizeY(index)),
                            store_.images.Resolution(index));
        Say("Saved the marks to " + path);
    } catch (const std::exception&) {
        const wxString cause = ExceptionText(std::current_exception(), path);
        LogFailure("Cannot save the marks to '" + path + "'! (" + cause + ")", cause);
    }
}

}  // namespace Korvane
