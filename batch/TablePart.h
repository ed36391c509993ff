#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace Korvane {

/// Reads the rows of a table one by one: lines, or, where fields may be in quotes, as many lines as a row takes.
class RowReader {
public:
    /// Throws ToolkitError for a file that cannot be read or is neither a measurement table nor a table of objects.
    explicit RowReader(const std::string& path);

    const std::string& Path() const { return path_; }
    /// The first line with its end.
    const std::string& Header() const { return header_; }
    bool IsCsv() const { return separator_ != '\t'; }

    /// The next row; false at the end. Throws ToolkitError.
    bool Next() { return ReadRow(); }
    /// The next row is the one that begins there.
    void GoTo(std::uint64_t offset);
    /// Behind the header.
    void GoToFirst() { GoTo(header_.size()); }
    /// With its end; the last line of a file gets one.
    const std::string& Row() const { return row_; }
    std::uint64_t Offset() const { return offset_; }
    std::uint64_t Length() const { return length_; }
    /// The path of the row's image.
    std::string Image() const { return Field(imageColumn_); }
    /// The version of the program that measured; empty where the table does not tell.
    std::string Version() const { return versionColumn_ < 0 ? std::string() : Field(versionColumn_); }

    /// What was given to all images when they were measured: "--pixel-size 2, region 0,0,200,200". Empty where the
    /// images were taken as they are, or the table does not tell.
    std::string GivenOptions() const;
    /// "--pixel-size-if-missing 2" of an image that stores no pixel size; else empty.
    std::string GivenWhereMissing() const;

    /// The row's label, from 1; 0 where the table has no column of them.
    unsigned long Label() const;
    /// Whether a label may have several rows: one for each of its pieces.
    bool HasPieces() const { return !IsCsv(); }

private:
    bool ReadRow();
    std::string Field(int column) const;
    std::string GivenSize(const std::string& option) const;
    int ColumnNamed(const std::string& name) const;

    std::string path_;
    std::ifstream file_;
    std::string header_;
    std::string row_;
    char separator_ = '\t';
    int imageColumn_ = 0;
    int versionColumn_ = -1;
    int labelColumn_ = 1;
    int sizeColumn_ = -1;
    int sourceColumn_ = -1;
    int preparedColumn_ = -1;
    std::uint64_t next_ = 0;
    std::uint64_t offset_ = 0;
    std::uint64_t length_ = 0;
};

/// The rows of one image in a table: consecutive ones.
struct RowBlock {
    std::uint64_t key = 0;  ///< of the image's path
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint32_t part = 0;   ///< the table
    std::uint32_t image = 0;  ///< its place among the images, where these are known
};

/// A number for a path that tells paths apart but for accidents.
std::uint64_t ImageKey(const std::string& path);

}  // namespace Korvane
