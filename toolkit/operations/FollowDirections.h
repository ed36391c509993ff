#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qvox {

/// Voxels in rows that are `stride` apart, each with the place of one of the 3 x 3 around it in raster order.
struct DirectionField {
    const std::uint8_t* directions;
    std::size_t width;
    std::size_t height;
    std::size_t stride;

    std::array<std::ptrdiff_t, 9> Steps() const {
        const auto s = static_cast<std::ptrdiff_t>(stride);
        return {-s - 1, -s, -s + 1, -1, 0, 1, s - 1, s, s + 1};
    }
};

/// Gives each voxel that has the value `none` the value of the first one in its direction, and so on, that has another.
/// Each such way ends at another value within the field. `values` lie as the directions do.
/// Cost: two sweeps over the field, and steps on ways that turn up and down often.
template <typename Value>
void FollowDirections(const DirectionField& field, Value none, Value* values) {
    const std::array<std::ptrdiff_t, 9> steps = field.Steps();
    const auto next = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(at) + steps[field.directions[at]]);
    };
    const auto take = [&](std::size_t at) {
        const Value own = values[at];
        const Value other = values[next(at)];
        const Value value = own != none ? own : other;
        values[at] = value;
        return value == none ? std::size_t{1} : std::size_t{0};
    };
    // A sweep down completes all ways that lead up only, a sweep up those that then lead down only.
    for (std::size_t y = 0; y < field.height; ++y) {
        for (std::size_t x = 0; x < field.width; ++x) take(y * field.stride + x);
    }
    std::size_t left = 0;
    for (std::size_t y = field.height; y-- > 0;) {
        for (std::size_t x = field.width; x-- > 0;) left += take(y * field.stride + x);
    }
    if (left == 0) return;
    for (std::size_t y = 0; y < field.height; ++y) {
        for (std::size_t start = y * field.stride; start < y * field.stride + field.width; ++start) {
            if (values[start] != none) continue;
            std::size_t end = start;
            while (values[end] == none) end = next(end);
            for (std::size_t at = start; at != end; at = next(at)) values[at] = values[end];
        }
    }
}

}  // namespace qvox
