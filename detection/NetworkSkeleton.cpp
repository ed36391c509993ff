#include "NetworkSkeleton.h"

#include <emmintrin.h>

#include <algorithm>

#include "ThinningRemoval.h"
#include "ToolkitError.h"

namespace Korvane {

NetworkSkeleton::NetworkSkeleton(int width, int height)
    : width_(width),
      height_(height),
      stride_(width + 2),
      times_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height + 2)),
      queuedFor_(times_.size()),
      isEnd_(times_.size()),
      queue_(2),
      ends_(static_cast<std::size_t>(height)) {
    for (int x = -1; x <= width; ++x) {
        *At(x, -1) = kBeyond;
        *At(x, height) = kBeyond;
    }
    for (int y = 0; y < height; ++y) {
        *At(-1, y) = kBeyond;
        *At(width, y) = kBeyond;
    }
}

void NetworkSkeleton::Add(int x, int y) {
    const auto pixel = static_cast<std::int32_t>(Index(x, y));
    times_[static_cast<std::size_t>(pixel)] = kLine;
    lineChanged_.push_back(pixel);
    Queue(pixel, 1);
    QueueAround(pixel, 0);
}

void NetworkSkeleton::Remove(int x, int y) {
    const auto pixel = static_cast<std::int32_t>(Index(x, y));
    times_[static_cast<std::size_t>(pixel)] = kAbsent;
    lineChanged_.push_back(pixel);
    QueueAround(pixel, 0);
}

void NetworkSkeleton::Queue(std::int32_t pixel, std::uint32_t time) {
    Time& queuedFor = queuedFor_[static_cast<std::size_t>(pixel)];
    if (queuedFor == time) {
        return;
    }
    queuedFor = static_cast<Time>(time);
    if (queue_.size() <= time) {
        if (time >= kPruned) {
            throw qvox::ToolkitError("Candidate detection: thinning a region takes more than 65532 steps");
        }
        queue_.resize(time + 1);
    }
    queue_[time].push_back(pixel);
}

// What a neighbour does after `changedFrom` makes no difference to a pixel that is gone by then.
void NetworkSkeleton::QueueAround(std::int32_t pixel, Time changedFrom) {
    const auto stride = static_cast<std::int32_t>(stride_);
    for (const std::int32_t row : {pixel - stride, pixel, pixel + stride}) {
        for (std::int32_t near = row - 1; near <= row + 1; ++near) {
            const Time time = times_[static_cast<std::size_t>(near)];
            if (near != pixel && time > changedFrom && time != kBeyond) {
                Queue(near, changedFrom + 1u);
            }
        }
    }
}

void NetworkSkeleton::Update() {
    for (std::size_t time = 1; time < queue_.size(); ++time) {
        // What is queued meanwhile is queued for later times.
        std::vector<std::int32_t> now;
        now.swap(queue_[time]);
        for (const std::int32_t pixel : now) {
            WorkOut(pixel, static_cast<Time>(time));
        }
        now.clear();
        queue_[time].swap(now);
    }
    endChanges_.clear();
    for (const std::int32_t pixel : lineChanged_) {
        UpdateEndsAround(pixel);
    }
    lineChanges_.swap(lineChanged_);
    lineChanged_.clear();
}

// At its turn a time's past is certain, its future only as far as nothing changes any more. So a pixel is removed, or
// found not to be removed after all, when that time has come; until then the time is only noted.
void NetworkSkeleton::WorkOut(std::int32_t pixel, Time from) {
    Time& queuedFor = queuedFor_[static_cast<std::size_t>(pixel)];
    queuedFor = queuedFor == from ? Time{0} : queuedFor;
    Time& time = times_[static_cast<std::size_t>(pixel)];
    if (time < from) {
        return;
    }
    const Time before = time;
    const Time after = RemovalTime(pixel, from);
    if (after == before) {
        return;
    }
    if (after != from && before != from) {
        // What neighbours do later is not certain yet.
        Queue(pixel, std::min(before, after));
        return;
    }
    time = after == from ? from : kLine;
    lineChanged_.push_back(pixel);
    QueueAround(pixel, from);
    if (after != from && after != kLine) {
        Queue(pixel, after);
    }
}

