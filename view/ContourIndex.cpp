#include "ContourIndex.h"

namespace Korvane {

void ContourIndex::Use(const qvox::LabelImage& labels, std::uint64_t version) {
    const std::uint64_t blocksPerRow = (labels.SizeX() + kBits - 1) / kBits;
    const std::uint64_t blocks = blocksPerRow * labels.SizeY();
    if (labels_ == &labels && version_ == version && blocksPerRow_ == blocksPerRow && bits_.size() == blocks) return;
    labels_ = &labels;
    version_ = version;
    blocksPerRow_ = blocksPerRow;
    // Bits that are not known are never read.
    if (bits_.size() != blocks) bits_.resize(blocks);
    isKnown_.assign(blocks, 0);
}

void ContourIndex::Look(std::uint64_t y, std::uint64_t block) {
    const std::uint64_t first = block * kBits;
    ContourRow row(*labels_, first, std::min(kBits, labels_->SizeX() - first));
    std::uint64_t bits = 0;
    row.ForEach(y, [&](std::uint64_t x, std::uint64_t, std::uint16_t) { bits |= std::uint64_t{1} << (x - first); });
    bits_[y * blocksPerRow_ + block] = bits;
    isKnown_[y * blocksPerRow_ + block] = 1;
}

}  // namespace Korvane
