#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "Assert.h"
#include "PixelResolution.h"
#include "ToolkitError.h"

namespace qvox {

/// One colour voxel: red, green, blue, 8 bits each.
struct Rgb8 {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
};
inline bool operator==(const Rgb8& a, const Rgb8& b) { return a.r == b.r && a.g == b.g && a.b == b.b; }
inline bool operator!=(const Rgb8& a, const Rgb8& b) { return !(a == b); }

/// Position of the first voxel in micrometres; carried along, never used by the analysis.
struct VoxelOffset {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
};
inline bool operator==(const VoxelOffset& a, const VoxelOffset& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

/// Text values by text key, as a file carried them; copied along, never interpreted.
using Description = std::map<std::string, std::string>;

template <typename T>
class BorrowedImage;

/// A dense raster of voxels of one type, stored row by row: x (column) fastest, then y (row), then z (plane),
/// with the origin at the top left. It owns its voxels; copying copies them.
/// An image whose sizes are all 0 is empty. Moving leaves the source empty.
template <typename T>
class VoxelImage {
public:
    using Voxel = T;

    explicit VoxelImage(VoxelOffset offset = {}, PixelResolution resolution = {})
        : offset_(offset), resolution_(resolution) {}

    VoxelImage(const VoxelImage& other) : VoxelImage(other.offset_, other.resolution_) {
        description_ = other.description_;
        Resize(other.sizeX_, other.sizeY_, other.sizeZ_);
        std::copy(other.begin(), other.end(), begin());
    }

    VoxelImage(VoxelImage&& other) noexcept { Swap(other); }

    VoxelImage& operator=(const VoxelImage& other) {
        if (this != &other) {
            VoxelImage copy(other);
            Swap(copy);
        }
        return *this;
    }

    VoxelImage& operator=(VoxelImage&& other) noexcept {
        VoxelImage taken(std::move(other));
        Swap(taken);
        return *this;
    }

    ~VoxelImage() = default;

    void Swap(VoxelImage& other) noexcept {
        std::swap(sizeX_, other.sizeX_);
        std::swap(sizeY_, other.sizeY_);
        std::swap(sizeZ_, other.sizeZ_);
        std::swap(voxels_, other.voxels_);
        std::swap(offset_, other.offset_);
        std::swap(resolution_, other.resolution_);
        description_.swap(other.description_);
    }

    /// Gives the image these sizes; the voxels are undefined afterwards. A buffer of the same voxel count is reused.
    /// Throws std::bad_alloc, also when the product of the sizes does not fit in memory at all; the image then
    /// keeps what it had.
    void Resize(std::uint64_t x, std::uint64_t y, std::uint64_t z) {
        const std::uint64_t count = CheckedCount(x, y, z);
        if (count != VoxelCount()) {
            voxels_ = count == 0 ? Voxels() : Voxels(new T[count]);
        }
        sizeX_ = x;
        sizeY_ = y;
        sizeZ_ = z;
    }

    /// Sets every voxel to zero (false, black).
    void Zero() { std::fill(begin(), end(), T{}); }

    /// Frees the voxels and makes the image empty; offset, resolution and description stay.
    void Release() {
        voxels_.reset();
        sizeX_ = sizeY_ = sizeZ_ = 0;
    }

    std::uint64_t SizeX() const { return sizeX_; }
    std::uint64_t SizeY() const { return sizeY_; }
    std::uint64_t SizeZ() const { return sizeZ_; }
    std::uint64_t VoxelCount() const { return sizeX_ * sizeY_ * sizeZ_; }
    bool Empty() const { return VoxelCount() == 0; }

    template <typename U>
    bool SameSizes(const VoxelImage<U>& other) const {
        return sizeX_ == other.SizeX() && sizeY_ == other.SizeY() && sizeZ_ == other.SizeZ();
    }

    /// Linear index of (x, y, z), and back.
    std::uint64_t Index(std::uint64_t x, std::uint64_t y, std::uint64_t z = 0) const {
        return (z * sizeY_ + y) * sizeX_ + x;
    }
    std::array<std::uint64_t, 3> Coordinates(std::uint64_t index) const {
        return {index % sizeX_, index / sizeX_ % sizeY_, index / (sizeX_ * sizeY_)};
    }

    T& operator[](std::uint64_t index) { return voxels_[Checked(index)]; }
    const T& operator[](std::uint64_t index) const { return voxels_[Checked(index)]; }
    T& operator()(std::uint64_t x, std::uint64_t y, std::uint64_t z = 0) { return voxels_[CheckedIndex(x, y, z)]; }
    const T& operator()(std::uint64_t x, std::uint64_t y, std::uint64_t z = 0) const {
        return voxels_[CheckedIndex(x, y, z)];
    }

    /// First voxel and one past the last; both null for an empty image.
    T* begin() { return voxels_.get(); }
    T* end() { return voxels_.get() + VoxelCount(); }
    const T* begin() const { return voxels_.get(); }
    const T* end() const { return voxels_.get() + VoxelCount(); }
    /// First voxel of row y of plane z.
    T* Row(std::uint64_t y, std::uint64_t z = 0) { return voxels_.get() + RowIndex(y, z); }
    const T* Row(std::uint64_t y, std::uint64_t z = 0) const { return voxels_.get() + RowIndex(y, z); }

    /// True when the voxel lies in the first or last column or the first or last row of its plane.
    bool OnBorder(std::uint64_t index) const {
        const auto [x, y, z] = Coordinates(index);
        static_cast<void>(z);
        return x == 0 || y == 0 || x + 1 == sizeX_ || y + 1 == sizeY_;
    }

    /// Smallest and largest voxel value; NaN voxels are passed over. Throws ToolkitError for an empty image;
    /// an image of nothing but NaN yields NaN for both.
    void ValueRange(T& min, T& max) const {
        if (Empty()) throw ToolkitError("ValueRange: the image is empty.");
        const T* first = begin();
        while (first != end() && !(*first == *first)) ++first;
        if (first == end()) --first;
        T low = *first;
        T high = *first;
        for (const T* v = first; v != end(); ++v) {
            if (*v < low) low = *v;
            if (high < *v) high = *v;
        }
        min = low;
        max = high;
    }

    const PixelResolution& Resolution() const { return resolution_; }
    void SetResolution(const PixelResolution& resolution) { resolution_ = resolution; }
    const VoxelOffset& Offset() const { return offset_; }
    void SetOffset(const VoxelOffset& offset) { offset_ = offset; }
    const Description& Metadata() const { return description_; }
    void SetMetadata(Description description) { description_ = std::move(description); }

    /// Takes over resolution, offset and description of another image, of whatever voxel type.
    template <typename U>
    void CopyPropertiesFrom(const VoxelImage<U>& other) {
        resolution_ = other.Resolution();
        offset_ = other.Offset();
        description_ = other.Metadata();
    }

private:
    friend class BorrowedImage<T>;

    /// Frees the voxels, unless they are someone else's.
    struct Freeing {
        bool isBorrowed = false;
        void operator()(T* voxels) const {
            if (!isBorrowed) delete[] voxels;
        }
    };
    using Voxels = std::unique_ptr<T[], Freeing>;

    void Borrow(T* voxels, std::uint64_t x, std::uint64_t y) {
        CheckedCount(x, y, 1);
        voxels_ = Voxels(voxels, Freeing{true});
        sizeX_ = x;
        sizeY_ = y;
        sizeZ_ = 1;
    }

    std::uint64_t Checked(std::uint64_t index) const {
        KORVANE_ASSERT(index < VoxelCount());
        return index;
    }
    std::uint64_t CheckedIndex(std::uint64_t x, std::uint64_t y, std::uint64_t z) const {
        KORVANE_ASSERT(x < sizeX_ && y < sizeY_ && z < sizeZ_);
        return Index(x, y, z);
    }
    std::uint64_t RowIndex(std::uint64_t y, std::uint64_t z) const {
        KORVANE_ASSERT(y < sizeY_ && z < sizeZ_);
        return Index(0, y, z);
    }
    static std::uint64_t CheckedCount(std::uint64_t x, std::uint64_t y, std::uint64_t z) {
        constexpr std::uint64_t kMaxCount =
            static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T);
        std::uint64_t plane = 0;
        std::uint64_t count = 0;
        if (__builtin_mul_overflow(x, y, &plane) || __builtin_mul_overflow(plane, z, &count) || count > kMaxCount) {
            throw std::bad_alloc();
        }
        return count;
    }

    std::uint64_t sizeX_ = 0;
    std::uint64_t sizeY_ = 0;
    std::uint64_t sizeZ_ = 0;
    Voxels voxels_;
    VoxelOffset offset_;
    PixelResolution resolution_;
    Description description_;
};

/// 0 is background, every other value is one object; values need not be consecutive.
using LabelImage = VoxelImage<std::uint16_t>;

}  // namespace qvox
