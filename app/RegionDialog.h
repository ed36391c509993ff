#pragma once

#include <array>
#include <functional>
#include <optional>

#include <wx/dialog.h>

#include "Annotations.h"
#include "InformationBar.h"

class wxCheckBox;
class wxSpinCtrl;

namespace Korvane {

/// Chooses the part of an image that is analysed. What is chosen is shown at once.
class RegionDialog final : public wxDialog {
public:
    /// None: the whole image.
    using Region = std::optional<PixelBox>;
    using Show = std::function<void(const Region&)>;

    /// The image of this dialog.
    struct Image {
        std::int64_t width = 1;
        std::int64_t height = 1;
        InformationBars bars;
        std::size_t ofThisSize = 1;  ///< open images, this one among them
    };

    static constexpr int kWithoutBars = wxID_HIGHEST + 1;
    static constexpr int kWhole = wxID_HIGHEST + 2;
    static constexpr int kForAll = wxID_HIGHEST + 3;
    /// Ends the dialog: the region is to be drawn on the image.
    static constexpr int kDraw = wxID_HIGHEST + 8;
    /// Of the fields for x, y, width and height, in this order.
    static constexpr std::array<int, 4> kFields{wxID_HIGHEST + 4, wxID_HIGHEST + 5, wxID_HIGHEST + 6, wxID_HIGHEST + 7};

    RegionDialog(wxWindow* parent, const Image& image, const Region& region, Show show);

    Region Chosen() const;
    /// Whether it is meant for all images of this size.
    bool IsForAll() const;

private:
    void AddFields(wxSizer& all, const PixelBox& box);
    void AddButtons(wxSizer& all);
    void Put(const PixelBox& box);
    void FitRanges();
    void ShowChosen();

    Image image_;
    Show show_;
    std::array<wxSpinCtrl*, 4> fields_{};
    wxCheckBox* forAll_ = nullptr;
};

}  // namespace Korvane
