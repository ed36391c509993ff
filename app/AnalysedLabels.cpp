#include "AnalysedLabels.h"

#include <functional>
#include <string_view>

namespace Korvane {

namespace {

/// A copy of the labels would cost their memory once more; two images of one digest do not occur in practice.
std::size_t DigestOf(const qvox::LabelImage& labels) {
    if (labels.VoxelCount() == 0) return 0;
    const auto* const bytes = reinterpret_cast<const char*>(&labels[0]);
    return std::hash<std::string_view>()({bytes, labels.VoxelCount() * sizeof(labels[0])});
}

}  // namespace

void AnalysedLabels::Remember(std::size_t position, const qvox::LabelImage& labels) {
    if (digests_.size() <= position) digests_.resize(position + 1);
    digests_[position] = DigestOf(labels);
}

void AnalysedLabels::RemovePosition(std::size_t position) {
    if (position < digests_.size()) digests_.erase(digests_.begin() + static_cast<std::ptrdiff_t>(position));
}

bool AnalysedLabels::AreAsMade(std::size_t position, const qvox::LabelImage& labels) const {
    return position < digests_.size() && digests_[position] == DigestOf(labels);
}

}  // namespace Korvane
