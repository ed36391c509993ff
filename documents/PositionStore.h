#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <wx/string.h>

#include "Position.h"
#include "PositionImages.h"

namespace Korvane {

/// The open positions and which of them is current. `images` and `paths` always have the same length; entry i of each
/// belongs to position i. `current` is below the count whenever there is a position; it is the one that `images` shows
/// from the first switch on.
struct PositionStore {
    PositionImages images;  ///< with the labels
    std::vector<wxString> paths;
    std::size_t current = 0;
    std::uint16_t currentLabel = 1;  ///< the label that the editing tools write
    std::size_t labelCount = 0;      ///< distinct labels of the current position
    qvox::LabelImage undoLabels;     ///< the current position's labels before the last destructive change; or empty
};

inline std::size_t PositionCount(const PositionStore& store) { return store.paths.size(); }

/// The number of distinct labels in an image; 0 is none. One pass.
std::size_t CountLabels(const qvox::LabelImage& labels);

/// The same for a position of the store; 0 when there is no such position.
std::size_t CountLabels(const PositionStore& store, std::size_t index);

/// Counts the current position's labels again into `labelCount`.
void RecountLabels(PositionStore& store);

/// Empties the sequences, as opening images does before it reads the first file.
void RemoveAllPositions(PositionStore& store);

/// Appends a position; either both sequences grow or, on a failure, none. Of a path only the head of the file is read;
/// throws as PositionImages::Append.
void AppendPosition(PositionStore& store, const wxString& path);
void AppendPosition(PositionStore& store, Position position);

/// Removes one. The current one stays current, unless it is that one.
void RemovePosition(PositionStore& store, std::size_t index);

/// Makes `index` current: recounts its labels and empties the undo copy. False, and nothing changed, when there is no
/// such position or when the contour being drawn holds any point. Throws as PositionImages::Show, and nothing is
/// changed then either.
bool SwitchToPosition(PositionStore& store, std::size_t index, std::size_t contourPointCount);

/// Sets all labels of all positions to 0; the undo copy is not touched. Nothing happens in an empty store.
void ClearAllLabels(PositionStore& store);

}  // namespace Korvane
