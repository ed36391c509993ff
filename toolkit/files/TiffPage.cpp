#include "files/TiffPage.h"

#include <tiffio.h>

#include <algorithm>

#include "files/TiffHandle.h"

namespace qvox {

namespace {

constexpr unsigned kMostPages = 65535;

// Some programs keep one or two dozen entries of an otherwise grey map for the colours of annotations.
constexpr std::size_t kMostColours = 32;
constexpr std::size_t kLeastGreys = 200;

std::optional<std::array<std::uint8_t, 256>> GreyMap(TIFF* tiff) {
    const std::uint16_t* red = nullptr;
    const std::uint16_t* green = nullptr;
    const std::uint16_t* blue = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue) != 1) return std::nullopt;
    std::size_t colours = 0;
    bool narrow = true;  // old writers fill the 16-bit map with 8-bit values
    for (std::size_t i = 0; i < 256; ++i) {
        if (red[i] != green[i] || red[i] != blue[i]) ++colours;
        narrow = narrow && red[i] < 256 && green[i] < 256 && blue[i] < 256;
    }
    std::array<std::uint8_t, 256> map{};
    std::array<bool, 256> seen{};
    for (std::size_t i = 0; i < 256; ++i) {
        const unsigned luminance = (299u * red[i] + 587u * green[i] + 114u * blue[i]) / 1000u;
        // The high byte is right for maps of value x 257 and of value x 256 alike.
        map[i] = static_cast<std::uint8_t>(narrow ? luminance : luminance >> 8);
        seen[map[i]] = true;
    }
    const auto greys = static_cast<std::size_t>(std::count(seen.begin(), seen.end(), true));
    if (colours > 0 && (colours > kMostColours || greys < kLeastGreys)) return std::nullopt;
    return map;
}

std::string BitsText(const TiffPage& page) { return std::to_string(page.bits) + "-bit "; }

void ClassifyGrey(TiffPage& page) {
    const bool integer = page.sampleFormat == SAMPLEFORMAT_UINT || page.sampleFormat == SAMPLEFORMAT_VOID;
    const bool isSigned = page.sampleFormat == SAMPLEFORMAT_INT;
    const bool real = page.sampleFormat == SAMPLEFORMAT_IEEEFP;
    page.typeText = BitsText(page) + (isSigned  ? "signed grey"
                                      : real    ? "float grey"
                                      : integer ? "grey"
                                                : "complex grey");
    if (integer && page.bits == 8) page.type = VoxelType::kUint8;
    if (integer && page.bits == 16) page.type = VoxelType::kUint16;
    if (real && page.bits == 32) page.type = VoxelType::kFloat32;
    if (integer && page.bits == 32) page.type = VoxelType::kUint32;
    if (integer && page.bits == 1) page.type = VoxelType::kBilevel;
    if (isSigned && page.bits == 8) page.type = VoxelType::kInt8;
    if (isSigned && page.bits == 16) page.type = VoxelType::kInt16;
    if (isSigned && page.bits == 32) page.type = VoxelType::kInt32;
    if (real && page.bits == 64) page.type = VoxelType::kFloat64;
}

void Classify(TiffPage& page, TIFF* tiff) {
    const bool byMinimum = page.photometric == -1 || page.photometric == PHOTOMETRIC_MINISBLACK ||
                           page.photometric == PHOTOMETRIC_MINISWHITE;
    if (page.samples == 1 && byMinimum) {
        ClassifyGrey(page);
    } else if (page.samples == 1 && page.photometric == PHOTOMETRIC_PALETTE) {
        if (page.bits == 8 && page.sampleFormat <= SAMPLEFORMAT_UINT) page.greyMap = GreyMap(tiff);
        page.type = page.greyMap ? VoxelType::kUint8 : VoxelType::kUnsupported;
        page.typeText = BitsText(page) + (page.greyMap ? "grey (through a palette)" : "colour palette");
    } else if (page.photometric == PHOTOMETRIC_RGB) {
        page.typeText = "RGB, " + std::to_string(page.bits) + " bits";
        const bool plain = page.samples == 3 && page.sampleFormat == SAMPLEFORMAT_UINT;
        if (plain && page.bits == 8 && page.planar == PLANARCONFIG_CONTIG) page.type = VoxelType::kRgb8;
        if (plain && page.bits == 16) page.type = VoxelType::kRgb16;
        if (page.samples != 3) page.typeText += ", " + std::to_string(page.samples) + " channels";
    } else if (byMinimum) {
        page.typeText = BitsText(page) + "grey with " + std::to_string(page.samples - 1) + " further channels";
    } else {
        page.typeText = BitsText(page) + "colour (photometric interpretation " + std::to_string(page.photometric) + ")";
    }
}

// Cameras put a colour preview before the image. A grey page of another kind (signed, complex ...) is the image itself,
// and what follows it is something else.
bool MayBePreview(const TiffPage& page) {
    const bool grey = page.photometric == -1 || page.photometric == PHOTOMETRIC_MINISBLACK ||
                      page.photometric == PHOTOMETRIC_MINISWHITE;
    return !grey || (page.reduced & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) != 0;
}

