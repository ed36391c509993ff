#include "NetworkDistance.h"

#include <algorithm>

namespace Korvane {

void NetworkDistance::Update() {
    set_.Update([&](std::int32_t word, BitGrid::Word, int largestBefore) {
        const int largest = set_.LastStep(word);
        if (largest != largestBefore && largest != 0) {
            if (Largest() < largest) {
                wordsByLargest_.resize(static_cast<std::size_t>(largest) + 1);
            }
            wordsByLargest_[static_cast<std::size_t>(largest)].push_back(word);
        }
    });
}

const std::vector<std::int32_t>& NetworkDistance::WordsWithLargest(int distance) {
    std::vector<std::int32_t>& words = wordsByLargest_[static_cast<std::size_t>(distance)];
    const auto isStale = [&](std::int32_t word) { return set_.LastStep(word) != distance; };
    words.erase(std::remove_if(words.begin(), words.end(), isStale), words.end());
    return words;
}

int NetworkDistance::LargestIn(std::int32_t word, BitGrid::Word pixels, BitGrid::Word all) const {
    int largest = set_.LastStep(word);
    while (pixels != all && largest > 0 && (set_.LeftAfter(word, largest - 1) & pixels) == 0) {
        --largest;
    }
    return largest;
}

}  // namespace Korvane
