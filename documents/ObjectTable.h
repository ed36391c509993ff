#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <wx/string.h>

#include "ObjectMeasures.h"
#include "ObjectSelection.h"
#include "PixelResolution.h"

namespace Korvane {

/// The image that rows are about.
struct ObjectTableImage {
    wxString path;
    qvox::PixelResolution resolution;  ///< that the measures were made with
    wxString resolutionSource;
    std::string prepared = {};  ///< what was filled or left out for the analysis
};

enum class DecimalMark {
    kPoint,  ///< columns are separated by commas
    kComma,  ///< by semicolons
};

/// A table with a row per label, as comma-separated values (RFC 4180): UTF-8, fields that need it in quotes, lines that
/// end in a carriage return and a line feed.
class ObjectTable {
public:
    /// All columns.
    ObjectTable();
    /// Keeps these columns, in this order. Throws ToolkitError for a name that is unknown or comes twice, and for none.
    void ChooseColumns(const std::vector<std::string>& names);

    void SetDecimalMark(DecimalMark mark) { mark_ = mark; }
    /// The columns `counted` and `not_counted_because` go by it.
    ObjectSelection& Selection() { return selection_; }
    const ObjectSelection& Selection() const { return selection_; }

    /// The names of the columns, with the end of the line.
    std::string Header() const;
    /// The objects' rows, each with the end of its line. A value that was not measured is an empty field.
    std::string Rows(const ObjectTableImage& image, const std::vector<ObjectMeasures>& objects) const;

private:
    std::string Line(const std::vector<std::string>& fields) const;

    std::vector<std::size_t> columns_;  // in the list of all
    DecimalMark mark_ = DecimalMark::kPoint;
    ObjectSelection selection_;
};

/// The names of all columns, in their order.
std::vector<std::string> ObjectTableColumns();

}  // namespace Korvane
