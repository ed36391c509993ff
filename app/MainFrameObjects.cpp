#include <algorithm>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <wx/display.h>
#include <wx/filedlg.h>
#include <wx/progdlg.h>
#include <wx/utils.h>

#include "BackgroundRun.h"
#include "CommandTexts.h"
#include "CompleteFile.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "ImagePreparation.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "ObjectTable.h"
#include "ObjectsPanel.h"
#include "OverlayGeometry.h"
#include "PathText.h"
#include "PixelSizeSource.h"
#include "Scopes.h"
#include "SingleImageCanvas.h"
#include "StatusTexts.h"

namespace Korvane {

namespace {

struct TableCancelled {};

EdgeProfileOptions ProfileOptionsFor(PreparedImage& prepared) {
    return {prepared.Excluded().Empty() ? nullptr : &prepared.Excluded(), prepared.Part()};
}

PixelRectangle BoxOf(const LabelExtent& extent) {
    return {extent.minX, extent.minY, extent.maxX - extent.minX + 1, extent.maxY - extent.minY + 1};
}

/// With what an analysis would be given of the image: objects over filled pixels and at the edge of the part are known.
ObjectMeasuring::Measure MeasureWith(const PreparationRules& rules) {
    return [rules](const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels) {
        PreparedImage prepared;
        try {
            if (rules.Any()) prepared = PreparedImage(rules, image, qvox::LabelImage(), {});
        } catch (...) {
            MeasuredPosition failed;
            failed.failure = ExceptionText(std::current_exception()).utf8_string();
            return failed;
        }
        return MeasurePosition(image, labels, ProfileOptionsFor(prepared));
    };
}

const char* const kTableFilter = "Comma-separated values (*.csv)|*.csv|All files (*)|*";

}  // namespace

void MainFrame::MakeObjectsPanel() {
    ObjectsPanelLinks links;
    links.current = [this] { return store_.current; };
    // A step stays open where the button was released elsewhere.
    links.isAtWork = [this] {
        return work_ == Work::kRunning || (history_.IsOpen() && wxGetMouseState().LeftIsDown());
    };
    links.read = [this](std::size_t i) { return ReaderOf(i); };
    links.take = [this](std::size_t i, const std::shared_ptr<const StoredImage>& stored) {
        store_.images.Take(i, stored);
    };
    links.image = [this](std::size_t i) { return store_.images.IntensitiesOf(i); };
    links.labels = [this](std::size_t i) { return store_.images.LabelsOf(i); };
    links.measure = [this](std::size_t i) { return MeasureWith(RulesFor(i)); };
    links.show = [this](std::size_t position, const LabelExtent& extent) {
        RunAlone([&] { ShowObject(position, extent); });
    };
    links.remove = [this](const std::vector<ObjectKey>& objects) { RunAlone([&] { RemoveObjects(objects); }); };
    links.exportTable = [this] { RunAlone([&] { ExportObjects(); }); };
    objects_ = new ObjectsPanel(this, std::move(links));
    objects_->Hide();
}

/// Reads the image of a position that is not shown, on any thread.
std::function<ReadImage()> MainFrame::ReaderOf(std::size_t index) const {
    if (store_.images.Shows(index)) return nullptr;
    if (std::shared_ptr<const StoredImage> kept = store_.images.KeptOf(index)) {
        return [kept] { return ReadImage{nullptr, ShareIntensities(kept)}; };
    }
    if (store_.images.IsInMemory(index)) return nullptr;
    return [path = PathBytes(store_.paths[index])] {
        auto stored = std::make_shared<const StoredImage>(LoadStoredImage(path));
        return ReadImage{stored, ShareIntensities(stored)};
    };
}

bool MainFrame::ShowsObjects() const { return objects_ != nullptr && objects_->IsShown(); }

int MainFrame::ObjectsWidth() const { return ShowsObjects() ? objects_->GetMinSize().x : 0; }

void MainFrame::OnObjects(wxCommandEvent&) {
    const bool shown = !ShowsObjects();
    ObjectsPanel::Room& room = objects_->TakenRoom();
    const wxSize before = GetSize();
    objects_->Show(shown);
    framed_ = {};
    if (!shown && before == room.after) {
        SetSize(room.before);
    } else if (shown) {
        // The image keeps its room where the screen has more.
        const int higher = std::max(0, objects_->GetMinSize().y - canvas_->GetSize().y);
        Grow({objects_->GetMinSize().x, higher});
    } else {
        Grow({-objects_->GetMinSize().x, 0});
    }
    room = {before, GetSize()};
    Layout();
    if (shown) {
        objects_->Reset(PositionCount(store_));
        objects_->CurrentChanged();
    } else {
        objects_->Reset(0);
        canvas_->SetFocus();
    }
    RefreshAll();
}

/// By as much as the screen has room for, and never to less than menus and an image need: the window may have been made
/// smaller since it grew.
void MainFrame::Grow(const wxSize& by) {
    if (IsMaximized() || IsFullScreen()) return;
    wxSize size = GetSize() + by;
    size.DecTo(wxDisplay(this).GetClientArea().GetSize());
    wxSize least = FromDIP(wxSize(360, 300));
    least.DecTo(GetSize());
    size.IncTo(least);
    SetSize(size);
    KeepOnScreen();
}

/// Labels of a position changed in whatever way.
void MainFrame::ObjectsChanged(std::size_t position) {
    if (ShowsObjects()) objects_->Changed(position);
    // They explain labels that are no more.
    LeaveStages();
    if (position == store_.current && framed_.width > 0) {
        framed_ = {};
        canvas_->Refresh(false);
    }
}

void MainFrame::ShowObject(std::size_t position, const LabelExtent& extent) {
    if (position >= PositionCount(store_)) return;
    if (position != store_.current) SwitchTo(position);
    if (position != store_.current) return;
    LeaveStages();
    framed_ = BoxOf(extent);
    const int fitting = ZoomLevelFor(framed_, canvas_->View());
    if (fitting < zoomLevel_) SetZoomLevel(fitting);
    canvas_->ScrollTo(StartCentring(framed_, canvas_->View()));
    RefreshAll();
    Say("Object " + std::to_string(extent.label));
}

/// The object at a point that was picked on the canvas: its row, and a frame.
void MainFrame::ChooseObjectAt(const ImagePoint& point) {
    if (!ShowsObjects()) return;
    const qvox::LabelImage& labels = store_.images.ShownLabels();
    if (!Inside(labels, point)) return;
    const Pixel pixel = PixelAt(point);
    const std::uint16_t label = labels(static_cast<std::uint64_t>(pixel.x), static_cast<std::uint64_t>(pixel.y));
    framed_ = label == 0 ? PixelRectangle{} : BoxOfLabel(labels, label);
    objects_->Choose({store_.current, label});
    canvas_->Refresh(false);
}

void MainFrame::RemoveObjects(const std::vector<ObjectKey>& objects) {
    if (!editing_.contourPoints.empty()) return Say(kOpenContourText);
    // A stroke that is being drawn would go on into labels that it did not begin in.
    if (wxGetMouseState().LeftIsDown()) return Say("Release the mouse button first");
    std::map<std::size_t, std::vector<std::uint16_t>> byPosition;
    for (const ObjectKey& key : objects) byPosition[key.position].push_back(key.label);
    history_.Open("deletion of objects");
    for (const auto& [position, labels] : byPosition) {
        LabelChanges changes = RemovalOf(*store_.images.LabelsOf(position), labels);
        if (position == store_.current) {
            RefreshEdited(ApplyToEdited(changes, ChangeDirection::kRedo, Edited(), editing_));
        } else {
            qvox::LabelImage changed(*store_.images.LabelsOf(position));
            ApplyChanges(changes, ChangeDirection::kRedo, changed);
            store_.images.SetLabels(position, changed);
        }
        Changed(position, std::move(changes));
    }
    history_.Close();
    RefreshStatusTexts();
    Say("Deleted " + std::to_string(objects.size()) + (objects.size() == 1 ? " object" : " objects") +
        "; Ctrl+Z brings " + (objects.size() == 1 ? "it" : "them") + " back");
}

void MainFrame::ExportObjects() {
    if (!HasPositions()) return Say(kNothingOpenText);
    wxFileDialog dialog(this, "Export the table of objects to...", wxEmptyString, "objects.csv", kTableFilter,
                        wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    dialog.Centre(wxBOTH);
    if (dialog.ShowModal() != wxID_OK) return;
    const wxString path = dialog.GetPath();
    if (!FinishReading()) return;
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        if (objects_->List().Which() == ListedPositions::kAll || i == store_.current) positions.push_back(i);
    }
    const DisabledScope disabled(*this);
    try {
        const std::size_t rows = WriteObjects(path, positions);
        Say("Exported " + std::to_string(rows) + (rows == 1 ? " object to " : " objects to ") + path);
    } catch (const TableCancelled&) {
        Say("The export was cancelled: no table was written");
    } catch (const std::exception&) {
        const wxString cause = ExceptionText(std::current_exception(), path);
        LogFailure("Cannot export the table of objects to '" + path + "'! (" + cause + ")", cause);
    }
}

/// Measures anew what the panel may not have measured yet. Returns the number of rows.
std::size_t MainFrame::WriteObjects(const wxString& path, const std::vector<std::size_t>& positions) {
    wxProgressDialog dialog("Please wait ...", WorkText(store_.paths, positions.front(), "measuring"),
                            static_cast<int>(positions.size()) + 1, this,
                            wxPD_APP_MODAL | wxPD_AUTO_HIDE | wxPD_CAN_ABORT);
    ObjectTable table;
    table.Selection() = objects_->List().Selection();
    std::string text = table.Header();
    std::size_t rows = 0;
    BackgroundRun run(dialog);
    run.Run([&] {
        for (std::size_t done = 0; done < positions.size(); ++done) {
            const std::size_t i = positions[done];
            if (run.IsCancelled()) throw TableCancelled();
            run.Show(static_cast<int>(done), WorkText(store_.paths, i, "measuring").utf8_string());
            const PositionImages::Intensities image = store_.images.IntensitiesOf(i);
            const PreparationRules rules = RulesFor(i);
            PreparedImage prepared;
            if (rules.Any()) prepared = PreparedImage(rules, *image, qvox::LabelImage(), {});
            const std::vector<ObjectMeasures> objects =
                MeasureEverything(*image, *store_.images.LabelsOf(i), ProfileOptionsFor(prepared));
            rows += objects.size();
            const wxString& file = store_.paths[i];
            text += table.Rows({file, image->Resolution(), PixelSizeSource(file, image->Resolution()),
                                prepared.Text()},
                               objects);
        }
    });
    WriteCompleteFile(PathBytes(path), text);
    return rows;
}

}  // namespace Korvane
