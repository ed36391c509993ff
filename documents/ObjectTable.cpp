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

/// What the fields of a row are made of.
struct Row {
    const ObjectTableImage& image;
    const ObjectMeasures& object;
    std::string whyNotCounted;
};

struct Column {
    std::string name;
    Content content;
    std::function<std::string(const Row&)> text;
};

/// Nanometres with the digits that a stored resolution has; empty where there is none.
std::string PixelText(float pixelsPerUm, double nm) {
    if (!IsDefined(pixelsPerUm)) return "";
    constexpr int kDigits = 7;
    std::array<char, 64> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), nm, std::chars_format::general, kDigits).ptr;
    return {text.data(), end};
}

std::string PixelWidth(const Row& row) {
    return PixelText(row.image.resolution.x, ScaleOf(row.image.resolution).widthNm);
}

std::string PixelHeight(const Row& row) {
    return PixelText(row.image.resolution.y, ScaleOf(row.image.resolution).heightNm);
}

const std::vector<Column>& AllColumns() {
    static const std::vector<Column> columns = [] {
        std::vector<Column> all;
        const auto addText = [&all](const char* name, const auto& text) {
            all.push_back({name, Content::kText, text});
        };
        const auto addNumber = [&all](const char* name, const auto& text) {
            all.push_back({name, Content::kNumber, text});
        };
        addText("image", [](const Row& row) { return row.image.path.utf8_string(); });
        for (const ObjectColumn& measure : ObjectColumns()) {
            const Content content = measure.text != nullptr ? Content::kText : Content::kNumber;
            all.push_back({measure.name, content, [&measure](const Row& r) { return ColumnText(measure, r.object); }});
        }
        addNumber("counted", [](const Row& row) { return std::string(row.whyNotCounted.empty() ? "1" : "0"); });
        addText("not_counted_because", [](const Row& row) { return row.whyNotCounted; });
        addNumber("pixel_size_nm", PixelWidth);
        addNumber("pixel_height_nm", PixelHeight);
        addText("pixel_size_source", [](const Row& row) { return row.image.resolutionSource.utf8_string(); });
        addText("prepared", [](const Row& row) { return row.image.prepared; });
        addText("program_version", [](const Row&) { return std::string(kVersion); });
        return all;
    }();
    return columns;
}

}  // namespace

ObjectTable::ObjectTable() {
    for (std::size_t i = 0; i < AllColumns().size(); ++i) columns_.push_back(i);
}

void ObjectTable::ChooseColumns(const std::vector<std::string>& names) {
    const std::vector<Column>& all = AllColumns();
    std::vector<std::size_t> chosen;
    for (const std::string& name : names) {
        const auto found = std::find_if(all.begin(), all.end(), [&](const Column& c) { return c.name == name; });
        if (found == all.end()) throw qvox::ToolkitError("there is no column '" + name + "'");
        const auto index = static_cast<std::size_t>(found - all.begin());
        if (std::find(chosen.begin(), chosen.end(), index) != chosen.end()) {
            throw qvox::ToolkitError("the column '" + name + "' is named twice");
        }
        chosen.push_back(index);
    }
    if (chosen.empty()) throw qvox::ToolkitError("there is no column");
    columns_ = std::move(chosen);
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
        const Row row{image, object, WhyNotCounted(selection_, object)};
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const Column& column = AllColumns()[columns_[i]];
            fields[i] = column.text(row);
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