bool IsFullSize(const TiffPage& page) { return (page.reduced & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0; }

std::uint64_t Pixels(const TiffPage& page) { return std::uint64_t{page.width} * page.height; }

bool SameKind(const TiffPage& a, const TiffPage& b) {
    return a.width == b.width && a.height == b.height && a.type == b.type;
}

// True when there is another page. A chain that ends in a broken page or in a loop simply ends where the caller can do
// without it.
bool NextPage(TiffHandle& file) {
    const bool found = TIFFLastDirectory(file.Get()) == 0 && TIFFReadDirectory(file.Get()) == 1;
    if (!found) file.ThrowIfOutOfMemory();
    return found;
}

// Each page makes the library fill its lists of strips or tiles, of which several pages may share the bytes, or which
// may not even be there. Lists of a page's own take four bytes for a strip or tile, so that a file whose pages share
// none never spends all of this.
class PieceAllowance {
public:
    explicit PieceAllowance(const TiffHandle& file) : left_((std::uint64_t{1} << 24) + file.FileBytes() / 4) {}

    // False when the page that the handle stands on is too much.
    bool Spend(const TiffHandle& file) {
        TIFF* const tiff = file.Get();
        const std::uint64_t pieces = TIFFIsTiled(tiff) != 0 ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
        if (pieces > left_) return false;
        left_ -= pieces;
        return true;
    }

private:
    std::uint64_t left_;
};

}  // namespace

bool IsGrey(VoxelType type) {
    return type == VoxelType::kUint8 || type == VoxelType::kUint16 || type == VoxelType::kFloat32;
}

TiffPage ReadTiffPage(TiffHandle& file) {
    TIFF* tiff = file.Get();
    TiffPage page;
    page.offset = TIFFCurrentDirOffset(tiff);
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &page.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &page.height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &page.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &page.samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &page.sampleFormat);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &page.compression);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &page.planar);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SUBFILETYPE, &page.reduced);
    if (file.IsReducedByOldEntry(page.offset)) page.reduced = FILETYPE_REDUCEDIMAGE;
    std::uint16_t photometric = 0;
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) == 1) page.photometric = photometric;
    Classify(page, tiff);
    return page;
}

TiffPage ChoosePage(TiffHandle& file, const TiffPage& first) {
    if (!MayBePreview(first) || (IsGrey(first.type) && IsFullSize(first))) return first;
    const std::uint64_t atLeast = IsFullSize(first) ? Pixels(first) : 1;
    PieceAllowance allowance(file);
    for (unsigned pages = 1; pages < kMostPages && NextPage(file) && allowance.Spend(file); ++pages) {
        TiffPage page = ReadTiffPage(file);
        if (IsGrey(page.type) && IsFullSize(page) && Pixels(page) >= atLeast) return page;
    }
    GoToPage(file, first.offset);
    return first;
}

TiffPage ReadNumberedPage(TiffHandle& file, std::uint32_t number) {
    const std::string pages = std::to_string(file.Pages()) + (file.Pages() == 1 ? " page" : " pages");
    const std::string wanted = "page " + std::to_string(number);
    if (number < 1 || number > file.Pages()) file.FailReading("it has " + pages + ", and no " + wanted);
    file.ForgetMessages();
    if (TIFFSetDirectory(file.Get(), number - 1) != 1) file.FailReading(wanted + " cannot be read");
    return ReadTiffPage(file);
}

std::vector<std::uint64_t> StackPages(TiffHandle& file, const TiffPage& page, const StackLayout& stack) {
    std::vector<std::uint64_t> pages{page.offset};
    std::uint64_t untilNext = stack.pageStride;
    PieceAllowance allowance(file);
    while (pages.size() < stack.planes && TIFFLastDirectory(file.Get()) == 0) {
        if (pages.size() == kMostPages) {
            file.FailReading("its stack has more than " + std::to_string(kMostPages) + " pictures");
        }
        file.ForgetMessages();
        if (TIFFReadDirectory(file.Get()) != 1) file.FailReading("the file breaks off in a stack of pictures");
        if (!allowance.Spend(file)) file.FailReading("the pictures of its stack share too many strips or tiles");
        if (--untilNext > 0) continue;
        const TiffPage next = ReadTiffPage(file);
        if (!SameKind(page, next) || !IsFullSize(next)) break;
        pages.push_back(next.offset);
        untilNext = stack.pageStride;
    }
    GoToPage(file, page.offset);
    return pages;
}

void GoToPage(TiffHandle& file, std::uint64_t offset) {
    if (TIFFCurrentDirOffset(file.Get()) == offset) return;
    if (TIFFSetSubDirectory(file.Get(), offset) != 1) file.FailReading("a page cannot be read");
}

}  // namespace qvox
