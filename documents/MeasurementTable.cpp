#include "MeasurementTable.h"

#include <wx/convauto.h>
#include <wx/textfile.h>

#include "CompleteFile.h"
#include "Measures.h"
#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

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

std::string MeasurementHeader() {
    std::string header = "Filename\t";
    for (const Measure& measure : Measures()) header += ColumnTitle(measure) + "\t";
    return header;
}

wxString MeasurementRow(const wxString& path, const MeasuredObject& object) {
    wxString row = path;
    for (const Measure& measure : Measures()) row << "\t" << wxString::FromAscii(ValueText(measure, object).c_str());
    return row;
}

std::vector<wxString> MeasurementRows(const wxString& path, const qvox::LabelImage& labels) {
    std::vector<wxString> rows;
    for (const MeasuredObject& object : MeasureObjects(labels)) rows.push_back(MeasurementRow(path, object));
    return rows;
}

wxString MeasurementTablePath(const wxString& chosen) {
    const std::size_t at = chosen.rfind('.');
    return (at == wxString::npos ? wxString() : chosen.substr(0, at)) + ".txt";
}

std::string MeasurementTableText(const std::vector<wxString>& rows) {
    std::string text = MeasurementHeader() + "\n";
    for (const wxString& row : rows) text += row.utf8_string() + "\n";
    return text;
}

void WriteMeasurementTable(const wxString& path, const std::vector<wxString>& rows) {
    TableFile file(path);
    file.AddLine(MeasurementHeader());
    for (const wxString& row : rows) file.AddLine(row);
    file.Write(wxTextFileType_None, wxConvAuto());
}

}  // namespace Korvane
