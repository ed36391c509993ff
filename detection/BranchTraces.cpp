#include "BranchTraces.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "NeighbourGroups.h"

namespace Korvane {
namespace {

// Bits of a pixel's state.
constexpr std::uint8_t kIsEnd = 1;
constexpr std::uint8_t kIsTraced = 2;   // an end with a trace
constexpr std::uint8_t kIsWaiting = 4;  // an end, or what was one, to be traced again

}  // namespace

BranchTraces::BranchTraces(const NetworkSkeleton& skeleton, int width, int height)
    : skeleton_(skeleton),
      codes_(skeleton.At(-1, -1)),
      stride_(width + 2),
      owner_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height + 2)),
      taken_(owner_.size() / 8 + 2),
      state_(owner_.size()),
      ends_(static_cast<std::size_t>(height)) {}

void BranchTraces::Update() {
    for (const std::int32_t pixel : skeleton_.LineChanges()) {
        TouchTracesAround(pixel, std::numeric_limits<std::int32_t>::max());
    }
    for (const std::int32_t end : skeleton_.EndChanges()) {
        state_[static_cast<std::size_t>(end)] ^= kIsEnd;
        Touch(end);
    }
    while (!toRetrace_.empty()) {
        const std::int32_t end = toRetrace_.top();
        toRetrace_.pop();
        state_[static_cast<std::size_t>(end)] &= static_cast<std::uint8_t>(~kIsWaiting);
        Retrace(end);
    }
}

void BranchTraces::Touch(std::int32_t end) {
    std::uint8_t& state = state_[static_cast<std::size_t>(end)];
    if ((state & kIsWaiting) == 0) {
        state |= kIsWaiting;
        toRetrace_.push(end);
    }
}

// A trace begins at its end, whoever took that pixel, and takes all others that it comes to.
void BranchTraces::TouchTracesOf(std::int32_t pixel, std::int32_t before) {
    const std::int32_t owner = owner_[static_cast<std::size_t>(pixel)];
    if (owner == 0) {
        return;
    }
    if (owner < before) {
        Touch(owner);
    }
    if (pixel < before && (state_[static_cast<std::size_t>(pixel)] & kIsTraced) != 0) {
        Touch(pixel);
    }
}

// A trace asks for pixels next to its own, and for what is around these.
void BranchTraces::TouchTracesAround(std::int32_t pixel, std::int32_t before) {
    for (std::int32_t row = -2; row <= 2; ++row) {
        const std::int32_t first = pixel + row * stride_ - 2;
        // Beside the picture there is a column of neither lines nor traces, then the next row; above and below nothing.
        if (first < 0 || first + 4 >= static_cast<std::int32_t>(owner_.size())) {
            continue;
        }
        for (unsigned taken = TakenInFive(first); taken != 0; taken &= taken - 1) {
            TouchTracesOf(first + __builtin_ctz(taken), before);
        }
    }
}

// Bit i: whether a trace took the pixel at first + i.
unsigned BranchTraces::TakenInFive(std::int32_t first) const {
    std::uint16_t bits = 0;
    std::memcpy(&bits, taken_.data() + first / 8, sizeof(bits));
    return static_cast<unsigned>(bits) >> (first % 8) & 31u;
}

void BranchTraces::SetOwner(std::int32_t pixel, std::int32_t end) {
    owner_[static_cast<std::size_t>(pixel)] = end;
    const auto bit = static_cast<unsigned>(1u << (pixel % 8));
    std::uint8_t& bits = taken_[static_cast<std::size_t>(pixel / 8)];
    bits = static_cast<std::uint8_t>(end != 0 ? bits | bit : bits & ~bit);
}

void BranchTraces::Retrace(std::int32_t end) {
    takenBefore_.clear();
    const bool wasTraced = (state_[static_cast<std::size_t>(end)] & kIsTraced) != 0;
    if (wasTraced) {
        Release(end, traces_[static_cast<std::size_t>(FindEnd(end)->trace)]);
    }
    const bool isEnd = (state_[static_cast<std::size_t>(end)] & kIsEnd) != 0;
    if (wasTraced && !isEnd) {
        RemoveEnd(end);
    }
    if (!wasTraced && isEnd) {
        AddEnd(end);
    }
    if (isEnd) {
        End& found = *FindEnd(end);
        Trace& trace = traces_[static_cast<std::size_t>(found.trace)];
        Follow(end, trace);
        found.count = trace.counts[0];
        found.forks = trace.counts.size() > 1;
        for (const std::int32_t pixel : trace.pixels) {
            if (!std::binary_search(takenBefore_.begin(), takenBefore_.end(), pixel)) {
                TouchTracesAround(pixel, end);
            }
        }
    }
    for (const std::int32_t pixel : takenBefore_) {
        if (owner_[static_cast<std::size_t>(pixel)] != end) {
            TouchTracesAround(pixel, end);
        }
    }
}

