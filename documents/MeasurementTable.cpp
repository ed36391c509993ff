#include "MeasurementTable.h"

#include <array>
#include <charconv>
#include <cmath>

#include <wx/convauto.h>
#include <wx/textfile.h>

#include "CompleteFile.h"
#include "PathText.h"
#include "ToolkitError.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"

namespace Korvane {

const char* const kMeasurementHeader = "Filename\tLabel\tDiameter(nm)\tRoundness\tPerimeter(nm)\tArea(nm^2)\t";

namespace {

constexpr double kPi = 3.141592653589793;

wxString ThreeDecimals(double value) {
    // The largest double has 309 digits before the point.
    std::array<char, 340> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 3).ptr;
    return wxString::FromAscii(text.data(), static_cast<std::size_t>(end - text.data()));
}

/// A text file whose lines reach the disk complete or not at all. The class's own way does not notice a full disk.
class TableFile final : public wxTextFile {
public:
    explicit TableFile(const wxString& path) : wxTextFile(path) {}

private:
    bool OnWrite(wxTextFileType lineEnds, const wxMBConv& conversion) override {
        wxString text;
        for (std::size_t i = 0; i < GetLineCount(); ++i) {
            text << GetLine(i) << GetEOL(lineEnds == wxTextFileType_None ? GetLineType(i) : lineEnds);
        }
        const wxScopedCharBuffer bytes = text.mb_str(conversion);
        if (bytes.length() == 0) {
            throw qvox::ToolkitError("Cannot write '" + PathBytes(GetName()) + "': a name in it is no valid text.");
        }
        WriteCompleteFile(PathBytes(GetName()), {bytes.data(), bytes.length()});
        return true;
    }
};

}  // namespace

std::vector<ObjectMeasures> MeasureObjects(const qvox::LabelImage& labels) {
    std::vector<ObjectMeasures> objects;
    if (labels.Empty()) return objects;
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8());
    objects.reserve(components.Components().size());
    for (const qvox::ShapeEstimate& shape : qvox::EstimateShapes(components)) {
        ObjectMeasures object;
        object.label = components.Find(shape.identifier)->sourceValue;
        object.perimeterNm = shape.perimeterUm * 1000.0;
        object.areaNm2 = shape.areaUm2 * 1000000.0;
        object.diameterNm = std::sqrt(object.areaNm2 * 4.0 / kPi);
        object.roundness = object.areaNm2 * 4.0 * kPi / (object.perimeterNm * object.perimeterNm);
        objects.push_back(object);
    }
    return objects;
}

wxString MeasurementRow(const wxString& path, const ObjectMeasures& measures) {
    wxString row = path;
    row << "\t" << static_cast<int>(measures.label);
    for (const double value : {measures.diameterNm, measures.roundness, measures.perimeterNm, measures.areaNm2}) {
        row << "\t" << ThreeDecimals(value);
    }
    return row;
}

std::vector<wxString> MeasurementRows(const wxString& path, const qvox::LabelImage& labels) {
    std::vector<wxString> rows;
    for (const ObjectMeasures& measures : MeasureObjects(labels)) rows.push_back(MeasurementRow(path, measures));
    return rows;
}

wxString MeasurementTablePath(const wxString& chosen) {
    const std::size_t at = chosen.rfind('.');
    return (at == wxString::npos ? wxString() : chosen.substr(0, at)) + ".txt";
}

std::string MeasurementTableText(const std::vector<wxString>& rows) {
    std::string text = std::string(kMeasurementHeader) + "\n";
    for (const wxString& row : rows) text += row.utf8_string() + "\n";
    return text;
}

void WriteMeasurementTable(const wxString& path, const std::vector<wxString>& rows) {
    TableFile file(path);
    file.AddLine(kMeasurementHeader);
    for (const wxString& row : rows) file.AddLine(row);
    file.Write(wxTextFileType_None, wxConvAuto());
}

}  // namespace Korvane
