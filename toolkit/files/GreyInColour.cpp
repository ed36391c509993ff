#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

#include "files/ImageFile.h"
#include "files/TiffDecoder.h"
#include "files/TiffHandle.h"
#include "files/TiffPage.h"

namespace qvox {

namespace {

/// The answer is only a hint beside a refusal: larger images are not read.
constexpr std::uint64_t kMostPixels = std::uint64_t{64} << 20;
/// Of pictures that the library puts together, four bytes a pixel.
constexpr std::uint64_t kMostShownPixels = std::uint64_t{16} << 20;

/// The voxels of the page that the handle stands on, as they are stored.
std::unique_ptr<unsigned char[]> Decoded(TiffHandle& file, const TiffPage& page) {
    CheckStorage(file, page);
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[page.width * page.VoxelBytes() * page.height]);
    DecodePage(file, page, 0, bytes.get());
    return bytes;
}

bool HasEqualChannels(TiffHandle& file, const TiffPage& page) {
    const std::uint64_t voxelBytes = page.VoxelBytes();
    const std::uint64_t channelBytes = page.bits / 8u;
    const std::unique_ptr<unsigned char[]> bytes = Decoded(file, page);
    const std::uint64_t voxels = std::uint64_t{page.width} * page.height;
    for (std::uint64_t i = 0; i < voxels; ++i) {
        const unsigned char* const red = bytes.get() + i * voxelBytes;
        const bool equal = std::memcmp(red, red + channelBytes, channelBytes) == 0 &&
                           std::memcmp(red, red + 2 * channelBytes, channelBytes) == 0;
        if (!equal) return false;
    }
    return true;
}

/// The colours of a palette.
struct Palette {
    const std::uint16_t* red = nullptr;
    const std::uint16_t* green = nullptr;
    const std::uint16_t* blue = nullptr;

    bool IsGrey(std::size_t entry) const { return red[entry] == green[entry] && red[entry] == blue[entry]; }
};

/// Entries that no voxel uses may have any colour.
bool UsesGreysOnly(TiffHandle& file, const TiffPage& page) {
    Palette palette;
    if (TIFFGetField(file.Get(), TIFFTAG_COLORMAP, &palette.red, &palette.green, &palette.blue) != 1) return false;
    if (page.bits < 8) {
        for (std::size_t entry = 0; entry < std::size_t{1} << page.bits; ++entry) {
            if (!palette.IsGrey(entry)) return false;
        }
        return true;
    }
    const std::unique_ptr<unsigned char[]> bytes = Decoded(file, page);
    const std::uint64_t voxels = std::uint64_t{page.width} * page.height;
    return std::all_of(bytes.get(), bytes.get() + voxels, [&](unsigned char entry) { return palette.IsGrey(entry); });
}

/// Channels of one byte that are stored apart, or as brightness and colour differences: the library puts them together.
bool ShowsGreysOnly(TiffHandle& file, const TiffPage& page) {
    const std::uint64_t pixels = std::uint64_t{page.width} * page.height;
    std::array<char, 1024> trouble{};
    if (pixels > kMostShownPixels || TIFFRGBAImageOK(file.Get(), trouble.data()) == 0) return false;
    const std::unique_ptr<std::uint32_t[]> shown(new std::uint32_t[pixels]);
    constexpr int kStopAtErrors = 1;
    if (TIFFReadRGBAImage(file.Get(), page.width, page.height, shown.get(), kStopAtErrors) == 0) return false;
    return std::all_of(shown.get(), shown.get() + pixels, [](std::uint32_t colour) {
        return TIFFGetR(colour) == TIFFGetG(colour) && TIFFGetR(colour) == TIFFGetB(colour);
    });
}

/// The codes for which the library is trusted with a picture that it puts together.
bool IsUsualCompression(std::uint16_t compression) {
    constexpr std::array<int, 6> kUsual{COMPRESSION_NONE,     COMPRESSION_LZW,           COMPRESSION_JPEG,
                                        COMPRESSION_PACKBITS, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE};
    return std::find(kUsual.begin(), kUsual.end(), compression) != kUsual.end();
}

}  // namespace

bool HoldsGreyInColour(const std::string& path) {
    TiffHandle file(path);
    const TiffPage page = ChoosePage(file, ReadTiffPage(file));
    if (std::uint64_t{page.width} * page.height > kMostPixels) return false;
    const bool together = page.planar == PLANARCONFIG_CONTIG;
    const bool wholeBytes = page.bits == 8 || page.bits == 16;
    if (page.photometric == PHOTOMETRIC_RGB && page.samples >= 3 && together && wholeBytes) {
        return HasEqualChannels(file, page);
    }
    if (page.photometric == PHOTOMETRIC_PALETTE && page.samples == 1 && page.bits <= 8 && !page.greyMap) {
        return UsesGreysOnly(file, page);
    }
    const bool isColour = page.photometric == PHOTOMETRIC_RGB || page.photometric == PHOTOMETRIC_YCBCR;
    if (isColour && page.samples == 3 && page.bits == 8 && IsUsualCompression(page.compression)) {
        return ShowsGreysOnly(file, page);
    }
    return false;
}

}  // namespace qvox
