#include "PositionImages.h"

#include <algorithm>
#include <new>
#include <utility>

#include "Assert.h"
#include "ImageLoading.h"
#include "PathText.h"
#include "PositionStore.h"
#include "ToolkitError.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

[[noreturn]] void RefuseChanged(const std::string& path) {
    throw qvox::ToolkitError("The image '" + path + "' has changed since it was opened.");
}

}  // namespace

PositionImages::Entry& PositionImages::At(std::size_t index) const {
    KORVANE_ASSERT(index < entries_.size());
    return *entries_[index];
}

void PositionImages::Clear() {
    shownIntensities_.reset();
    shownLabels_.reset();
    shown_ = 0;
    entries_.clear();
}

void PositionImages::Append(const std::string& path) {
    auto entry = std::make_unique<Entry>();
    entry->mark = MarkOf(path).value_or(FileMark{path});
    const qvox::ImageFileInfo info = qvox::InspectImageFile(path);
    if (!IsInputType(info.type)) RefuseInputType(path, info);
    entry->id = nextId_++;
    entry->path = path;
    entry->sizeX = info.sizeX;
    entry->sizeY = info.sizeY;
    entry->sizeZ = info.sizeZ;
    entry->resolution = info.resolution;
    entries_.push_back(std::move(entry));
}

void PositionImages::Append(Position position) {
    auto entry = std::make_unique<Entry>();
    const qvox::VoxelImage<float>& image = position.image;
    entry->id = nextId_++;
    entry->mark.path = PathBytes(position.path);
    entry->sizeX = image.SizeX();
    entry->sizeY = image.SizeY();
    entry->sizeZ = image.SizeZ();
    entry->resolution = position.labels.Resolution();
    entry->offset = position.labels.Offset();
    entry->description = position.labels.Metadata();
    entry->labels = PackedLabels(position.labels);
    entry->wasRead = true;
    entry->stored = std::make_shared<const StoredImage>(std::move(position.image));
    entries_.push_back(std::move(entry));
}

void PositionImages::Remove(std::size_t index) {
    if (Shows(index)) {
        shownIntensities_.reset();
        shownLabels_.reset();
    }
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
    if (shown_ > index) --shown_;
}

std::optional<std::size_t> PositionImages::IndexOf(std::uint64_t id) const {
    // They ascend: positions are only appended and removed.
    const auto found = std::lower_bound(entries_.begin(), entries_.end(), id,
                                        [](const auto& entry, std::uint64_t wanted) { return entry->id < wanted; });
    if (found == entries_.end() || (*found)->id != id) return std::nullopt;
    return static_cast<std::size_t>(found - entries_.begin());
}

bool PositionImages::IsInMemory(std::size_t index) const {
    const Entry& entry = At(index);
    return entry.stored != nullptr || !entry.intensities.expired();
}

/// Of the first reading everything is noted that later ones must agree with.
void PositionImages::Check(Entry& entry, const StoredImage& stored) const {
    stored.Visit([&](const auto& image) {
        const bool same = image.SizeX() == entry.sizeX && image.SizeY() == entry.sizeY &&
                          image.SizeZ() == entry.sizeZ && image.Resolution() == entry.resolution;
        if (!same) RefuseChanged(entry.path);
        // Read, but neither kept nor noted: a failure came between.
        if (entry.wasRead && entry.checksum) return;
        const std::optional<FileMark> mark = MarkOf(entry.path);
        if (!mark || !(*mark == entry.mark)) RefuseChanged(entry.path);
        entry.offset = image.Offset();
        entry.description = image.Metadata();
        entry.wasRead = true;
    });
    const std::uint32_t checksum = entry.checksum ? stored.Checksum() : 0;
    if (entry.checksum && *entry.checksum != checksum) RefuseChanged(entry.path);
}

void PositionImages::Take(std::size_t index, std::shared_ptr<const StoredImage> stored) {
    if (At(index).stored) return;
    Check(At(index), *stored);
    Keep(index, std::move(stored));
}

void PositionImages::Read(std::size_t index) {
    Entry& entry = At(index);
    if (!entry.wasRead) Take(index, std::make_shared<const StoredImage>(LoadStoredImage(entry.path)));
}

