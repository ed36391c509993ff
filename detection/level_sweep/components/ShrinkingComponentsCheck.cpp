#include <map>
#include <utility>

#include "Assert.h"
#include "components/PixelSurroundings.h"
#include "components/ShrinkingComponents.h"

namespace level_sweep {

#ifdef KORVANE_ASSERTIONS

namespace {

/// Labels the connected parts of the pixels for which isMember(x, y) holds, from 1 on; 0 elsewhere. With `step` 1 pixels
/// are 8-connected, with 2 they are 4-connected.
template <typename IsMember>
std::vector<std::int32_t> LabelParts(int width, int height, IsMember isMember, std::size_t step) {
    std::vector<std::int32_t> labels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    const auto at = [&](int x, int y) -> std::int32_t& { return labels[static_cast<std::size_t>(y * width + x)]; };
    std::vector<PixelPosition> stack;
    std::int32_t count = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (!isMember(x, y) || at(x, y) != 0) {
                continue;
            }
            at(x, y) = ++count;
            stack.push_back({x, y});
            while (!stack.empty()) {
                const PixelPosition from = stack.back();
                stack.pop_back();
                for (std::size_t i = 0; i < 8; i += step) {
                    const int u = from.x + kRingX[i];
                    const int v = from.y + kRingY[i];
                    if (u >= 0 && v >= 0 && u < width && v < height && isMember(u, v) && at(u, v) == 0) {
                        at(u, v) = count;
                        stack.push_back({u, v});
                    }
                }
            }
        }
    }
    return labels;
}

}  // namespace

void ShrinkingComponents::CheckInvariants() const {
    open_.CheckInvariants();
    CheckOpen();
    CheckClosed();
}

void ShrinkingComponents::CheckOpen() const {
    const int width = open_.Width();
    const int height = open_.Height();
    const std::vector<std::int32_t> labels =
        LabelParts(width, height, [&](int x, int y) { return open_.Has(x, y); }, 2);
    std::vector<std::int32_t> labelOf(area_.size(), 0);
    std::vector<std::int64_t> counted(area_.size(), 0);
    std::vector<bool> isNoted(area_.size(), false);
    for (std::int32_t pixel = 0; pixel < width * height; ++pixel) {
        const std::int32_t label = labels[static_cast<std::size_t>(pixel)];
        if (label == 0) {
            continue;
        }
        const auto number = static_cast<std::size_t>(nodes_[pixel]);
        KORVANE_ASSERT(number < area_.size());
        KORVANE_ASSERT(labelOf[number] == 0 || labelOf[number] == label);  // one number, one component
        labelOf[number] = label;
        ++counted[number];
    }
    std::vector<bool> hasNumber(labels.size() + 1, false);
    for (std::size_t number = 0; number < area_.size(); ++number) {
        KORVANE_ASSERT(counted[number] == area_[number]);
        if (labelOf[number] != 0) {
            KORVANE_ASSERT(!hasNumber[static_cast<std::size_t>(labelOf[number])]);  // one component, one number
            hasNumber[static_cast<std::size_t>(labelOf[number])] = true;
        }
    }
    for (const std::int32_t number : unused_) {
        KORVANE_ASSERT(area_[static_cast<std::size_t>(number)] == 0);
    }
    const auto note = [&](int x, int y) {
        if (nodes_.Contains(x, y) && open_.Has(x, y)) {
            isNoted[static_cast<std::size_t>(nodes_[nodes_.NodeAt(x, y)])] = true;
        }
    };
    for (const std::int32_t pixel : firstPixels_) {
        note(nodes_.PositionOf(pixel).x, nodes_.PositionOf(pixel).y);
    }
    for (const std::int32_t pixel : toInspect_) {
        for (std::size_t i = 0; i < 8; i += 2) {
            note(nodes_.PositionOf(pixel).x + kRingX[i], nodes_.PositionOf(pixel).y + kRingY[i]);
        }
    }
    for (std::size_t number = 0; number < area_.size(); ++number) {
        KORVANE_ASSERT(area_[number] == 0 || area_[number] > limit_ || isNoted[number]);
    }
}

// On the map with one more pixel on every side, which makes the outside one part.
void ShrinkingComponents::CheckClosed() const {
    const int width = open_.Width() + 2;
    const int height = open_.Height() + 2;
    const std::vector<std::int32_t> labels = LabelParts(
        width, height,
        [&](int x, int y) { return !nodes_.Contains(x - 1, y - 1) || !open_.Has(x - 1, y - 1); }, 1);
    std::vector<std::int32_t> labelOf(static_cast<std::size_t>(nodes_.Outside()) + 1, 0);
    std::map<std::pair<std::int32_t, std::int32_t>, std::int32_t> rootOf;  // by component number and label
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::int32_t label = labels[static_cast<std::size_t>(y * width + x)];
            if (label == 0) {
                continue;
            }
            std::int32_t root = nodes_.NodeAt(x - 1, y - 1);
            for (std::int32_t steps = 0; nodes_[root] != root; root = nodes_[root]) {
                KORVANE_ASSERT(++steps <= nodes_.Outside());
            }
            std::int32_t& known = labelOf[static_cast<std::size_t>(root)];
            KORVANE_ASSERT(known == 0 || known == label);
            known = label;
            for (std::size_t i = 0; i < 8; i += 2) {
                const int u = x - 1 + kRingX[i];
                const int v = y - 1 + kRingY[i];
                if (nodes_.Contains(u, v) && open_.Has(u, v)) {
                    const std::pair<std::int32_t, std::int32_t> side{nodes_[nodes_.NodeAt(u, v)], label};
                    KORVANE_ASSERT(rootOf.emplace(side, root).first->second == root);
                }
            }
        }
    }
}

#else

void ShrinkingComponents::CheckInvariants() const {}

#endif

}  // namespace level_sweep
