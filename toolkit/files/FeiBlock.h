#pragma once

#include <cstddef>
#include <optional>

#include "files/PixelSizeNm.h"

namespace qvox {

/// The pixel size of a Thermo Fisher / FEI block, the text of the TIFF tag 34682: lines "key=value" under headings in
/// brackets. PixelWidth and PixelHeight under [Scan] count, in metres; of lines given twice the first. Nothing when one
/// of them is absent, is no number or is not believable. `data` may be null when `size` is 0.
std::optional<PixelSizeNm> PixelSizeFromFei(const char* data, std::size_t size);

}  // namespace qvox
