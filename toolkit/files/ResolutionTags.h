#pragma once

#include <optional>
#include <string>

#include "PixelResolution.h"

struct tiff;

namespace qvox {

/// The resolution entries of one page as they stand in the file; absent means that the entry was not written.
/// A y of 0 counts as absent.
struct ResolutionTags {
    std::optional<double> x;
    std::optional<double> y;
    std::optional<int> unit;  ///< 1 none, 2 inch, 3 centimetre
};

/// A pixel size that one source gives, or the reason why it gives none (resolution 0 on every axis).
struct ResolutionFinding {
    PixelResolution resolution;
    std::string note;
};

ResolutionTags ReadResolutionTags(tiff* file);

/// Pixels per micrometre from pixels per so many micrometres; 0 (undefined) for an absent, zero, negative, infinite or
/// NaN value and for a result that a float cannot hold.
float PixelsPerMicrometre(std::optional<double> pixelsPerUnit, double micrometresPerUnit);

/// The pixel size by the entries alone. An absent unit is inch, as the standard has it. Pixels coarser than 1
/// micrometre are a print resolution and stay undefined. An absent y is x.
ResolutionFinding ResolutionFromTags(const ResolutionTags& tags);

}  // namespace qvox
