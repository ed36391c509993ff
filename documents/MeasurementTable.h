#pragma once

#include <string>
#include <vector>

#include <wx/string.h>

#include "VoxelImage.h"

namespace Korvane {

/// The first line: six column names, each followed by a tab.
extern const char* const kMeasurementHeader;

/// What is told of one object.
struct ObjectMeasures {
    std::uint16_t label = 0;
    double diameterNm = 0.0;  ///< of the circle of the same area
    double roundness = 0.0;   ///< 1 for a circle; infinite or NaN for a perimeter of 0
    double perimeterNm = 0.0;
    double areaNm2 = 0.0;
};

/// Measures every 8-connected object of equal label, in the order in which a raster scan meets them; parts of one label
/// that do not touch are objects of their own. The scale is the label image's resolution; an undefined one counts as
/// 1 pixel per micrometre. An empty image has no object.
std::vector<ObjectMeasures> MeasureObjects(const qvox::LabelImage& labels);

/// "path\tlabel\tdiameter\troundness\tperimeter\tarea", three decimals, "." in every locale.
wxString MeasurementRow(const wxString& path, const ObjectMeasures& measures);

/// The rows of one position.
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
