#pragma once

#include <functional>

#include <wx/dialog.h>

#include "DisplayRange.h"

class wxSpinCtrlDouble;

namespace Korvane {

/// The histogram of an image with a handle for each end of the display range. What is chosen is shown at once.
class DisplayRangeDialog final : public wxDialog {
public:
    using Show = std::function<void(const DisplayRange&)>;

    DisplayRangeDialog(wxWindow* parent, const IntensityDistribution& intensities, const DisplayRange& range,
                       Show show);

    const DisplayRange& Range() const { return range_; }

private:
    class Histogram;

    void Choose(const DisplayRange& range);

    DisplayRange range_;
    Show show_;
    Histogram* histogram_;
    wxSpinCtrlDouble* low_;
    wxSpinCtrlDouble* high_;
};

}  // namespace Korvane
