#include "files/ImageFile.h"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "files/ColourToGrey.h"
#include "files/OpenImageFile.h"
#include "files/PixelSize.h"
#include "files/StoredDescription.h"
#include "files/TiffDecoder.h"
#include "files/TiffHandle.h"
#include "files/TiffPage.h"
#include "files/VendorPixelSize.h"

namespace qvox {

namespace {

struct TextTag {
    std::uint32_t tag;
    const char* key;
};

constexpr TextTag kTextTags[] = {
    {TIFFTAG_DOCUMENTNAME, "DocumentName"},
    {TIFFTAG_IMAGEDESCRIPTION, "ImageDescription"},
    {TIFFTAG_MAKE, "Make"},
    {TIFFTAG_MODEL, "Model"},
    {TIFFTAG_PAGENAME, "PageName"},
    {TIFFTAG_SOFTWARE, "Software"},
    {TIFFTAG_DATETIME, "DateTime"},
    {TIFFTAG_ARTIST, "Artist"},
    {TIFFTAG_HOSTCOMPUTER, "HostComputer"},
    {TIFFTAG_COPYRIGHT, "Copyright"},
};

Description ReadTexts(TIFF* tiff) {
    Description texts;
    for (const TextTag& entry : kTextTags) {
        const char* text = nullptr;
        if (TIFFGetField(tiff, entry.tag, &text) == 1 && text != nullptr) texts.emplace(entry.key, text);
    }
    return texts;
}

// What the library keeps of the page that the handle stands on is not wanted twice.
void ForgetTexts(TIFF* tiff) {
    for (const TextTag& entry : kTextTags) TIFFUnsetField(tiff, entry.tag);
}

std::uint64_t BytesOf(const Description& texts) {
    std::uint64_t bytes = 0;
    for (const auto& [key, text] : texts) bytes += key.size() + text.size();
    return bytes;
}

// The contents of a file's directories, with the handle standing on the chosen page.
struct OpenedFile {
    TiffPage page;
    std::uint64_t number = 1;  ///< of the page, from 1
    std::uint16_t orientation = 1;
    std::vector<std::uint64_t> planes;
    PixelSize size;
    Description texts;
};

// The library goes on without an entry whose value lies beyond the end of the file. Without its description or colour
// map the image would be another one, and a description in ImageJ's manner shows that a resolution has been cut off.
// A mere print resolution that leads nowhere is no reason to refuse an image.
void RefuseLostEntry(const TiffHandle& file, const std::string& lost, const std::string& description) {
    if (lost.empty()) return;
    const bool isResolution = lost.find("Resolution") != std::string::npos;
    if (!isResolution || IsImageJDescription(description)) file.FailReading("the file is truncated (" + lost + ")");
}

OpenedFile Examine(TiffHandle& file, const ReadOptions& options) {
    OpenedFile opened;
    opened.texts = ReadTexts(file.Get());
    const TiffPage first = ReadTiffPage(file);
    const std::string lost = file.LostEntry();
    opened.page = options.page > 0 ? ReadNumberedPage(file, options.page) : ChoosePage(file, first);
    if (opened.page.offset != first.offset) opened.number = std::uint64_t{TIFFCurrentDirectory(file.Get())} + 1;
    TIFFGetField(file.Get(), TIFFTAG_ORIENTATION, &opened.orientation);
    const auto found = opened.texts.find("ImageDescription");
    const std::string none;
    const std::string& description = found == opened.texts.end() ? none : found->second;
    RefuseLostEntry(file, lost, description);
    const ResolutionTags tags = ReadResolutionTags(file.Get());
    opened.size = FindPixelSize(description, tags, FindVendorPixelSize(file, description, tags));
    if (!opened.size.stored && description.size() > kLongestForeignDescription) {
        file.FailReading("its description is too long (" + std::to_string(description.size()) + " bytes)");
    }
    if (!lost.empty() && opened.size.source == ResolutionSource::kNone) {
        opened.size.note = "the resolution entry lies beyond the end of the file";
    }
    opened.planes.push_back(opened.page.offset);
    const bool isStack = opened.size.stack.planes > 1 && opened.page.offset == first.offset && options.page == 0;
    const bool readable = IsGrey(first.type) || (first.type == VoxelType::kRgb8 && opened.size.stored);
    if (isStack && readable) opened.planes = StackPages(file, first, opened.size.stack);
    file.ThrowIfOutOfMemory();
    return opened;
}

template <typename T>
constexpr VoxelType TypeOf() {
    if constexpr (std::is_same_v<T, std::uint8_t>) return VoxelType::kUint8;
    if constexpr (std::is_same_v<T, std::uint16_t>) return VoxelType::kUint16;
    if constexpr (std::is_same_v<T, float>) return VoxelType::kFloat32;
    return VoxelType::kRgb8;
}

const char* NameOf(VoxelType type) {
    switch (type) {
        case VoxelType::kUint8:
            return "8-bit grey";
        case VoxelType::kUint16:
            return "16-bit grey";
        case VoxelType::kFloat32:
            return "32-bit float grey";
        default:
            return "RGB, 8 bits";
    }
}

template <typename T>
void InvertIntegers(VoxelImage<T>& image) {
    for (T& voxel : image) voxel = static_cast<T>(std::numeric_limits<T>::max() - voxel);
}

// Floats have no largest value to subtract from, so their own finite range is turned round.
void InvertFloats(VoxelImage<float>& image) {
    float low = std::numeric_limits<float>::infinity();
    float high = -low;
    for (const float voxel : image) {
        if (!std::isfinite(voxel)) continue;
        low = std::min(low, voxel);
        high = std::max(high, voxel);
    }
    const double sum = static_cast<double>(low) + static_cast<double>(high);
    for (float& voxel : image) {
        if (std::isfinite(voxel))
            voxel = static_cast<float>(sum - static_cast<double>(voxel));
        else
            voxel = -voxel;
    }
}

template <typename T>
void ApplyPhotometric(const TiffPage& page, VoxelImage<T>& image) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        if (page.greyMap) {
            for (T& voxel : image) voxel = (*page.greyMap)[voxel];
            return;
        }
    }
    if (page.photometric != PHOTOMETRIC_MINISWHITE) return;
    if constexpr (std::is_integral_v<T>) InvertIntegers(image);
    if constexpr (std::is_same_v<T, float>) InvertFloats(image);
}

