#pragma once

#include <string>
#include <vector>

#include <wx/string.h>

#include "MeasuredObject.h"
#include "VoxelImage.h"

namespace Korvane {

/// The first line: "Filename" and the title of each measure (Measures.h), each followed by a tab.
std::string MeasurementHeader();

/// The path and each measure of the object, with a tab between them.
wxString MeasurementRow(const wxString& path, const MeasuredObject& object);

/// The rows of one position, in the order of MeasureObjects.
std::vector<wxString> MeasurementRows(const wxString& path, const qvox::LabelImage& labels);

/// The path that the table is written to when a person chose `chosen`: cut before its last "." (of whatever part of
/// the path) and ".txt" appended. Without any "." that is ".txt" in the current folder.
wxString MeasurementTablePath(const wxString& chosen);

/// Writes header and rows as UTF-8 text with the platform's line ends, replacing what was there; complete or absent.
/// Throws ToolkitError with the file and the cause.
void WriteMeasurementTable(const wxString& path, const std::vector<wxString>& rows);

/// The same text, for writing to somewhere else than a file. Lines end in a line feed.
std::string MeasurementTableText(const std::vector<wxString>& rows);

}  // namespace Korvane
