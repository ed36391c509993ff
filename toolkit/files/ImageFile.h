#pragma once

#include <cstdint>
#include <string>

#include "VoxelImage.h"

namespace qvox {

/// What kind of voxels a file holds. The numbers are the file probe's codes.
enum class VoxelType : int {
    kUnsupported = 0,
    kUint8 = 2,
    kUint16 = 3,
    kFloat32 = 6,
};

enum class FileFormat : int {
    kFromFile = 0,  ///< the file itself tells
    kTiff = 5,
};

/// Where a pixel size was found.
enum class ResolutionSource {
    kNone,
    kOmeXml,
    kImageJ,
    kResolutionTags,
};

/// What a file holds, without its voxels.
struct ImageFileInfo {
    VoxelType type = VoxelType::kUnsupported;
    std::string typeText;  ///< for a person: "16-bit grey", "RGB, 8 bits", ...
    std::uint64_t sizeX = 0;
    std::uint64_t sizeY = 0;
    std::uint64_t sizeZ = 0;
    PixelResolution resolution;
    ResolutionSource resolutionSource = ResolutionSource::kNone;
    std::string resolutionNote;  ///< for a person: which entry of the file gave it, or why none did
};

/// Paths are the file system's own bytes, in whatever encoding.
ImageFileInfo InspectImageFile(const std::string& path);

VoxelType ProbeVoxelType(const std::string& path, FileFormat format = FileFormat::kFromFile);

template <typename T>
void LoadImageFile(const std::string& path, VoxelImage<T>& image);

enum class TiffCompression { kNone, kDeflate };

template <typename T>
void SaveImageFile(const std::string& path, const VoxelImage<T>& image, FileFormat format = FileFormat::kTiff,
                   TiffCompression compression = TiffCompression::kDeflate);

}  // namespace qvox
