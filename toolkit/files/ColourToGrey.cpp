#include "files/ColourToGrey.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "files/TiffDecoder.h"
#include "files/TiffHandle.h"

namespace qvox {

namespace {

/// The channels of one pixel, in the levels of the image.
using Colour = std::array<std::uint16_t, 3>;
using Palette = std::array<Colour, 256>;

constexpr std::uint16_t kColours = 256;

unsigned Luminance(const Colour& colour) { return (299u * colour[0] + 587u * colour[1] + 114u * colour[2]) / 1000u; }

unsigned Difference(const Colour& colour) {
    const auto [least, most] = std::minmax_element(colour.begin(), colour.end());
    return static_cast<unsigned>(*most) - *least;
}

Palette ReadPalette(TiffHandle& file) {
    std::array<const std::uint16_t*, 3> channels{};
    if (TIFFGetField(file.Get(), TIFFTAG_COLORMAP, &channels[0], &channels[1], &channels[2]) != 1) {
        file.FailReading("its palette is missing");
    }
    // Old writers fill the 16-bit map with 8-bit values.
    const bool narrow = std::all_of(channels.begin(), channels.end(), [](const std::uint16_t* channel) {
        return std::all_of(channel, channel + kColours, [](std::uint16_t value) { return value < 256; });
    });
    Palette palette{};
    for (std::size_t i = 0; i < kColours; ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            palette[i][c] = static_cast<std::uint16_t>(narrow ? channels[c][i] : channels[c][i] >> 8);
        }
    }
    return palette;
}

void RefuseDifference(TiffHandle& file, ColourRule rule, unsigned largest, const char* levels) {
    if (rule != ColourRule::kEqualChannels || largest == 0) return;
    file.ForgetMessages();
    file.FailReading("it is a colour picture: its channels differ by up to " + std::to_string(largest) + " of " +
                     levels + " levels");
}

void DecodePalette(TiffHandle& file, const TiffPage& page, ColourRule rule, std::uint64_t heldBytes,
                   unsigned char* voxels) {
    const Palette palette = ReadPalette(file);
    const std::uint64_t count = std::uint64_t{page.width} * page.height;
    DecodePage(file, page, heldBytes, voxels);
    unsigned largest = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const Colour& colour = palette[voxels[i]];
        largest = std::max(largest, Difference(colour));
        voxels[i] = static_cast<unsigned char>(Luminance(colour));
    }
    RefuseDifference(file, rule, largest, "256");
}

/// T is the type of a channel.
template <typename T>
void DecodeRgb(TiffHandle& file, const TiffPage& page, ColourRule rule, std::uint64_t heldBytes,
               unsigned char* voxels) {
    const std::uint64_t count = std::uint64_t{page.width} * page.height;
    const std::uint64_t samples = page.samples;  // further channels, of transparency for instance, are passed over
    std::vector<T> channels(samples * count);
    DecodePage(file, page, heldBytes, reinterpret_cast<unsigned char*>(channels.data()));
    unsigned largest = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const Colour colour{channels[samples * i], channels[samples * i + 1], channels[samples * i + 2]};
        largest = std::max(largest, Difference(colour));
        const T grey = static_cast<T>(Luminance(colour));
        std::memcpy(voxels + i * sizeof(T), &grey, sizeof(T));
    }
    RefuseDifference(file, rule, largest, sizeof(T) == 1 ? "256" : "65536");
}

}  // namespace

VoxelType GreyTypeOf(const TiffPage& page) {
    const bool isUnsigned = page.sampleFormat <= SAMPLEFORMAT_UINT;
    const bool isPalette = page.samples == 1 && page.photometric == PHOTOMETRIC_PALETTE;
    if (isPalette && page.bits == 8 && isUnsigned && !page.greyMap) return VoxelType::kUint8;
    if (page.photometric != PHOTOMETRIC_RGB || page.samples < 3 || page.planar != PLANARCONFIG_CONTIG || !isUnsigned) {
        return VoxelType::kUnsupported;
    }
    if (page.bits == 8) return VoxelType::kUint8;
    return page.bits == 16 ? VoxelType::kUint16 : VoxelType::kUnsupported;
}

void DecodeAsGrey(TiffHandle& file, const TiffPage& page, ColourRule rule, std::uint64_t heldBytes,
                  unsigned char* voxels) {
    if (page.samples == 1) return DecodePalette(file, page, rule, heldBytes, voxels);
    if (page.bits == 8) return DecodeRgb<std::uint8_t>(file, page, rule, heldBytes, voxels);
    DecodeRgb<std::uint16_t>(file, page, rule, heldBytes, voxels);
}

}  // namespace qvox
