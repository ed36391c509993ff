#include "RunEnd.h"

namespace Korvane {

namespace {

constexpr const char* kHowToReplace = "; --overwrite replaces the files that exist";

}  // namespace

wxString RunEnd::FailedText() const { return wxString::Format("%zu of %zu images failed", failed, images); }

wxString RunEnd::ImagesWithoutRows() const {
    if (failed + leftOut == 0) return wxString();
    if (leftOut == images) return "no image could be worked on";
    const wxString leftOutText = wxString(leftOut == 1 ? "was" : "were") + " left out for want of labels";
    if (failed == 0) return wxString::Format("%zu of %zu images ", leftOut, images) + leftOutText;
    return leftOut == 0 ? FailedText() : FailedText() + wxString::Format(", %zu ", leftOut) + leftOutText;
}

wxString RunEnd::FailureLine() const {
    wxString line = FailedText();
    if (notBegun > 0) line += wxString::Format(", %zu were not begun", notBegun);
    if (leftOut > 0) line += wxString::Format(", %zu left out for want of labels", leftOut);
    if (skipped > 0) line += wxString::Format(", %zu of the others skipped", skipped) + kHowToReplace;
    return line + ".";
}

wxString RunEnd::SummaryLine() const {
    const std::size_t done = images - leftOut;
    wxString line = wxString::Format("%zu %s done", done, done == 1 ? "image" : "images");
    if (leftOut > 0) line += wxString::Format(", %zu left out for want of labels", leftOut);
    if (skipped > 0) line += wxString::Format(", %zu of them skipped", skipped) + kHowToReplace;
    return line + ".";
}

}  // namespace Korvane
