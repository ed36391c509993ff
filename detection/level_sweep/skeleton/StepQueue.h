#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The blocks to be recomputed, by the step of thinning they wait for. Each waits for one step at most: the earliest
/// that it was queued for.
class StepQueue {
public:
    explicit StepQueue(std::size_t blocks) : queuedFor_(blocks) {}

    /// Never queues a block from now on.
    void Exclude(std::int32_t block) { StepOf(block) = kNever; }

    /// Whether the block was not queued for this step or an earlier one already.
    bool Add(std::int32_t block, int step) {
        std::int32_t& queuedFor = StepOf(block);
        if (queuedFor != 0 && queuedFor <= step) {
            return false;
        }
        queuedFor = step;
        if (steps_.size() <= static_cast<std::size_t>(step)) {
            steps_.resize(static_cast<std::size_t>(step) + 1);
        }
        steps_[static_cast<std::size_t>(step)].push_back(block);
        return true;
    }

    bool IsQueuedFor(std::int32_t block, int step) const { return queuedFor_[static_cast<std::size_t>(block)] == step; }

    /// Calls visit(block, step) for every queued block in the order of steps, each of which it takes off the queue
    /// first. `visit` may queue blocks for later steps.
    template <typename Visit>
    void TakeAll(Visit visit) {
        for (int step = 1; step < static_cast<int>(steps_.size()); ++step) {
            now_.swap(steps_[static_cast<std::size_t>(step)]);
            for (const std::int32_t block : now_) {
                if (IsQueuedFor(block, step)) {
                    StepOf(block) = 0;
                    visit(block, step);
                }
            }
            now_.clear();
        }
    }

    bool IsWaiting(std::int32_t block) const { return queuedFor_[static_cast<std::size_t>(block)] > 0; }

private:
    static constexpr std::int32_t kNever = -1;
    std::int32_t& StepOf(std::int32_t block) { return queuedFor_[static_cast<std::size_t>(block)]; }

    ZeroedArray<std::int32_t> queuedFor_;  // the step a block waits for, 0 if for none, or kNever
    // Per step: blocks that wait for it, and some that were queued for an earlier one since.
    std::vector<std::vector<std::int32_t>> steps_;
    std::vector<std::int32_t> now_;
};

}  // namespace level_sweep
