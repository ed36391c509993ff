#include <tiffio.h>

#include <algorithm>
#include <limits>
#include <system_error>
#include <type_traits>

#include "files/AtomicFile.h"
#include "files/ImageFile.h"
#include "files/StoredDescription.h"
#include "files/TiffHandle.h"

namespace qvox {

namespace {

// Measured: from 64 rows on the level-1 compressor gains nothing more from larger strips.
constexpr std::uint64_t kRowsPerStrip = 64;
constexpr std::uint64_t kLargestStrip = std::uint64_t{16} << 20;
// The library stores two byte counts that fit 16 bits within their entry, where ImageJ (seen in 1.53t) takes them for
// an offset and does not open the file. Two such strips have fewer bytes than this.
constexpr std::uint64_t kLargestSingleStrip = std::uint64_t{128} << 10;
constexpr int kDeflateLevel = 1;
// No prediction: ImageJ's built-in reader (seen in 1.53t) undoes it for LZW only and shows predicted Deflate files
// wrong, without a word. A classic TIFF addresses 4 GiB; a part of it is left for directories and for data that grow
// when compressed.
constexpr std::uint64_t kLargestClassic = 0xE0000000u;

// One file being written. Failures of the disk are known to the file, others to the library.
class Writer {
public:
    Writer(const std::string& path, AtomicFile& file, TiffHandle::Layout layout)
        : path_(path), file_(file), handle_(path, file, layout) {}

    template <typename Value>
    void Set(std::uint32_t tag, Value value) {
        Check(TIFFSetField(handle_.Get(), tag, value) == 1);
    }
    template <typename T>
    void WritePlane(const VoxelImage<T>& image, std::uint64_t z, std::uint64_t rowsPerStrip);
    void FinishPage() { Check(TIFFWriteDirectory(handle_.Get()) == 1); }

    void Check(bool done) const {
        if (done && file_.Error() == 0) return;
        const std::string cause =
            file_.Error() != 0 ? std::generic_category().message(file_.Error()) : handle_.FirstError();
        throw FileError(FileError::Task::kWrite, path_, cause);
    }

private:
    const std::string& path_;
    AtomicFile& file_;
    TiffHandle handle_;
};

template <typename T>
void Writer::WritePlane(const VoxelImage<T>& image, std::uint64_t z, std::uint64_t rowsPerStrip) {
    std::uint32_t strip = 0;
    for (std::uint64_t y = 0; y < image.SizeY(); y += rowsPerStrip, ++strip) {
        const std::uint64_t rows = std::min(rowsPerStrip, image.SizeY() - y);
        const auto bytes = static_cast<tmsize_t>(rows * image.SizeX() * sizeof(T));
        // The library asks for writable bytes but changes none: the file has this machine's byte order, and
        // prediction works on a copy.
        Check(TIFFWriteEncodedStrip(handle_.Get(), strip, const_cast<T*>(image.Row(y, z)), bytes) == bytes);
    }
}

std::uint64_t RowsPerStrip(std::uint64_t rowBytes, std::uint64_t rows) {
    if (rows <= kLargestSingleStrip / rowBytes) return rows;
    const std::uint64_t fitting = std::max<std::uint64_t>(1, kLargestStrip / rowBytes);
    return std::min({kRowsPerStrip, fitting, rows});
}

template <typename T>
void SetFormat(Writer& writer, const VoxelImage<T>& image, TiffCompression compression) {
    constexpr bool kColour = std::is_same_v<T, Rgb8>;
    constexpr int kSamples = kColour ? 3 : 1;
    writer.Set(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(image.SizeX()));
    writer.Set(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(image.SizeY()));
    writer.Set(TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * sizeof(T) / kSamples));
    writer.Set(TIFFTAG_SAMPLESPERPIXEL, kSamples);
    writer.Set(TIFFTAG_SAMPLEFORMAT, std::is_same_v<T, float> ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    writer.Set(TIFFTAG_PHOTOMETRIC, kColour ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    writer.Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    writer.Set(TIFFTAG_ORIENTATION, static_cast<int>(OrientationOf(image.Metadata())));
    if (compression == TiffCompression::kNone) {
        writer.Set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        return;
    }
    writer.Set(TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    writer.Set(TIFFTAG_ZIPQUALITY, kDeflateLevel);
}

void SetResolution(Writer& writer, const PixelResolution& resolution) {
    const bool x = FitsRational(resolution.x);
    const bool y = FitsRational(resolution.y);
    if (x) writer.Set(TIFFTAG_XRESOLUTION, static_cast<double>(resolution.x));
    if (y) writer.Set(TIFFTAG_YRESOLUTION, static_cast<double>(resolution.y));
    if (x || y) writer.Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
}

template <typename T>
void CheckWritable(const std::string& path, const VoxelImage<T>& image, FileFormat format) {
    const auto refuse = [&path](const std::string& cause) { throw FileError(FileError::Task::kWrite, path, cause); };
    if (format != FileFormat::kTiff) {
        refuse("there is no file format " + std::to_string(static_cast<int>(format)) + " to write");
    }
    if (image.Empty()) refuse("the image is empty");
    constexpr std::uint64_t kLongestSide = std::numeric_limits<std::int32_t>::max();
    if (image.SizeX() > kLongestSide || image.SizeY() > kLongestSide || image.SizeZ() > 65535) {
        refuse("the image is too large for a TIFF file");
    }
}

}  // namespace

template <typename T>
void SaveImageFile(const std::string& path, const VoxelImage<T>& image, FileFormat format, TiffCompression compression,
                   const BeforeRename& beforeRename) {
    CheckWritable(path, image, format);
    const PixelResolution resolution = StorableResolution(image.Resolution());
    if (!IsStorable(image.Metadata())) {
        throw FileError(FileError::Task::kWrite, path, "the description is too long");
    }
    const std::string description = DescriptionText({resolution, image.Offset(), image.Metadata()}, image.SizeZ());
    const std::uint64_t bytes = image.VoxelCount() * sizeof(T) + description.size() + image.SizeZ() * 4096;
    AtomicFile file(path);
    {
        Writer writer(path, file, bytes > kLargestClassic ? TiffHandle::Layout::kBig : TiffHandle::Layout::kClassic);
        const std::uint64_t rows = RowsPerStrip(image.SizeX() * sizeof(T), image.SizeY());
        for (std::uint64_t z = 0; z < image.SizeZ(); ++z) {
            SetFormat(writer, image, compression);
            writer.Set(TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rows));
            SetResolution(writer, resolution);
            if (z == 0) writer.Set(TIFFTAG_IMAGEDESCRIPTION, description.c_str());
            writer.WritePlane(image, z, rows);
            writer.FinishPage();
        }
    }
    if (beforeRename) beforeRename(file.Descriptor());
    file.Commit();
}

template void SaveImageFile(const std::string&, const VoxelImage<std::uint8_t>&, FileFormat, TiffCompression,
                            const BeforeRename&);
template void SaveImageFile(const std::string&, const VoxelImage<std::uint16_t>&, FileFormat, TiffCompression,
                            const BeforeRename&);
template void SaveImageFile(const std::string&, const VoxelImage<float>&, FileFormat, TiffCompression,
                            const BeforeRename&);
template void SaveImageFile(const std::string&, const VoxelImage<Rgb8>&, FileFormat, TiffCompression,
                            const BeforeRename&);

}  // namespace qvox
