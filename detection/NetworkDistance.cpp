#include "NetworkDistance.h"

#include <algorithm>

namespace Korvane {

NetworkDistance::NetworkDistance(int width, int height)
    : stride_(width + 2),
      distances_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height + 2)),
      wordsPerRow_((width + 63) / 64),
      width_(width),
      largestInWord_(static_cast<std::size_t>(wordsPerRow_) * static_cast<std::size_t>(height)) {
    for (int x = -1; x <= width; ++x) {
        distances_[Index(x, -1)] = kBeyond;
        distances_[Index(x, height)] = kBeyond;
    }
    for (int y = 0; y < height; ++y) {
        distances_[Index(-1, y)] = kBeyond;
        distances_[Index(width, y)] = kBeyond;
    }
}

std::array<std::int32_t, 4> NetworkDistance::Neighbours(std::int32_t pixel) const {
    const auto stride = static_cast<std::int32_t>(stride_);
    return {pixel - stride, pixel - 1, pixel + 1, pixel + stride};
}

void NetworkDistance::Queue(std::vector<std::vector<std::int32_t>>& queue, std::int32_t pixel, std::size_t distance) {
    if (queue.size() <= distance) {
        queue.resize(distance + 1);
    }
    queue[distance].push_back(pixel);
}

void NetworkDistance::Add(int x, int y) { Withdraw(static_cast<std::int32_t>(Index(x, y))); }

void NetworkDistance::Remove(int x, int y) {
    const auto pixel = static_cast<std::int32_t>(Index(x, y));
    Set(pixel, 0);
    for (const std::int32_t near : Neighbours(pixel)) {
        Queue(toSettle_, near, 1);
    }
}

void NetworkDistance::Set(std::int32_t pixel, Distance distance) {
    distances_[static_cast<std::size_t>(pixel)] = distance;
    const auto stride = static_cast<std::int32_t>(stride_);
    const std::int32_t row = pixel / stride;
    const std::int32_t column = pixel - row * stride;
    const std::int32_t word = (row - 1) * wordsPerRow_ + (column - 1) / 64;
    Distance& largest = largestInWord_[static_cast<std::size_t>(word)];
    if (largest != kUnknown) {
        changedWords_.push_back({word, largest});
        largest = kUnknown;
    }
}

void NetworkDistance::Withdraw(std::int32_t pixel) {
    const auto next = static_cast<Distance>(distances_[static_cast<std::size_t>(pixel)] + 1);
    Set(pixel, kUnknown);
    withdrawn_.push_back(pixel);
    for (const std::int32_t near : Neighbours(pixel)) {
        if (distances_[static_cast<std::size_t>(near)] == next) {
            Queue(toCheck_, near, next);
        }
    }
}

void NetworkDistance::WithdrawUnsupported() {
    for (std::size_t distance = 1; distance < toCheck_.size(); ++distance) {
        for (std::size_t i = 0; i < toCheck_[distance].size(); ++i) {
            const std::int32_t pixel = toCheck_[distance][i];
            if (distances_[static_cast<std::size_t>(pixel)] != distance) {
                continue;
            }
            bool supported = false;
            for (const std::int32_t near : Neighbours(pixel)) {
                supported = supported || distances_[static_cast<std::size_t>(near)] + 1u == distance;
            }
            if (!supported) {
                Withdraw(pixel);
            }
        }
        toCheck_[distance].clear();
    }
}

void NetworkDistance::Update() {
    WithdrawUnsupported();
    for (const std::int32_t pixel : withdrawn_) {
        Distance nearest = kUnknown;
        for (const std::int32_t near : Neighbours(pixel)) {
            const Distance distance = distances_[static_cast<std::size_t>(near)];
            nearest = IsKnown(distance) ? std::min(nearest, distance) : nearest;
        }
        if (nearest != kUnknown) {
            Queue(toSettle_, pixel, nearest + 1u);
        }
    }
    withdrawn_.clear();
    Settle();
    UpdateLargest();
}

void NetworkDistance::Settle() {
    for (std::size_t distance = 1; distance < toSettle_.size(); ++distance) {
        for (std::size_t i = 0; i < toSettle_[distance].size(); ++i) {
            const std::int32_t pixel = toSettle_[distance][i];
            const Distance current = distances_[static_cast<std::size_t>(pixel)];
            if (current <= distance || current == kBeyond) {
                continue;
            }
            Set(pixel, static_cast<Distance>(distance));
            for (const std::int32_t near : Neighbours(pixel)) {
                const Distance beside = distances_[static_cast<std::size_t>(near)];
                if (beside > distance + 1 && beside != kBeyond) {
                    Queue(toSettle_, near, distance + 1);
                }
            }
        }
        toSettle_[distance].clear();
    }
}

void NetworkDistance::UpdateLargest() {
    for (const ChangedWord& changed : changedWords_) {
        const int y = changed.word / wordsPerRow_;
        const int x0 = (changed.word - y * wordsPerRow_) * 64;
        const Distance* first = &distances_[Index(x0, y)];
        const Distance largest = *std::max_element(first, first + std::min(width_ - x0, 64));
        largestInWord_[static_cast<std::size_t>(changed.word)] = largest;
        if (largest != changed.largestBefore && largest != 0) {
            Queue(wordsByLargest_, changed.word, largest);
        }
    }
    changedWords_.clear();
}

const std::vector<std::int32_t>& NetworkDistance::WordsWithLargest(int distance) {
    std::vector<std::int32_t>& words = wordsByLargest_[static_cast<std::size_t>(distance)];
    const auto isStale = [&](std::int32_t word) { return largestInWord_[static_cast<std::size_t>(word)] != distance; };
    words.erase(std::remove_if(words.begin(), words.end(), isStale), words.end());
    return words;
}

int NetworkDistance::LargestIn(std::int32_t word, BitGrid::Word pixels, BitGrid::Word all) const {
    const Distance known = largestInWord_[static_cast<std::size_t>(word)];
    if (pixels == all && known != kUnknown) {
        return known;
    }
    const int y = word / wordsPerRow_;
    const Distance* row = &distances_[Index((word - y * wordsPerRow_) * 64, y)];
    Distance largest = 0;
    for (BitGrid::Word left = pixels; left != 0; left &= left - 1) {
        largest = std::max(largest, row[BitGrid::Lowest(left)]);
    }
    return largest;
}

}  // namespace Korvane
