#include "TablePart.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <system_error>

#include "MeasurementTable.h"
#include "ParseNumber.h"
#include "ToolkitError.h"

namespace Korvane {

RowReader::RowReader(const std::string& path) : path_(path), file_(path, std::ios::binary) {
    if (!file_) {
        throw qvox::ToolkitError("Cannot read '" + path + "': " + std::generic_category().message(errno) + ".");
    }
    if (!ReadRow()) throw qvox::ToolkitError("'" + path + "' is empty: a table has a line with its columns.");
    header_ = row_;
    std::string line = header_;
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    if (line == MeasurementHeader()) return;
    separator_ = line.find(';') != std::string::npos ? ';' : ',';
    row_ = line;
    imageColumn_ = ColumnNamed("image");
    versionColumn_ = ColumnNamed("program_version");
    labelColumn_ = ColumnNamed("label");
    sizeColumn_ = ColumnNamed("pixel_size_nm");
    sourceColumn_ = ColumnNamed("pixel_size_source");
    preparedColumn_ = ColumnNamed("prepared");
    if (imageColumn_ >= 0) return;
    throw qvox::ToolkitError("'" + path +
                             "' is neither a measurement table nor a table of objects with the column image.");
}

bool RowReader::ReadRow() {
    row_.clear();
    offset_ = next_;
    length_ = 0;
    std::string line;
    bool isOpen = false;
    while (std::getline(file_, line)) {
        const bool hasEnd = !file_.eof();
        if (!hasEnd) throw qvox::ToolkitError("'" + path_ + "' ends in the middle of a row: it was cut off.");
        length_ += line.size() + (hasEnd ? 1 : 0);
        row_ += line + "\n";
        // The header tells whether fields may be in quotes; of a measurement table none is.
        const bool hasQuotes = separator_ != '\t' || header_.empty();
        if (hasQuotes && std::count(line.begin(), line.end(), '"') % 2 == 1) isOpen = !isOpen;
        if (!isOpen) break;
    }
    if (file_.bad()) {
        throw qvox::ToolkitError("Cannot read '" + path_ + "': " + std::generic_category().message(errno) + ".");
    }
    next_ += length_;
    return !row_.empty();
}

void RowReader::GoTo(std::uint64_t offset) {
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(offset));
    next_ = offset;
}

std::string RowReader::Field(int column) const {
    std::string field;
    int at = 0;
    bool isQuoted = false;
    for (std::size_t i = 0; i < row_.size() && at <= column; ++i) {
        const char c = row_[i];
        if (IsCsv() && c == '"') {
            if (isQuoted && i + 1 < row_.size() && row_[i + 1] == '"') {
                if (at == column) field += c;
                ++i;
            } else {
                isQuoted = !isQuoted;
            }
        } else if (!isQuoted && (c == separator_ || c == '\n' || c == '\r')) {
            ++at;
        } else if (at == column) {
            field += c;
        }
    }
    return field;
}

unsigned long RowReader::Label() const {
    return labelColumn_ < 0 ? 0 : ParseNumber<unsigned long>(Field(labelColumn_)).value_or(0);
}

std::string RowReader::GivenSize(const std::string& option) const {
    if (sizeColumn_ < 0 || sourceColumn_ < 0 || Field(sourceColumn_) != option) return "";
    return option + " " + Field(sizeColumn_);
}

std::string RowReader::GivenOptions() const {
    std::string options = GivenSize("--pixel-size");
    const std::string prepared = preparedColumn_ < 0 ? std::string() : Field(preparedColumn_);
    if (prepared.rfind("region ", 0) != 0) return options;
    return options + (options.empty() ? "" : ", ") + prepared.substr(0, prepared.find("; "));
}

std::string RowReader::GivenWhereMissing() const { return GivenSize("--pixel-size-if-missing"); }

int RowReader::ColumnNamed(const std::string& name) const {
    const auto columns = static_cast<int>(std::count(row_.begin(), row_.end(), separator_));
    for (int column = 0; column <= columns; ++column) {
        if (Field(column) == name) return column;
    }
    return -1;
}

std::uint64_t ImageKey(const std::string& path) { return std::hash<std::string>()(path); }

}  // namespace Korvane
