#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PackedLabels.h"
#include "Position.h"
#include "RecoveryJournal.h"
#include "StoredImage.h"
#include "files/ImageFile.h"

namespace Korvane {

/// Images and labels of all positions, in little memory. One position is shown: its intensities and labels lie there as
/// they are. Of every other one the labels are packed as runs, and the image waits in the voxels of its file as far as
/// a budget allows, or is read again; a file whose image is no longer the one that was opened is refused. Who needs the
/// intensities or labels of a position gets them for as long as they are held.
///
/// For the thread of the window; files can be read by another one, see Take.
class PositionImages {
public:
    using Intensities = std::shared_ptr<const qvox::VoxelImage<float>>;
    using Labels = std::shared_ptr<const qvox::LabelImage>;

    static constexpr std::size_t kBudgetBytes = std::size_t{512} << 20;

    /// `budgetBytes`: images that are kept in the voxels of their files, together.
    explicit PositionImages(std::size_t budgetBytes = kBudgetBytes) : budgetBytes_(budgetBytes) {}

    std::size_t Count() const { return entries_.size(); }
    void Clear();

    /// Appends a position with labels of 0, of which only the head of its file was read. Throws as InspectImageFile,
    /// and UnsupportedPixelType.
    void Append(const std::string& path);
    /// Appends one that has no file: its image stays in memory.
    void Append(Position position);
    /// If it was the shown one, none is.
    void Remove(std::size_t index);

    // Known without reading voxels.

    std::uint64_t SizeX(std::size_t index) const { return entries_[index]->sizeX; }
    std::uint64_t SizeY(std::size_t index) const { return entries_[index]->sizeY; }
    std::uint64_t SizeZ(std::size_t index) const { return entries_[index]->sizeZ; }
    std::uint64_t VoxelCount(std::size_t index) const { return SizeX(index) * SizeY(index) * SizeZ(index); }
    const qvox::PixelResolution& Resolution(std::size_t index) const { return entries_[index]->resolution; }
    /// The file as it was when it was appended.
    const FileMark& Mark(std::size_t index) const { return entries_[index]->mark; }

    // Reading.

    /// A number that no other position of this object has or had.
    std::uint64_t Id(std::size_t index) const { return entries_[index]->id; }
    std::optional<std::size_t> IndexOf(std::uint64_t id) const;
    /// Whether the file was read at least once, and so can be.
    bool WasRead(std::size_t index) const { return entries_[index]->wasRead; }
    /// Whether the image is in memory, in some form.
    bool IsInMemory(std::size_t index) const;
    /// The image, if it is in memory in the voxels of its file; else null.
    std::shared_ptr<const StoredImage> KeptOf(std::size_t index) const { return entries_[index]->stored; }
    /// What a file was read into, by whatever thread. Throws ToolkitError when it is not the image that was opened. It
    /// is kept if the budget allows.
    void Take(std::size_t index, std::shared_ptr<const StoredImage> stored);
    /// Reads a file that was not read yet. Throws as LoadStoredImage and Take.
    void Read(std::size_t index);
    /// The file cannot be read and the position stays for its labels: it counts as read.
    void GiveUp(std::size_t index) { entries_[index]->wasRead = true; }

    // The position that is shown.

    /// Makes a position the shown one and packs the labels of the former. Throws as Image, std::bad_alloc; nothing is
    /// changed then.
    void Show(std::size_t index);
    bool Shows(std::size_t index) const { return shownIntensities_ != nullptr && shown_ == index; }
    const qvox::VoxelImage<float>& ShownIntensities() const { return *shownIntensities_; }
    qvox::LabelImage& ShownLabels() { return *shownLabels_; }
    const qvox::LabelImage& ShownLabels() const { return *shownLabels_; }

    // Any position.

    /// Throws ToolkitError when the file is gone, unreadable or another image by now, std::bad_alloc.
    Intensities IntensitiesOf(std::size_t index) const;
    /// Of the shown position these are its labels themselves, of others a copy that does not follow changes. Their
    /// offset and description are the image's once that was read. Throws std::bad_alloc.
    Labels LabelsOf(std::size_t index) const;
    std::size_t CountLabels(std::size_t index) const;

    /// Gives a position other labels of its sizes; resolution, offset and description stay. The image is left with what
    /// the position had, or with anything where that one is not shown.
    void SetLabels(std::size_t index, qvox::LabelImage& labels);
    void ClearLabels(std::size_t index);

private:
    struct Entry {
        std::uint64_t id = 0;
        std::string path;  ///< empty where there is no file
        FileMark mark;
        std::uint64_t sizeX = 0;
        std::uint64_t sizeY = 0;
        std::uint64_t sizeZ = 0;
        qvox::PixelResolution resolution;
        qvox::VoxelOffset offset;
        qvox::Description description;
        bool wasRead = false;
        std::optional<std::uint32_t> checksum;      ///< known before the image is dropped for the first time
        std::shared_ptr<const StoredImage> stored;  ///< while it is kept
        std::weak_ptr<const qvox::VoxelImage<float>> intensities;
        PackedLabels labels;  ///< out of date while the position is shown
    };

    Entry& At(std::size_t index) const;
    std::shared_ptr<qvox::LabelImage> Unpacked(const Entry& entry) const;
    std::shared_ptr<const StoredImage> Stored(Entry& entry) const;
    void Check(Entry& entry, const StoredImage& stored) const;
    void Keep(std::size_t index, std::shared_ptr<const StoredImage> stored) const;

    // By pointer: what a position holds does not change when its image is dropped or read again, so that can happen in
    // constant ones.
    std::vector<std::unique_ptr<Entry>> entries_;
    std::uint64_t nextId_ = 0;
    std::size_t budgetBytes_;
    std::size_t shown_ = 0;
    Intensities shownIntensities_;
    std::shared_ptr<qvox::LabelImage> shownLabels_;
};

}  // namespace Korvane
