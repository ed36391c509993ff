#include "LabelHistory.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Korvane {

bool HistoryStep::Holds(std::size_t position) const {
    return std::any_of(parts.begin(), parts.end(), [=](const Part& part) { return part.position == position; });
}

std::size_t HistoryStep::Bytes() const {
    std::size_t bytes = sizeof(HistoryStep) + what.capacity() + parts.capacity() * sizeof(Part);
    for (const Part& part : parts) bytes += part.changes.Bytes();
    return bytes;
}

void LabelHistory::Open(std::string what) {
    Close();
    open_ = std::move(what);
}

void LabelHistory::Add(std::size_t position, LabelChanges changes, ChangedLayer layer) {
    if (changes.Empty()) return;
    for (const HistoryStep& step : undone_) bytes_ -= step.Bytes();
    undone_.clear();
    if (tooLarge_) return;
    const bool alone = !open_.has_value();
    if (alone) Open("change");
    if (!begun_) {
        done_.push_back({*open_, {}});
        begun_ = true;
        bytes_ += done_.back().Bytes();
    }
    HistoryStep& step = done_.back();
    bytes_ -= step.Bytes();
    const bool goesOn =
        !step.parts.empty() && step.parts.back().position == position && step.parts.back().layer == layer;
    if (goesOn) {
        step.parts.back().changes.Append(changes);
    } else {
        step.parts.push_back({position, std::move(changes), layer});
    }
    bytes_ += step.Bytes();
    DropOldest();
    if (alone) Close();
}

void LabelHistory::DropOldest() {
    while (bytes_ > mostBytes_ && !done_.empty()) {
        if (begun_ && done_.size() == 1) {
            begun_ = false;
            tooLarge_ = true;
        }
        bytes_ -= done_.front().Bytes();
        done_.pop_front();
        dropped_ = true;
    }
}

void LabelHistory::Close() {
    open_.reset();
    begun_ = false;
    tooLarge_ = false;
}

const HistoryStep* LabelHistory::Undo() {
    Close();
    if (done_.empty()) return nullptr;
    undone_.push_back(std::move(done_.back()));
    done_.pop_back();
    return &undone_.back();
}

const HistoryStep* LabelHistory::Redo() {
    Close();
    if (undone_.empty()) return nullptr;
    done_.push_back(std::move(undone_.back()));
    undone_.pop_back();
    return &done_.back();
}

void LabelHistory::RemovePosition(std::size_t position) {
    Close();
    const auto forget = [=](HistoryStep& step) {
        const auto isGone = [=](const HistoryStep::Part& part) { return part.position == position; };
        step.parts.erase(std::remove_if(step.parts.begin(), step.parts.end(), isGone), step.parts.end());
        for (HistoryStep::Part& part : step.parts) part.position -= part.position > position ? 1 : 0;
    };
    const auto isEmpty = [](const HistoryStep& step) { return step.parts.empty(); };
    std::for_each(done_.begin(), done_.end(), forget);
    std::for_each(undone_.begin(), undone_.end(), forget);
    done_.erase(std::remove_if(done_.begin(), done_.end(), isEmpty), done_.end());
    undone_.erase(std::remove_if(undone_.begin(), undone_.end(), isEmpty), undone_.end());
    const auto add = [](std::size_t bytes, const HistoryStep& step) { return bytes + step.Bytes(); };
    bytes_ = std::accumulate(undone_.begin(), undone_.end(),
                             std::accumulate(done_.begin(), done_.end(), std::size_t{0}, add), add);
}

void LabelHistory::Clear() {
    Close();
    done_.clear();
    undone_.clear();
    dropped_ = false;
    bytes_ = 0;
}

}  // namespace Korvane
