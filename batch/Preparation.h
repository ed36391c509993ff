#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Annotations.h"
#include "LabelExtents.h"
#include "PositionStore.h"

namespace CLI {
class App;
}

namespace Korvane {

class ImageJob;

/// What is left out of an image, or filled, before it is analysed.
struct PreparationOptions {
    bool fillsAnnotations = false;    ///< those that are found
    std::optional<std::string> mask;  ///< an image file whose pixels other than 0 are filled
    bool trimsBars = false;           ///< information bars
    std::optional<PixelBox> region;   ///< only this part is analysed

    /// The options as they are given; empty without any.
    std::string Text() const;
};

/// --fill-annotations, --annotations, --trim-bar and --region.
void AddPreparation(CLI::App& command, PreparationOptions& options);

/// The part of a position that an analysis gets. Warns of annotations and information bars that are left as they are.
class Preparation {
public:
    /// Throws ImageFailure where the region does not fit, nothing is left or the mask cannot be used.
    Preparation(ImageJob& job, const PreparationOptions& options, const Position& position);

    /// The part that is analysed; none: all of the image.
    const std::optional<ImagePart>& Part() const { return part_; }
    /// Pixels other than 0 are filled; empty where none is.
    qvox::VoxelImage<std::uint8_t>& Excluded() { return excluded_; }
    /// The prepared image with its labels; none: the position is analysed as it is.
    std::optional<Position>& Prepared() { return prepared_; }
    /// The labels in the frame of the whole image.
    void PutBack(Position& position) const;

private:
    void NoteFilled(const Position& position, const qvox::VoxelImage<bool>& filled);

    PixelBox box_;
    std::optional<ImagePart> part_;
    qvox::VoxelImage<std::uint8_t> excluded_;
    std::optional<Position> prepared_;
};

/// Lets a job's measures see only what the options leave of its image; all of it without options.
void RestrictMeasures(ImageJob& job, const PreparationOptions& options, const Position& position);

}  // namespace Korvane