/// Far from the shown position images are dropped first.
void PositionImages::Keep(std::size_t index, std::shared_ptr<const StoredImage> stored) const {
    At(index).stored = std::move(stored);
    std::size_t bytes = 0;
    for (const auto& entry : entries_) bytes += entry->stored && !entry->path.empty() ? entry->stored->Bytes() : 0;
    const auto drop = [&](std::size_t i) {
        Entry& entry = At(i);
        if (bytes <= budgetBytes_ || entry.stored == nullptr || entry.path.empty()) return;
        if (!entry.checksum) entry.checksum = entry.stored->Checksum();
        bytes -= entry.stored->Bytes();
        entry.stored.reset();
    };
    std::size_t before = 0;
    for (std::size_t after = Count(); bytes > budgetBytes_ && after > before;) {
        // `after` is one past the last that may be kept, `before` the first.
        const bool isFarBefore = before < shown_ && shown_ - before > (after > shown_ ? after - 1 - shown_ : 0);
        drop(isFarBefore ? before++ : --after);
    }
}

std::shared_ptr<const StoredImage> PositionImages::Stored(Entry& entry) const {
    if (entry.stored) return entry.stored;
    auto stored = std::make_shared<const StoredImage>(LoadStoredImage(entry.path));
    Check(entry, *stored);
    return stored;
}

PositionImages::Intensities PositionImages::IntensitiesOf(std::size_t index) const {
    Entry& entry = At(index);
    Intensities intensities = entry.intensities.lock();
    if (intensities) return intensities;
    const std::shared_ptr<const StoredImage> stored = Stored(entry);
    // First: whatever fails then, the image is in memory or its checksum is known.
    Keep(index, stored);
    intensities = ShareIntensities(stored, RunOnOpenCVThreads);
    RequireWorkingMemory();
    entry.intensities = intensities;
    return intensities;
}

std::shared_ptr<qvox::LabelImage> PositionImages::Unpacked(const Entry& entry) const {
    auto labels = std::make_shared<qvox::LabelImage>(entry.offset, entry.resolution);
    labels->SetMetadata(entry.description);
    labels->Resize(entry.sizeX, entry.sizeY, entry.sizeZ);
    entry.labels.UnpackInto(*labels, RunOnOpenCVThreads);
    return labels;
}

PositionImages::Labels PositionImages::LabelsOf(std::size_t index) const {
    if (Shows(index)) return shownLabels_;
    return Unpacked(At(index));
}

std::size_t PositionImages::CountLabels(std::size_t index) const {
    return Shows(index) ? Korvane::CountLabels(*shownLabels_) : At(index).labels.CountLabels();
}

void PositionImages::Show(std::size_t index) {
    if (Shows(index)) return;
    Intensities intensities = IntensitiesOf(index);
    Entry& entry = At(index);
    // Labels that nobody else holds give their memory to the next: the system would clear as much anew.
    const bool isReused = shownLabels_ != nullptr && shownLabels_.use_count() == 1 &&
                          shownLabels_->VoxelCount() == VoxelCount(index);
    std::shared_ptr<qvox::LabelImage> labels = isReused ? nullptr : Unpacked(entry);
    qvox::Description description = entry.description;
    if (shownLabels_) At(shown_).labels = PackedLabels(*shownLabels_);
    // Nothing fails from here on.
    if (isReused) {
        labels = std::move(shownLabels_);
        labels->Resize(entry.sizeX, entry.sizeY, entry.sizeZ);
        labels->SetOffset(entry.offset);
        labels->SetResolution(entry.resolution);
        labels->SetMetadata(std::move(description));
        entry.labels.UnpackInto(*labels, RunOnOpenCVThreads);
    }
    shown_ = index;
    shownIntensities_ = std::move(intensities);
    shownLabels_ = std::move(labels);
}

void PositionImages::SetLabels(std::size_t index, qvox::LabelImage& labels) {
    KORVANE_ASSERT(labels.VoxelCount() == VoxelCount(index));
    if (!Shows(index)) {
        At(index).labels = PackedLabels(labels);
        return;
    }
    labels.CopyPropertiesFrom(*shownLabels_);
    shownLabels_->Swap(labels);
}

void PositionImages::ClearLabels(std::size_t index) {
    if (Shows(index)) {
        shownLabels_->Zero();
    } else {
        At(index).labels = PackedLabels();
    }
}

}  // namespace Korvane