// Between two times at which a neighbour goes, nothing changes but whose turn it is: both subiterations are tried once.
NetworkSkeleton::Time NetworkSkeleton::RemovalTime(std::int32_t pixel, std::uint32_t from) const {
    const Time* p = &times_[static_cast<std::size_t>(pixel)];
    // Signed comparisons are what vectors of 16 bits have: the offset keeps the order.
    const auto at = [](Time time) { return static_cast<std::int16_t>(time ^ 0x8000u); };
    const __m128i around = _mm_setr_epi16(at(p[-stride_]), at(p[-stride_ + 1]), at(p[1]), at(p[stride_ + 1]),
                                          at(p[stride_]), at(p[stride_ - 1]), at(p[-1]), at(p[-stride_ - 1]));
    const __m128i never = _mm_set1_epi16(at(kPruned));
    while (true) {
        const __m128i gone = _mm_cmplt_epi16(around, _mm_set1_epi16(at(static_cast<Time>(from))));
        const int code = ~_mm_movemask_epi8(_mm_packs_epi16(gone, gone)) & 255;
        __m128i next = _mm_or_si128(_mm_andnot_si128(gone, around), _mm_and_si128(gone, never));
        next = _mm_min_epi16(next, _mm_shuffle_epi32(next, 0x4E));
        next = _mm_min_epi16(next, _mm_shuffle_epi32(next, 0xB1));
        next = _mm_min_epi16(next, _mm_srli_epi32(next, 16));
        next = _mm_min_epi16(next, never);
        const std::uint32_t until = (static_cast<std::uint32_t>(_mm_cvtsi128_si32(next)) & 0xFFFFu) ^ 0x8000u;
        const unsigned removal = kThinningRemoval[static_cast<std::size_t>(code)];
        for (std::uint32_t time = from; removal != 0 && time <= from + 1 && time <= until; ++time) {
            // Odd times are first subiterations.
            if ((removal >> ((time & 1u) ^ 1u) & 1u) != 0u) {
                return static_cast<Time>(time);
            }
        }
        if (until == kPruned) {
            return kLine;
        }
        from = until + 1;
    }
}

bool NetworkSkeleton::IsEnd(std::int32_t pixel) const {
    const Time* p = &times_[static_cast<std::size_t>(pixel)];
    if (*p != kLine) {
        return false;
    }
    int lines = 0;
    for (const Time time :
         {p[-stride_ - 1], p[-stride_], p[-stride_ + 1], p[-1], p[1], p[stride_ - 1], p[stride_], p[stride_ + 1]}) {
        if (time == kBeyond) {
            return false;
        }
        lines += time == kLine ? 1 : 0;
    }
    return lines == 1;
}

void NetworkSkeleton::UpdateEndsAround(std::int32_t pixel) {
    const auto stride = static_cast<std::int32_t>(stride_);
    for (const std::int32_t row : {pixel - stride, pixel, pixel + stride}) {
        for (std::int32_t near = row - 1; near <= row + 1; ++near) {
            std::uint8_t& isEnd = isEnd_[static_cast<std::size_t>(near)];
            if (isEnd == 0 && times_[static_cast<std::size_t>(near)] != kLine) {
                continue;
            }
            const bool now = IsEnd(near);
            if (now == (isEnd != 0)) {
                continue;
            }
            isEnd = now ? 1 : 0;
            endChanges_.push_back(near);
            std::vector<int>& ends = ends_[static_cast<std::size_t>(near / stride - 1)];
            const int x = near % stride - 1;
            const auto at = std::lower_bound(ends.begin(), ends.end(), x);
            if (now) {
                ends.insert(at, x);
            } else {
                ends.erase(at);
            }
        }
    }
}

}  // namespace Korvane
