#include "ObjectTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <utility>

#include "PixelScale.h"
#include "ToolkitError.h"
#include "Version.h"

namespace Korvane {

namespace {

enum class Content { kNumber, kText };

struct Column {
    std::string name;
    Content content;
    std::function<std::string(const ObjectTableImage&, const ObjectMeasures&)> text;
};

/// Nanometres with the digits that a stored resolution has; empty where there is none.
std::string PixelText(float pixelsPerUm, double nm) {
    if (!IsDefined(pixelsPerUm)) return "";
    constexpr int kDigits = 7;
    std::array<char, 64> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), nm, std::chars_format::general, kDigits).ptr;
    return {text.data(), end};
}

const std::vector<Column>& AllColumns() {
    static const std::vector<Column> columns = [] {
        using Image = ObjectTableImage;
        using Object = ObjectMeasures;
        std::vector<Column> all;
        all.push_back({"image", Content::kText, [](const Image& i, const Object&) { return i.path.utf8_string(); }});
        for (const ObjectColumn& measure : ObjectColumns()) {
            all.push_back({measure.name, measure.text != nullptr ? Content::kText : Content::kNumber,
                           [&measure](const Image&, const Object& o) { return ColumnText(measure, o); }});
        }
        all.push_back({"pixel_size_nm", Content::kNumber, [](const Image& i, const Object&) {
                           return PixelText(i.resolution.x, ScaleOf(i.resolution).widthNm);
                       }});
        all.push_back({"pixel_height_nm", Content::kNumber, [](const Image& i, const Object&) {
                           return PixelText(i.resolution.y, ScaleOf(i.resolution).heightNm);
                       }});
        all.push_back({"pixel_size_source", Content::kText,
                       [](const Image& i, const Object&) { return i.resolutionSource.utf8_string(); }});
        all.push_back(
            {"program_version", Content::kText, [](const Image&, const Object&) { return std::string(kVersion); }});
        return all;
    }();
    return columns;
}

}  // namespace

ObjectTable::ObjectTable() {
    for (std::size_t i = 0; i < AllColumns().size(); ++i) columns_.push_back(i);
}

ObjectTable::ObjectTable(const std::vector<std::string>& columns) {
    const std::vector<Column>& all = AllColumns();
    for (const std::string& name : columns) {
        const auto found = std::find_if(all.begin(), all.end(), [&](const Column& c) { return c.name == name; });
        if (found == all.end()) throw qvox::ToolkitError("there is no column '" + name + "'");
        const auto index = static_cast<std::size_t>(found - all.begin());
        if (std::find(columns_.begin(), columns_.end(), index) != columns_.end()) {
            throw qvox::ToolkitError("the column '" + name + "' is named twice");
        }
        columns_.push_back(index);
    }
    if (columns_.empty()) throw qvox::ToolkitError("there is no column");
}

std::string ObjectTable::Line(const std::vector<std::string>& fields) const {
    const char separator = mark_ == DecimalMark::kComma ? ';' : ',';
    std::string line;
    for (const std::string& field : fields) {
        if (&field != fields.data()) line += separator;
        if (field.find_first_of(std::string("\"\r\n") + separator) == std::string::npos) {
            line += field;
            continue;
        }
        line += '"';
        for (const char c : field) line += c == '"' ? std::string("\"\"") : std::string(1, c);
        line += '"';
    }
    return line + "\r\n";
}

std::string ObjectTable::Header() const {
    std::vector<std::string> names;
    for (const std::size_t index : columns_) names.push_back(AllColumns()[index].name);
    return Line(names);
}

std::string ObjectTable::Rows(const ObjectTableImage& image, const std::vector<ObjectMeasures>& objects) const {
    std::string rows;
    std::vector<std::string> fields(columns_.size());
    for (const ObjectMeasures& object : objects) {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const Column& column = AllColumns()[columns_[i]];
            fields[i] = column.text(image, object);
            if (mark_ == DecimalMark::kComma && column.content == Content::kNumber) {
                std::replace(fields[i].begin(), fields[i].end(), '.', ',');
            }
        }
        rows += Line(fields);
    }
    return rows;
}

std::vector<std::string> ObjectTableColumns() {
    std::vector<std::string> names;
    for (const Column& column : AllColumns()) names.push_back(column.name);
    return names;
}

}  // namespace Korvane
