#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

/// Remembers labels as an analysis left them, so that those a person changed since can be told from them.
class AnalysedLabels {
public:
    void Clear() { digests_.clear(); }
    /// The position is not open any more; those behind it move up.
    void RemovePosition(std::size_t position);
    void Remember(std::size_t position, const qvox::LabelImage& labels);

    /// Whether a position holds the labels that its last analysis made. False for one that was never analysed.
    bool AreAsMade(std::size_t position, const qvox::LabelImage& labels) const;

private:
    std::vector<std::optional<std::size_t>> digests_;  ///< by position
};

}  // namespace Korvane
