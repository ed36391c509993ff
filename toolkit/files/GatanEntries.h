#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "files/PixelSizeNm.h"
#include "files/VendorPage.h"

namespace qvox {

/// The tag of the pixel's width, which identifies such an export.
inline constexpr std::uint32_t kGatanScaleXTag = 65009;

/// The private tags of a TIFF export of Gatan's DigitalMicrograph; absent where a tag was not written.
struct GatanEntries {
    std::optional<double> x;               ///< 65009
    std::optional<double> y;               ///< 65010
    std::optional<std::string> symbolX;    ///< 65003, Latin-1: "\xB5m", "nm", "1/nm"
    std::optional<std::string> symbolY;    ///< 65004
    std::optional<std::string> unitNameX;  ///< 65012: "micrometer"
    std::optional<std::string> unitNameY;  ///< 65013
};

/// The pixel size of these entries. Nothing when a number or both texts of an axis' unit are absent, when one of the
/// texts is no length (diffraction patterns are in 1/nm, uncalibrated images in nothing), when the texts contradict
/// each other or when the size is not believable.
std::optional<PixelSizeNm> PixelSizeFromGatan(const GatanEntries& entries);

/// The same of the entries of a page, which are present when either number is.
VendorAnswer ReadGatanEntries(const VendorPage& page, std::uint32_t scaleXTag);

}  // namespace qvox
