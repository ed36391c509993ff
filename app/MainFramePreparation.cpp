#include <algorithm>
#include <exception>
#include <filesystem>
#include <memory>
#include <numeric>
#include <system_error>
#include <vector>

#include <wx/msgdlg.h>

#include "Calibration.h"
#include "CommandTexts.h"
#include "ExceptionText.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "ObjectsPanel.h"
#include "PathText.h"
#include "PixelSizeDialog.h"
#include "RegionDialog.h"
#include "ResultFiles.h"
#include "Scopes.h"
#include "SingleImageCanvas.h"

// What is left out of an image before it is analysed, and the pixel size, which lies in files alone.

namespace Korvane {

/// An image and the copy of it that gets a pixel size.
struct CopiedImage {
    std::size_t position;
    wxString from;
    wxString to;
};

namespace {

bool LiesThere(const wxString& file) {
    std::error_code unreachable;
    return std::filesystem::exists(PathBytes(file), unreachable);
}

/// Of a copy that was made before, its image is copied again where that still lies beside it.
CopiedImage CopyOf(std::size_t position, const wxString& path) {
    const wxString name = FileNameOf(path);
    wxString original;
    if (name.StartsWith(kCalibratedPrefix, &original) && !original.empty()) {
        const wxString from = path.Left(path.length() - name.length()) + original;
        if (LiesThere(from)) return {position, from, path};
    }
    return {position, path, PrefixedPath(path, std::nullopt, kCalibratedPrefix)};
}

void WriteWithPixelSize(const CopiedImage& copy, double sizeNm) {
    CopyChanges changes;
    changes.pixelsPerUm = static_cast<float>(1000.0 / sizeNm);
    const std::string from = PathBytes(copy.from);
    WriteCopy(from, PathBytes(copy.to), qvox::InspectImageFile(from).type, changes);
}

wxString RegionText(const std::optional<PixelBox>& region) {
    if (!region) return "the whole image";
    return std::to_string(region->width) + " x " + std::to_string(region->height) + " pixels from " +
           std::to_string(region->x) + ", " + std::to_string(region->y);
}

}  // namespace

void MainFrame::OnFillBurntIn(wxCommandEvent&) {
    fillsBurntIn_ = !fillsBurntIn_;
    std::vector<std::size_t> all(PositionCount(store_));
    std::iota(all.begin(), all.end(), std::size_t{0});
    PreparationChanged(all);
    Say(fillsBurntIn_ ? "Detection and segmentation fill scale bars and writing from now on"
                      : "Detection and segmentation take scale bars and writing as they are");
}

/// What is measured or explained of these positions may be another by now.
void MainFrame::PreparationChanged(const std::vector<std::size_t>& positions) {
    LeaveStages();
    if (!ShowsObjects()) return;
    for (const std::size_t i : positions) objects_->Changed(i);
}

PreparationRules MainFrame::RulesFor(std::size_t index) const {
    const Preparation& prepared = prepared_[index];
    PreparationRules rules;
    rules.fillsAnnotations = fillsBurntIn_;
    rules.region = prepared.region;
    if (fillsBurntIn_ && !prepared.marks.Empty()) {
        rules.mask = std::make_shared<const qvox::VoxelImage<bool>>(
            prepared.marks.Mask(store_.images.SizeX(index), store_.images.SizeY(index)));
    }
    return rules;
}

PixelRectangle MainFrame::RegionShown() const {
    const std::optional<PixelBox>& region = prepared_[store_.current].region;
    if (!region) return {};
    return {static_cast<std::uint64_t>(region->x), static_cast<std::uint64_t>(region->y),
            static_cast<std::uint64_t>(region->width), static_cast<std::uint64_t>(region->height)};
}

std::vector<std::size_t> MainFrame::PositionsOfSize(std::size_t index) const {
    const PositionImages& images = store_.images;
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        if (images.SizeX(i) == images.SizeX(index) && images.SizeY(i) == images.SizeY(index)) positions.push_back(i);
    }
    return positions;
}

void MainFrame::OnAnalysisRegion(wxCommandEvent&) { ChooseRegion(prepared_[store_.current].region); }

