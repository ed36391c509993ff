#include "ObjectMeasuring.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Korvane {

void ObjectMeasuring::Reset(std::size_t positions) {
    versions_.assign(positions, 1);
    measured_.assign(positions, 0);
    ++generation_;
    if (!running_.valid()) copies_.reset();
}

void ObjectMeasuring::ChangedAll() {
    for (std::uint64_t& version : versions_) ++version;
}

std::optional<std::size_t> ObjectMeasuring::Unmeasured(ListedPositions which, std::size_t current) const {
    if (current < versions_.size() && measured_[current] != versions_[current]) return current;
    if (which == ListedPositions::kCurrent) return std::nullopt;
    for (std::size_t i = 0; i < versions_.size(); ++i) {
        if (measured_[i] != versions_[i]) return i;
    }
    return std::nullopt;
}

std::optional<std::size_t> ObjectMeasuring::Next(ListedPositions which, std::size_t current) const {
    return running_.valid() ? std::nullopt : Unmeasured(which, current);
}

void ObjectMeasuring::Begin(std::size_t position, const Image& image, const qvox::LabelImage& labels) {
    const bool isOther = !copies_ || position_ != position || copiesGeneration_ != generation_;
    if (!isOther && version_ == versions_[position]) return;
    if (isOther) {
        copies_.reset();
        auto copies = std::make_unique<Copies>();
        copies->labels.CopyPropertiesFrom(labels);
        copies->labels.Resize(labels.SizeX(), labels.SizeY(), labels.SizeZ());
        copies_ = std::move(copies);
        position_ = position;
        copiesGeneration_ = generation_;
    }
    copies_->image = image;
    version_ = versions_[position];
    copied_ = 0;
}

void ObjectMeasuring::Copy(std::size_t position, const Image& image, const qvox::LabelImage& labels,
                           std::uint64_t voxels) {
    Begin(position, image, labels);
    const std::uint64_t end = std::min(labels.VoxelCount(), copied_ + voxels);
    std::copy(labels.begin() + copied_, labels.begin() + end, copies_->labels.begin() + copied_);
    copied_ = end;
    if (copied_ < labels.VoxelCount()) return;
    Measure measure = [](const auto& copy, const auto& copiedLabels) { return MeasurePosition(copy, copiedLabels); };
    if (measureOf_) measure = measureOf_(position);
    running_ = std::async(std::launch::async, [copies = copies_.get(), measure = std::move(measure)] {
        return measure(*copies->image, copies->labels);
    });
}

std::optional<ObjectMeasuring::Measured> ObjectMeasuring::Take() {
    if (!running_.valid() || running_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        return std::nullopt;
    }
    Measured measured{position_, running_.get()};
    copies_->image.reset();
    const bool isOfOthers = copiesGeneration_ != generation_;
    if (isOfOthers || version_ != versions_[position_]) return std::nullopt;
    measured_[position_] = version_;
    return measured;
}

}  // namespace Korvane
