#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ImagePreparation.h"

namespace CLI {
class App;
}

namespace Korvane {

class ImageJob;

/// The same with what only the command line has.
struct PreparationOptions : PreparationRules {
    std::optional<std::string> maskFile;  ///< an image file whose pixels other than 0 are filled

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

    /// See PreparedImage.
    const std::optional<ImagePart>& Part() const { return image_.Part(); }
    qvox::VoxelImage<std::uint8_t>& Excluded() { return image_.Excluded(); }
    std::optional<Position>& Prepared() { return image_.Prepared(); }
    /// The labels in the frame of the whole image.
    void PutBack(Position& position) const { position.labels = image_.WholeLabels(); }

private:
    PreparedImage image_;
};

/// Lets a job's measures see only what the options leave of its image; all of it without options.
void RestrictMeasures(ImageJob& job, const PreparationOptions& options, const Position& position);

}  // namespace Korvane
