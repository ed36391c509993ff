#include "PackedLabels.h"

#include <algorithm>
#include <cstring>

#include "Assert.h"

namespace Korvane {

namespace {

/// The first voxel from here on that is no background.
const std::uint16_t* SkipBackground(const std::uint16_t* at, const std::uint16_t* end) {
    constexpr std::ptrdiff_t kAtOnce = 16;
    // Most of an image is background: whole words of it are passed over at a time.
    while (end - at >= kAtOnce) {
        std::uint64_t words[4];
        static_assert(sizeof(words) == kAtOnce * sizeof(*at), "the words are the voxels");
        std::memcpy(words, at, sizeof(words));
        if ((words[0] | words[1] | words[2] | words[3]) != 0) break;
        at += kAtOnce;
    }
    return std::find_if(at, end, [](std::uint16_t label) { return label != 0; });
}

}  // namespace

PackedLabels::PackedLabels(const qvox::LabelImage& labels) {
    const std::uint16_t* at = labels.begin();
    const std::uint16_t* const end = labels.end();
    while (true) {
        const std::uint16_t* const start = SkipBackground(at, end);
        if (start == end) break;
        const std::uint16_t label = *start;
        const std::uint16_t* const past = std::find_if(start, end, [=](std::uint16_t other) { return other != label; });
        Put(static_cast<std::uint64_t>(start - at));
        Put(static_cast<std::uint64_t>(past - start));
        Put(label);
        at = past;
    }
    runs_.shrink_to_fit();
}

void PackedLabels::Put(std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) runs_.push_back(static_cast<std::uint8_t>(number | 0x80));
    runs_.push_back(static_cast<std::uint8_t>(number));
}

template <typename Visit>
void PackedLabels::ForEach(Visit visit) const {
    const std::uint8_t* at = runs_.data();
    const std::uint8_t* const end = at + runs_.size();
    const auto take = [&at] {
        std::uint64_t number = 0;
        for (unsigned shift = 0;; shift += 7) {
            const std::uint8_t byte = *at++;
            number |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
            if ((byte & 0x80) == 0) return number;
        }
    };
    while (at != end) {
        const std::uint64_t background = take();
        const std::uint64_t length = take();
        visit(background, length, static_cast<std::uint16_t>(take()));
    }
}

void PackedLabels::UnpackInto(qvox::LabelImage& labels, const qvox::PartRunner& run) const {
    std::uint16_t* at = labels.begin();
    ForEach([&](std::uint64_t background, std::uint64_t length, std::uint16_t label) {
        KORVANE_ASSERT(background + length <= static_cast<std::uint64_t>(labels.end() - at));
        at = std::fill_n(at, background, std::uint16_t{0});
        at = std::fill_n(at, length, label);
    });
    // The background behind the last object: of an image without labels all of it.
    const auto rest = static_cast<std::uint64_t>(labels.end() - at);
    qvox::RunRanges(rest, qvox::kFewestVoxelsOfPart, run, [at](const qvox::PartRange& part) {
        std::fill(at + part.first, at + part.end, std::uint16_t{0});
    });
}

std::size_t PackedLabels::CountLabels() const {
    std::vector<bool> found(runs_.empty() ? 0 : 65536);
    std::size_t count = 0;
    ForEach([&](std::uint64_t, std::uint64_t, std::uint16_t label) {
        if (found[label]) return;
        found[label] = true;
        ++count;
    });
    return count;
}

}  // namespace Korvane
