#include "Thinning.h"

#include <algorithm>
#include <array>

namespace Korvane {

void Thinning::Subiteration(const CodePlane& plane, int parity, const std::vector<std::ptrdiff_t>& pixels) {
    const std::ptrdiff_t stride = plane.stride;
    const std::ptrdiff_t origin = stride + 1;  // queued_ covers the surrounding pixels too
    marked_.clear();
    for (const std::ptrdiff_t offset : pixels) {
        std::uint8_t& queued = queued_[static_cast<std::size_t>(offset + origin)];
        queued = static_cast<std::uint8_t>(queued & ~(1 << parity));
        const PixelCode* p = plane.data + offset;
        if (*p == 0) {
            continue;
        }
        const int code = p[-stride] | p[-stride + 1] << 1 | p[1] << 2 | p[stride + 1] << 3 | p[stride] << 4 |
                         p[stride - 1] << 5 | p[-1] << 6 | p[-stride - 1] << 7;
        if ((kThinningRemoval[static_cast<std::size_t>(code)] >> parity & 1) != 0) {
            marked_.push_back(offset);
        }
    }
    for (const std::ptrdiff_t offset : marked_) {
        plane.data[offset] = 0;
    }
    QueueAround(plane);
}

// What a removal may have changed is looked at again: the pixels around those in marked_.
void Thinning::QueueAround(const CodePlane& plane) {
    const std::ptrdiff_t stride = plane.stride;
    const std::ptrdiff_t origin = stride + 1;
    const std::array<std::ptrdiff_t, 8> around{-stride - 1, -stride,    -stride + 1, -1,
                                               1,           stride - 1, stride,      stride + 1};
    for (const std::ptrdiff_t offset : marked_) {
        for (const std::ptrdiff_t step : around) {
            const std::ptrdiff_t neighbour = offset + step;
            std::uint8_t& queued = queued_[static_cast<std::size_t>(neighbour + origin)];
            if (queued == 3 || plane.data[neighbour] == 0) {
                continue;
            }
            for (int p = 0; p < 2; ++p) {
                if ((queued >> p & 1) == 0) {
                    pending_[p].push_back(neighbour);
                }
            }
            queued = 3;
        }
    }
}

void Thinning::Run(const CodePlane& plane, const std::vector<std::ptrdiff_t>& pixels) {
    const std::size_t size = static_cast<std::size_t>(plane.stride) * static_cast<std::size_t>(plane.height + 2);
    queued_.assign(size, 3);  // the surrounding pixels count as queued for good: they are never thinned
    for (int y = 0; y < plane.height; ++y) {
        const auto row = queued_.begin() + (y + 1) * plane.stride + 1;
        std::fill(row, row + plane.width, std::uint8_t{0});
    }
    for (const std::ptrdiff_t offset : pixels) {
        queued_[static_cast<std::size_t>(offset + plane.stride + 1)] = 3;
    }
    for (std::vector<std::ptrdiff_t>* list : {&pending_[0], &pending_[1], &taken_, &marked_}) {
        list->reserve(pixels.size() / 2);  // growing copies, into fresh pages
    }
    Subiteration(plane, 0, pixels);
    Subiteration(plane, 1, pixels);
    while (!pending_[0].empty() || !pending_[1].empty()) {
        for (int parity = 0; parity < 2; ++parity) {
            taken_.swap(pending_[parity]);
            pending_[parity].clear();
            Subiteration(plane, parity, taken_);
        }
    }
}

}  // namespace Korvane
