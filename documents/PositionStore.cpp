#include "PositionStore.h"

#include <utility>

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
    return index < store.labelImages.size() ? CountLabels(store.labelImages[index]) : 0;
}

void RecountLabels(PositionStore& store) { store.labelCount = CountLabels(store, store.current); }

void RemoveAllPositions(PositionStore& store) {
    store.images.clear();
    store.labelImages.clear();
    store.paths.clear();
    store.current = 0;
    store.labelCount = 0;
    store.undoLabels.Release();
}

void AppendPosition(PositionStore& store, Position position) {
    // Reserve first: the three appends below can then no longer fail one by one.
    const std::size_t room = PositionCount(store) + 1;
    if (store.paths.capacity() < room) {
        store.images.reserve(2 * room);
        store.labelImages.reserve(2 * room);
        store.paths.reserve(2 * room);
    }
    store.images.push_back(std::move(position.image));
    store.labelImages.push_back(std::move(position.labels));
    store.paths.push_back(std::move(position.path));
}

bool SwitchToPosition(PositionStore& store, std::size_t index, std::size_t contourPointCount) {
    if (index >= PositionCount(store) || contourPointCount > 0) return false;
    store.current = index;
    RecountLabels(store);
    store.undoLabels.Release();
    return true;
}

void ClearAllLabels(PositionStore& store) {
    if (PositionCount(store) == 0) return;
    for (qvox::LabelImage& labels : store.labelImages) labels.Zero();
    store.currentLabel = 1;
    store.labelCount = 0;
}

}  // namespace Korvane