void BranchTraces::Release(std::int32_t end, const Trace& trace) {
    for (const std::int32_t pixel : trace.pixels) {
        if (owner_[static_cast<std::size_t>(pixel)] != end) {
            continue;
        }
        SetOwner(pixel, 0);
        takenBefore_.push_back(pixel);
        if (pixel != end && (state_[static_cast<std::size_t>(pixel)] & kIsTraced) != 0) {
            Touch(pixel);
        }
    }
    std::sort(takenBefore_.begin(), takenBefore_.end());
}

// The next pixel of a line has one thing around it: what lies ahead.
bool BranchTraces::GoesOn(std::int32_t pixel, std::int32_t end) const {
    if (!IsLine(pixel) || owner_[static_cast<std::size_t>(pixel)] >= end) {
        return false;
    }
    unsigned lines = 0;
    for (unsigned i = 0; i < 8; ++i) {
        lines |= (IsThere(pixel + kAround[i].dy * stride_ + kAround[i].dx, end) ? 1u : 0u) << i;
    }
    return kNeighbourGroups[lines] == 1;
}

// What a trace of an end before this one took is taken from it, and that trace made again later on.
void BranchTraces::Follow(std::int32_t end, Trace& trace) {
    trace.pixels.clear();
    trace.counts.assign(1, 0);
    stack_.assign(1, end);
    while (true) {
        const std::int32_t at = stack_.back();
        stack_.pop_back();
        if (owner_[static_cast<std::size_t>(at)] < end) {
            TouchTracesOf(at, end);
            SetOwner(at, end);
            trace.pixels.push_back(at);
        }
        ++trace.counts.back();
        const std::size_t before = stack_.size();
        for (const Step& step : kAround) {
            const std::int32_t near = at + step.dy * stride_ + step.dx;
            if (GoesOn(near, end)) {
                stack_.push_back(near);
            }
        }
        if (stack_.empty()) {
            return;
        }
        if (stack_.size() == before) {
            trace.counts.push_back(0);
        }
    }
}

BranchTraces::End* BranchTraces::FindEnd(std::int32_t end) {
    std::vector<End>& row = ends_[static_cast<std::size_t>(end / stride_ - 1)];
    const auto isBefore = [](const End& a, int x) { return a.x < x; };
    return &*std::lower_bound(row.begin(), row.end(), end % stride_ - 1, isBefore);
}

void BranchTraces::AddEnd(std::int32_t end) {
    if (unused_.empty()) {
        unused_.push_back(static_cast<std::int32_t>(traces_.size()));
        traces_.emplace_back();
    }
    std::vector<End>& row = ends_[static_cast<std::size_t>(end / stride_ - 1)];
    const int x = end % stride_ - 1;
    const auto isBefore = [](const End& a, int column) { return a.x < column; };
    row.insert(std::lower_bound(row.begin(), row.end(), x, isBefore), End{x, 0, unused_.back(), false});
    unused_.pop_back();
    state_[static_cast<std::size_t>(end)] |= kIsTraced;
}

void BranchTraces::RemoveEnd(std::int32_t end) {
    const End* found = FindEnd(end);
    std::vector<End>& row = ends_[static_cast<std::size_t>(end / stride_ - 1)];
    unused_.push_back(found->trace);
    row.erase(row.begin() + (found - row.data()));
    state_[static_cast<std::size_t>(end)] &= static_cast<std::uint8_t>(~kIsTraced);
}

// Counts go to consecutive numbers from the last end's downwards, so a fork moves all that come after it on by one end.
// What is left over when there are no more ends marks the map's first pixel.
MarkedBranches BranchTraces::MarkFound(int limitPx) {
    MarkedBranches marked;
    std::size_t next = found_.size();
    const auto count = [&](std::int32_t pixels) {
        if (next == 0) {
            marked.mapOrigin = marked.mapOrigin || pixels > limitPx;
            return;
        }
        --next;
        if (pixels > limitPx) {
            marked.ends.push_back(found_[next].at);
        }
    };
    for (std::size_t i = found_.size(); i-- > 0;) {
        const End& end = *found_[i].end;
        if (!end.forks) {
            count(end.count);
            continue;
        }
        const std::vector<std::int32_t>& counts = traces_[static_cast<std::size_t>(end.trace)].counts;
        std::for_each(counts.begin(), counts.end(), count);
    }
    return marked;
}

}  // namespace Korvane
