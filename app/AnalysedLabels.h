#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "ReportedImage.h"
#include "VoxelImage.h"

namespace Korvane {

/// Remembers labels as an analysis left them, so that those a person changed since can be told from them.
class AnalysedLabels {
public:
    void Clear() { made_.clear(); }
    /// The position is not open any more; those behind it move up.
    void RemovePosition(std::size_t position);
    void Remember(std::size_t position, const qvox::LabelImage& labels, LabelOrigin origin);

    /// Whether a position holds the labels that its last analysis made. False for one that was never analysed.
    bool AreAsMade(std::size_t position, const qvox::LabelImage& labels) const;
    /// How they were made; nothing unless they are as made.
    LabelOrigin OriginOf(std::size_t position, const qvox::LabelImage& labels) const;

private:
    struct Made {
        std::size_t digest = 0;
        LabelOrigin origin;
    };
    std::vector<std::optional<Made>> made_;  ///< by position
};

}  // namespace Korvane