// Every plane is checked before the first byte is allocated.
void CheckPlanes(TiffHandle& file, const OpenedFile& opened) {
    for (const std::uint64_t offset : opened.planes) {
        GoToPage(file, offset);
        CheckStorage(file, ReadTiffPage(file));
    }
    constexpr std::uint64_t kMostExpansion = 1u << 16;
    const double claimed = static_cast<double>(opened.page.width) * opened.page.height *
                           static_cast<double>(opened.page.VoxelBytes() * opened.planes.size());
    if (claimed / kMostExpansion > static_cast<double>(file.FileBytes())) {
        file.FailReading("it claims more planes than its bytes can hold");
    }
}

ImageFileInfo InfoOf(const TiffHandle& file, const OpenedFile& opened) {
    ImageFileInfo info;
    info.type = opened.page.type;
    info.typeText = opened.page.typeText;
    info.sizeX = opened.page.width;
    info.sizeY = opened.page.height;
    info.sizeZ = opened.planes.size();
    info.page = opened.number;
    info.pages = file.Pages();
    info.fullPages = file.FullPages();
    info.resolution = opened.size.resolution;
    info.resolutionSource = opened.size.source;
    info.resolutionNote = opened.size.note;
    return info;
}

}  // namespace

struct OpenImageFile::State {
    State(const std::string& path, const ReadOptions& wanted)
        : options(wanted), file(path), opened(Examine(file, wanted)) {}
    ReadOptions options;
    TiffHandle file;
    OpenedFile opened;
};

