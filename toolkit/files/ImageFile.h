#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "VoxelImage.h"

namespace qvox {

/// What kind of voxels a file holds. The numbers are the file probe's codes; only 2, 3 and 6 are grey images that the
/// analysis takes, every other code is a kind that it does not.
enum class VoxelType : int {
    kUnsupported = 0,  ///< a kind that has no code of its own; ImageFileInfo::typeText says which
    kUint8 = 2,
    kUint16 = 3,
    kFloat32 = 6,
    kRgb8 = 8,  ///< three interleaved 8-bit channels: the type of saved overlays
    kRgb16 = 9,
    kInt8 = 10,
    kInt16 = 11,
    kUint32 = 12,
    kInt32 = 13,
    kFloat64 = 14,
    kBilevel = 15,
};

enum class FileFormat : int {
    kFromFile = 0,  ///< the file itself tells
    kTiff = 5,
};

/// Where a pixel size was found.
enum class ResolutionSource {
    kNone,
    kVendorBlock,  ///< resolutionNote names it
    kOmeXml,
    kImageJ,
    kResolutionTags,
};

/// How a colour image is read as grey.
enum class ColourRule {
    kRefuse,
    kEqualChannels,  ///< the value that all channels have; an image in which they differ is refused
    kLuminance,      ///< (299 red + 587 green + 114 blue) / 1000, truncated
};

/// The meaning of a file's values to the caller.
enum class VoxelValues {
    kShown,   ///< intensities: inverted, so that larger is lighter
    kStored,  ///< numbers that are not intensities, labels for instance: as they stand in the file
};

/// Which part of a file is read, and how.
struct ReadOptions {
    /// Number of the page to read, from 1, as an image of one plane. 0: the page or stack that InspectImageFile
    /// reports.
    std::uint32_t page = 0;
    /// For LoadImageFile: RGB of interleaved channels and 8-bit palettes are read into 8-bit images, RGB of 16
    /// bits into 16-bit ones. The colour channels then take memory besides the image.
    ColourRule colour = ColourRule::kRefuse;
    VoxelValues values = VoxelValues::kShown;  ///< for LoadImageFile
};

/// Numbers as they stand in the file.
inline ReadOptions StoredValues() {
    ReadOptions options;
    options.values = VoxelValues::kStored;
    return options;
}

/// The contents of a file without its voxels.
struct ImageFileInfo {
    VoxelType type = VoxelType::kUnsupported;
    std::string typeText;  ///< for a person: "16-bit grey", "RGB, 8 bits", ...
    std::uint64_t sizeX = 0;
    std::uint64_t sizeY = 0;
    std::uint64_t sizeZ = 0;
    std::uint64_t page = 1;       ///< the number of the page of the first plane, from 1
    std::uint64_t pages = 1;      ///< of the file, previews and masks included
    std::uint64_t fullPages = 1;  ///< of the file, without reduced versions and masks
    PixelResolution resolution;
    ResolutionSource resolutionSource = ResolutionSource::kNone;
    std::string resolutionNote;  ///< for a person: which entry of the file gave it, or why none did
};

/// The contents of the TIFF file, read from its directories and the makers' blocks that they lead to. Of several pages
/// the first counts, or where that one is a preview the first full-size grey one; an ImageJ or OME stack has as many
/// planes as its description states and the file holds. A resolution that the file does not define, or defines as 0/0,
/// negative, infinite or NaN, is 0 on that axis. The path is the file system's own bytes, in whatever encoding. Throws
/// ToolkitError, naming the file and the cause, when it is not a readable TIFF.
ImageFileInfo InspectImageFile(const std::string& path, const ReadOptions& options = {});

/// True where the file has full-size pages that a reader of this image does not get to see.
bool HasFurtherPages(const ImageFileInfo& info);

/// The voxels that LoadImageFile gives for a colour image under a rule: kUint8, kUint16, or kUnsupported where it
/// cannot read the image as grey.
VoxelType GreyTypeOf(const std::string& path, const ReadOptions& options = {});

/// The type of InspectImageFile. Throws ToolkitError also for a format other than kFromFile and kTiff.
VoxelType ProbeVoxelType(const std::string& path, FileFormat format = FileFormat::kFromFile);

/// True when the image that InspectImageFile reports is a grey one in a form of colour that LoadImageFile does not
/// take for grey: red, green and blue equal in every pixel (8 or 16 bits each, stored together, with or without further
/// channels; 8 bits each, stored apart or as YCbCr), or a palette of which it uses greys only. Reads the whole image;
/// one of more than 64 million pixels, 16 million where its channels are not stored together, is not examined. Throws
/// ToolkitError as LoadImageFile.
bool HoldsGreyInColour(const std::string& path);

/// Reads the whole image: sizes, voxels, resolution, offset and description. T must be what the probe reports:
/// std::uint8_t, std::uint16_t, float or Rgb8. White-is-zero files are inverted (floats within their own finite range)
/// and 8-bit palettes with a grey map are read through it, unless the stored values are asked for. A file from
/// SaveImageFile gives back exactly what was saved; of another file the description holds the text tags of its first
/// page under their TIFF names ("ImageDescription", "Software", ...). What is read can always be saved: texts that a
/// file written here could not hold, more than 9 MiB with their other bytes escaped, are left out. Rows and columns
/// are as stored; an Orientation entry other than 1 is not applied but kept in the description as "Orientation", from
/// which SaveImageFile writes it. Throws ToolkitError, naming the file and the cause, when the file is unreadable,
/// truncated or of another type, when its size or time of change differs before and after reading, and before
/// anything is allocated when it could not possibly hold what it claims. The image is then unspecified. Memory: the
/// image and at most 64 MiB beside it.
template <typename T>
void LoadImageFile(const std::string& path, VoxelImage<T>& image, const ReadOptions& options = {});

enum class TiffCompression { kNone, kDeflate };

/// Called with an open descriptor of a file that is written in full and not yet under its name.
using BeforeRename = std::function<void(int descriptor)>;

/// Writes the image as a TIFF with resolution, offset and description. T is std::uint8_t, std::uint16_t, float or Rgb8.
/// ImageJ opens the file with its pixel size in micrometres; planes become the slices of a stack. kDeflate is Deflate
/// without prediction, which every common reader undoes correctly. The same image always gives the same
/// bytes. The file is complete or absent: an existing file is replaced in one step and stays as it was on any failure.
/// `beforeRename` is called once where it is given; when it throws, the file is not put in place.
/// Throws ToolkitError, naming the file and the cause, also for an empty image.
template <typename T>
void SaveImageFile(const std::string& path, const VoxelImage<T>& image, FileFormat format = FileFormat::kTiff,
                   TiffCompression compression = TiffCompression::kDeflate, const BeforeRename& beforeRename = {});

}  // namespace qvox
