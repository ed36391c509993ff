#include "AnalysedLabels.h"

#include <functional>
#include <string_view>
#include <utility>

namespace Korvane {

namespace {

/// A copy of the labels would cost their memory once more; two images of one digest do not occur in practice.
std::size_t DigestOf(const qvox::LabelImage& labels) {
    if (labels.VoxelCount() == 0) return 0;
    const auto* const bytes = reinterpret_cast<const char*>(&labels[0]);
    return std::hash<std::string_view>()({bytes, labels.VoxelCount() * sizeof(labels[0])});
}

}  // namespace

void AnalysedLabels::Remember(std::size_t position, const qvox::LabelImage& labels, LabelOrigin origin) {
    if (made_.size() <= position) made_.resize(position + 1);
    made_[position] = Made{DigestOf(labels), std::move(origin)};
}

void AnalysedLabels::RemovePosition(std::size_t position) {
    if (position < made_.size()) made_.erase(made_.begin() + static_cast<std::ptrdiff_t>(position));
}

bool AnalysedLabels::AreAsMade(std::size_t position, const qvox::LabelImage& labels) const {
    return position < made_.size() && made_[position] && made_[position]->digest == DigestOf(labels);
}

LabelOrigin AnalysedLabels::OriginOf(std::size_t position, const qvox::LabelImage& labels) const {
    return AreAsMade(position, labels) ? made_[position]->origin : LabelOrigin();
}

}  // namespace Korvane
