#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <wx/dialog.h>

class wxCheckBox;
class wxRadioButton;
class wxStaticText;
class wxTextCtrl;

namespace Korvane {

/// Asks for the size of a pixel: as a number, or by the length of a scale bar.
class PixelSizeDialog final : public wxDialog {
public:
    struct Image {
        wxString name;
        wxString size;                           ///< what the file stores, as text
        std::vector<std::int64_t> barLengthsPx;  ///< of the scale bars that were found
        std::optional<std::int64_t> linePx = std::nullopt;  ///< as long as a line that was drawn over the bar
        std::size_t openImages = 1;
    };

    static constexpr int kByNumber = wxID_HIGHEST + 1;
    static constexpr int kByBar = wxID_HIGHEST + 2;
    static constexpr int kNumberNm = wxID_HIGHEST + 3;
    static constexpr int kBarPx = wxID_HIGHEST + 4;
    static constexpr int kBarNm = wxID_HIGHEST + 5;
    static constexpr int kForAll = wxID_HIGHEST + 6;
    /// Ends the dialog: a line is to be drawn over the scale bar.
    static constexpr int kDraw = wxID_HIGHEST + 7;

    PixelSizeDialog(wxWindow* parent, const Image& image);

    /// Nanometres per pixel; none while a number is missing or is none.
    std::optional<double> SizeNm() const;
    /// Whether it is meant for all open images.
    bool IsForAll() const;

private:
    void AddRows(wxSizer& all, const Image& image);
    wxTextCtrl* AddField(wxSizer& row, int id, const wxString& unit);
    void ShowSize();
    void OnStore(wxCommandEvent& event);

    wxRadioButton* byNumber_ = nullptr;
    wxRadioButton* byBar_ = nullptr;
    wxTextCtrl* numberNm_ = nullptr;
    wxTextCtrl* barPx_ = nullptr;
    wxTextCtrl* barNm_ = nullptr;
    wxStaticText* result_ = nullptr;
    wxCheckBox* forAll_ = nullptr;
};

}  // namespace Korvane
