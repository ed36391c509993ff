#include "PositionStore.h"

#include <utility>

#include "PathText.h"
#include "operations/IntensityHistogram.h"

namespace Korvane {

std::size_t CountLabels(const qvox::LabelImage& labels) {
    if (labels.Empty()) return 0;
    qvox::Histogram histogram;
    qvox::IntensityHistogram(labels, histogram);
    std::size_t count = 0;
    for (std::size_t label = 1; label < histogram.size(); ++label) {
        if (histogram[label] > 0) ++count;
    }
    return count;
}

std::size_t CountLabels(const PositionStore& store, std::size_t index) {
    return index < store.images.Count() ? store.images.CountLabels(index) : 0;
}

void RecountLabels(PositionStore& store) { store.labelCount = CountLabels(store, store.current); }

void RemoveAllPositions(PositionStore& store) {
    store.images.Clear();
    store.paths.clear();
    store.current = 0;
    store.labelCount = 0;
    store.undoLabels.Release();
}

void AppendPosition(PositionStore& store, const wxString& path) {
    // Before the image, whose appending may fail: the path's can then be taken back.
    store.paths.push_back(path);
    try {
        store.images.Append(PathBytes(path));
    } catch (...) {
        store.paths.pop_back();
        throw;
    }
}

void AppendPosition(PositionStore& store, Position position) {
    store.paths.push_back(position.path);
    try {
        store.images.Append(std::move(position));
    } catch (...) {
        store.paths.pop_back();
        throw;
    }
}

void RemovePosition(PositionStore& store, std::size_t index) {
    store.images.Remove(index);
    store.paths.erase(store.paths.begin() + static_cast<std::ptrdiff_t>(index));
    if (store.current > index) --store.current;
}

bool SwitchToPosition(PositionStore& store, std::size_t index, std::size_t contourPointCount) {
    if (index >= PositionCount(store) || contourPointCount > 0) return false;
    const std::size_t labelCount = store.images.CountLabels(index);
    store.images.Show(index);
    store.current = index;
    store.labelCount = labelCount;
    store.undoLabels.Release();
    return true;
}

void ClearAllLabels(PositionStore& store) {
    if (PositionCount(store) == 0) return;
    for (std::size_t i = 0; i < PositionCount(store); ++i) store.images.ClearLabels(i);
    store.currentLabel = 1;
    store.labelCount = 0;
}

}  // namespace Korvane
