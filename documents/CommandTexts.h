#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <wx/string.h>

#include "Annotations.h"
#include "InformationBar.h"

// What the window's status bar says after a command: what was done, where, and what failed.

namespace Korvane {

/// What opening files came to.
struct OpenOutcome {
    std::size_t opened = 0;
    std::size_t failed = 0;
    std::size_t products = 0;     ///< files of folders that are results and were left out
    std::size_t withResults = 0;  ///< opened images beside which labels lie
};
wxString OpenedText(const OpenOutcome& outcome);

/// What saving, loading or exporting came to, file by file.
struct FilesOutcome {
    std::vector<wxString> files;  ///< those that were written or read, with their folders
    std::size_t failed = 0;
    std::vector<wxString> kept;  ///< saving: files under which older results were kept
    std::size_t missing = 0;     ///< loading: positions without a file
};
wxString SavedText(const FilesOutcome& outcome);
wxString LoadedText(const FilesOutcome& outcome);
wxString ExportedText(const FilesOutcome& outcome);

/// What an analysis came to. Positions are counted from 0.
struct AnalysisOutcome {
    std::vector<std::size_t> objects;  ///< of each position analysed, in turn
    std::vector<std::size_t> nothing;  ///< positions where nothing was found
    std::vector<std::size_t> skipped;  ///< without seeds
    std::vector<std::size_t> failed;
};
/// `task` begins the text: "Detection".
wxString AnalysedText(const wxString& task, const AnalysisOutcome& outcome);

/// What was burnt into an image and may be taken for objects: "Burnt in: 32 rows at the bottom". Empty where nothing
/// was found.
wxString BurntInText(const InformationBars& bars, const Annotations& annotations);

/// The name of a position's image among the others: with its folder where another has the same name.
wxString PositionName(const std::vector<wxString>& paths, std::size_t index);

/// "Position 2 of 5, a.tif: detection".
wxString WorkText(const std::vector<wxString>& paths, std::size_t index, const wxString& task);

/// What undo or redo did: "Undone: brush stroke", with the positions where there are several. `positions` may name one
/// more than once.
wxString TravelText(const wxString& done, const wxString& what, std::vector<std::size_t> positions, std::size_t count);

/// Why there is nothing to report on: of `positions`, so many have no pixel size and the others no labels.
wxString NothingToReportText(std::size_t withoutPixelSize, std::size_t positions);

/// The warning that names positions which a report leaves out because they have no pixel size.
wxString NotReportedText(const std::vector<wxString>& names);

/// The warning that names images which were exported without the scale bar that was asked for.
wxString WithoutScaleBarText(const std::vector<wxString>& names);

/// The second text of a question whose answer may lose labels.
wxString UnsavedText(std::size_t positions);

}  // namespace Korvane
