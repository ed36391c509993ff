#pragma once

#include <cstddef>

#include <wx/string.h>

namespace Korvane {

/// How a run over images ended, and how the work on them did.
struct RunEnd {
    int status = 0;  ///< of the program
    std::size_t images = 0;
    std::size_t failed = 0;
    std::size_t skipped = 0;
    std::size_t leftOut = 0;  ///< for want of labels
    std::size_t notBegun = 0;
    std::size_t abandoned = 0;

    /// True when images were not begun or not ended.
    bool IsPartial() const { return notBegun + abandoned > 0; }
    /// "1 of 8 images failed".
    wxString FailedText() const;
    /// Why a table lacks rows: "1 of 8 images failed, 2 were left out for want of labels". Empty when it does not.
    wxString ImagesWithoutRows() const;
    /// The last line of a run in which images failed.
    wxString FailureLine() const;
    /// The last line of a run without a fault: the bar on a terminal is gone by then.
    wxString SummaryLine() const;
};

}  // namespace Korvane