/// `drawn`: what the dialog begins with.
void MainFrame::ChooseRegion(const std::optional<PixelBox>& drawn) {
    const std::size_t index = store_.current;
    const std::optional<PixelBox> before = prepared_[index].region;
    const std::vector<std::size_t> ofThisSize = PositionsOfSize(index);
    RegionDialog::Image image;
    image.width = static_cast<std::int64_t>(store_.images.SizeX(index));
    image.height = static_cast<std::int64_t>(store_.images.SizeY(index));
    image.bars = FindInformationBars(store_.images.ShownIntensities());
    image.ofThisSize = ofThisSize.size();
    const auto choose = [this, index](const std::optional<PixelBox>& region) {
        prepared_[index].region = region;
        RefreshAll();
    };
    choose(drawn);
    RegionDialog dialog(this, image, drawn, choose);
    const int answer = dialog.ShowModal();
    if (answer != wxID_OK) choose(before);
    if (answer == RegionDialog::kDraw) return UseTool(CanvasTool::kRegion);
    if (answer != wxID_OK) return;
    choose(dialog.Chosen());
    wxString places;
    if (dialog.IsForAll()) {
        for (const std::size_t i : ofThisSize) prepared_[i].region = prepared_[index].region;
        places = ", at " + std::to_string(ofThisSize.size()) + " positions";
    }
    PreparationChanged(dialog.IsForAll() ? ofThisSize : std::vector<std::size_t>{index});
    Say("Detection and segmentation look at " + RegionText(prepared_[index].region) + places);
}

/// Asks whether files may be replaced and labels lost.
bool MainFrame::MayStorePixelSize(const std::vector<CopiedImage>& copies) {
    const auto there =
        std::count_if(copies.begin(), copies.end(), [](const CopiedImage& copy) { return LiesThere(copy.to); });
    if (there > 0) {
        const wxString what = copies.size() == 1 ? "'" + copies.front().to + "' exists already. Replace it?"
                                                 : std::to_string(there) + " of the " + std::to_string(copies.size()) +
                                                       " copies exist already. Replace them?";
        wxMessageDialog question(this, what, "Confirmation", wxOK | wxCANCEL | wxCANCEL_DEFAULT | wxCENTRE);
        question.SetOKLabel("Replace");
        if (question.ShowModal() != wxID_OK) return false;
    }
    return UnsavedCount() == 0 || Confirm(
                                      "All images are opened again, and unsaved results will be irretrievably "
                                      "lost!\nDo you really want to continue?");
}

void MainFrame::OnStorePixelSize(wxCommandEvent&) { AskForPixelSize(std::nullopt); }

/// `linePx`: of the line that was drawn over the scale bar.
void MainFrame::AskForPixelSize(const std::optional<std::int64_t>& linePx) {
    const std::size_t index = store_.current;
    PixelSizeDialog::Image image;
    image.name = PositionName(store_.paths, index);
    image.size = PixelSizeText(store_.images.Resolution(index));
    image.barLengthsPx = burntIn_[index] ? burntIn_[index]->barLengthsPx
                                         : BarLengthsPx(FindAnnotations(store_.images.ShownIntensities()).pieces);
    image.linePx = linePx;
    image.openImages = PositionCount(store_);
    PixelSizeDialog dialog(this, image);
    const int answer = dialog.ShowModal();
    if (answer == PixelSizeDialog::kDraw) return UseTool(CanvasTool::kLine);
    if (answer != wxID_OK) return;
    const double sizeNm = dialog.SizeNm().value();
    std::vector<CopiedImage> copies;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        if (i == index || dialog.IsForAll()) copies.push_back(CopyOf(i, store_.paths[i]));
    }
    if (!MayStorePixelSize(copies)) return Say("No pixel size was stored");
    const DisabledScope disabled(*this);
    std::vector<wxString> paths = store_.paths;
    std::size_t written = 0;
    for (const CopiedImage& copy : copies) {
        try {
            WriteWithPixelSize(copy, sizeNm);
            paths[copy.position] = copy.to;
            ++written;
        } catch (const std::exception&) {
            const wxString cause = ExceptionText(std::current_exception(), copy.from);
            LogFailure("Cannot store the pixel size in '" + copy.to + "'! (" + cause + ")", cause);
        }
    }
    if (written == 0) return Say("No pixel size was stored");
    const std::vector<Preparation> prepared = prepared_;
    ReplacePositions(paths);
    // The images have the same pixels as before.
    if (PositionCount(store_) == prepared.size()) prepared_ = prepared;
    if (index > 0 && index < PositionCount(store_)) SwitchTo(index);
    Say("Stored " + wxString::FromCDouble(sizeNm) + " nm per pixel in " +
        (written == 1 && copies.size() == 1 ? FileNameOf(copies.front().to) : std::to_string(written) + " copies") +
        (written == 1 ? ", which is open now" : ", which are open now"));
}

}  // namespace Korvane
