#pragma once

#include <vector>

#include <wx/panel.h>

#include "SizeBins.h"

namespace Korvane {

/// A small histogram of sizes in nanometres.
class SizeHistogram final : public wxPanel {
public:
    explicit SizeHistogram(wxWindow* parent);

    void Show(std::vector<SizeBin> bins);
    const std::vector<SizeBin>& Bins() const { return bins_; }

private:
    void OnPaint(wxPaintEvent& event);

    std::vector<SizeBin> bins_;
};

}  // namespace Korvane