OpenImageFile::OpenImageFile(const std::string& path, const ReadOptions& options)
    : state_(std::make_unique<State>(path, options)) {
    info_ = InfoOf(state_->file, state_->opened);
}

OpenImageFile::~OpenImageFile() = default;

void OpenImageFile::ThrowIfChanged() const { state_->file.ThrowIfChanged(); }

ImageFileInfo InspectImageFile(const std::string& path, const ReadOptions& options) {
    const OpenImageFile file(path, options);
    file.ThrowIfChanged();
    return file.Info();
}

bool HasFurtherPages(const ImageFileInfo& info) { return info.fullPages > info.sizeZ; }

VoxelType GreyTypeOf(const std::string& path, const ReadOptions& options) {
    TiffHandle file(path);
    const VoxelType type = GreyTypeOf(Examine(file, options).page);
    file.ThrowIfChanged();
    return type;
}

VoxelType ProbeVoxelType(const std::string& path, FileFormat format) {
    if (format != FileFormat::kFromFile && format != FileFormat::kTiff) {
        throw FileError(FileError::Task::kRead, path,
                        "there is no file format " + std::to_string(static_cast<int>(format)));
    }
    return InspectImageFile(path).type;
}

template <typename T>
void OpenImageFile::Load(VoxelImage<T>& image) {
    const std::unique_ptr<State> state = std::move(state_);
    const ReadOptions& options = state->options;
    TiffHandle& file = state->file;
    OpenedFile& opened = state->opened;
    const bool isConverted = options.colour != ColourRule::kRefuse && GreyTypeOf(opened.page) == TypeOf<T>();
    if (opened.page.type != TypeOf<T>() && !isConverted) {
        file.ForgetMessages();
        file.FailReading("it holds " + opened.page.typeText + ", not " + NameOf(TypeOf<T>()));
    }
    CheckPlanes(file, opened);
    Description entries = std::move(opened.size.stored ? opened.size.stored->description : opened.texts);
    opened.texts.clear();
    SetOrientation(entries, opened.orientation);
    LeaveOutUnstorable(entries);
    // Once more for the room of a freed copy, which the allocator keeps.
    const std::uint64_t heldBytes = 2 * BytesOf(entries);
    image.Resize(opened.page.width, opened.page.height, opened.planes.size());
    for (std::size_t z = 0; z < opened.planes.size(); ++z) {
        GoToPage(file, opened.planes[z]);
        ForgetTexts(file.Get());
        const TiffPage page = ReadTiffPage(file);
        auto* const voxels = reinterpret_cast<unsigned char*>(image.Row(0, z));
        if (isConverted)
            DecodeAsGrey(file, page, options.colour, heldBytes, voxels);
        else
            DecodePage(file, page, heldBytes, voxels);
    }
    file.ThrowIfChanged();
    if (options.values == VoxelValues::kShown && !isConverted) ApplyPhotometric(opened.page, image);
    image.SetResolution(opened.size.resolution);
    image.SetOffset(opened.size.stored ? opened.size.stored->offset : VoxelOffset{});
    image.SetMetadata(std::move(entries));
}

template <typename T>
void LoadImageFile(const std::string& path, VoxelImage<T>& image, const ReadOptions& options) {
    OpenImageFile(path, options).Load(image);
}

template void OpenImageFile::Load(VoxelImage<std::uint8_t>&);
template void OpenImageFile::Load(VoxelImage<std::uint16_t>&);
template void OpenImageFile::Load(VoxelImage<float>&);
template void OpenImageFile::Load(VoxelImage<Rgb8>&);
template void LoadImageFile(const std::string&, VoxelImage<std::uint8_t>&, const ReadOptions&);
template void LoadImageFile(const std::string&, VoxelImage<std::uint16_t>&, const ReadOptions&);
template void LoadImageFile(const std::string&, VoxelImage<float>&, const ReadOptions&);
template void LoadImageFile(const std::string&, VoxelImage<Rgb8>&, const ReadOptions&);

}  // namespace qvox
