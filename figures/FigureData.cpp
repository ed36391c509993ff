#include "FigureData.h"

#include "Figure.h"

namespace Korvane {

FigureData::Field::Field(double value) : text_(GnuplotNumber(value)) {}

// Between quotes gnuplot takes a field as it is, but for the quote itself and for backslashes, which begin the names of
// other characters.
FigureData::Field::Field(const std::string& text) : text_("\"") {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"') {
            text_ += '\'';
        } else if (c == '\\') {
            text_ += '/';
        } else {
            text_ += byte < 0x20 || byte == 0x7f ? ' ' : c;
        }
    }
    text_ += '"';
}

void FigureData::BeginBlock(std::initializer_list<const char*> columns) {
    if (!text_.empty()) text_ += "\n\n";
    text_ += "#";
    for (const char* const column : columns) text_ += (column == *columns.begin() ? " " : "\t") + std::string(column);
    text_ += "\n";
}

void FigureData::Row(std::initializer_list<Field> fields) {
    for (const Field& field : fields) {
        if (&field != fields.begin()) text_ += '\t';
        text_ += field.Text();
    }
    text_ += "\n";
}

}  // namespace Korvane
