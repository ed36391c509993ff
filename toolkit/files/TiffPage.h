#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "files/ImageJDescription.h"

namespace qvox {

class TiffHandle;

/// How the voxels of one page are stored, and what they are to a caller.
struct TiffPage {
    std::uint64_t offset = 0;  ///< of the page's directory in the file
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1;
    std::uint16_t samples = 1;
    std::uint16_t sampleFormat = 1;
    std::uint16_t compression = 1;
    std::uint16_t planar = 1;
    int photometric = -1;       ///< -1: not written
    std::uint32_t reduced = 0;  ///< NewSubfileType, or what the old one says
    VoxelType type = VoxelType::kUnsupported;
    std::string typeText;
    std::optional<std::array<std::uint8_t, 256>> greyMap;  ///< of an 8-bit palette of greys

    std::uint64_t VoxelBytes() const { return static_cast<std::uint64_t>(bits) / 8 * samples; }
};

/// The page that the handle stands on.
TiffPage ReadTiffPage(TiffHandle& file);

/// True for the types that LoadImageFile reads as grey.
bool IsGrey(VoxelType type);

/// The page to be shown of a file that has just been opened. It is the first one, unless that may be a preview: a
/// colour image, a reduced version or a mask. Then it is the first grey one that is neither a reduced version nor a
/// mask nor smaller than the first page where that one is a full image; the first page where there is none. The
/// handle then stands on it.
TiffPage ChoosePage(TiffHandle& file, const TiffPage& first);

/// Moves to the page of this number, from 1, and reads it. Throws ToolkitError where the file has fewer pages.
TiffPage ReadNumberedPage(TiffHandle& file, std::uint32_t number);

/// The pages of the stack that starts with `page` (the file's first): as many as the layout states and the file holds
/// in the same sizes and type, up to the first that differs or is marked as reduced. Throws ToolkitError when the file
/// breaks off before.
std::vector<std::uint64_t> StackPages(TiffHandle& file, const TiffPage& page, const StackLayout& stack);

/// Moves to the page. Throws ToolkitError.
void GoToPage(TiffHandle& file, std::uint64_t offset);

}  // namespace qvox
