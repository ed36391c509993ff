#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ImageList.h"
#include "MergeProblems.h"
#include "TablePart.h"

namespace Korvane {

/// Tables of parts of the images, to be written as one. Of an image only the place of its rows is held.
class MergedTable {
public:
    /// Reads the tables. Throws ToolkitError for those that cannot be read or have different columns. Problems are rows
    /// of one image in two places, and of two versions of the program or two choices of options.
    MergedTable(const std::vector<std::string>& parts, MergeProblems& problems);

    /// Puts the images into the order of the listing. Problems are images that are not in it. Returns its images
    /// without rows.
    std::vector<std::size_t> Arrange(const ImageListing& listing, MergeProblems& problems);
    /// The paths of the images that have rows are given one by one.
    template <typename Look>
    void ForEachImage(Look look) const {
        for (const RowBlock& block : blocks_) look(ImageOf(block));
    }

    /// Gives the bytes of the whole table to `put`. Without Arrange, images come in natural order of their paths, as far
    /// as those of each part do. Throws ToolkitError.
    void Write(const std::function<void(const std::string& bytes)>& put) const;

private:
    /// How the rows that were read first were measured.
    struct Measuring {
        std::string version;
        std::optional<std::string> options;
        std::string whereMissing;
    };
    void ReadPart(std::uint32_t part, Measuring& first, MergeProblems& problems);
    static void RequireSame(const RowReader& row, Measuring& first, MergeProblems& problems);
    void RequireDistinct(MergeProblems& problems) const;
    std::string ImageOf(const RowBlock& block) const;
    std::vector<std::uint32_t> InNaturalOrder() const;
    std::vector<std::uint32_t> InListedOrder() const;

    std::vector<std::unique_ptr<RowReader>> parts_;
    bool isArranged_ = false;
    std::deque<RowBlock> blocks_;  // part by part
};

}  // namespace Korvane
