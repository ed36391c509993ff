#pragma once

#include <cstdint>
#include <string>

#include "VoxelImage.h"
#include "files/ResolutionTags.h"

namespace qvox {

/// The planes of a stack: how many z planes, and how far apart their pages are in the file when channels or time
/// points lie between them (those of the first channel and time point count).
struct StackLayout {
    std::uint64_t planes = 1;
    std::uint64_t pageStride = 1;
};

/// True when a first page's description is one of ImageJ's.
bool IsImageJDescription(const std::string& description);

/// The "key=value" lines after the first; a line without "=" is passed over, of equal keys the first counts.
/// At most the first 10,000 of them.
Description ImageJEntries(const std::string& description);

/// Pixel size from unit and spacing of the description together with the resolution entries, which are pixels per
/// that unit. With the unit inch, pixels coarser than 1 micrometre are a print resolution.
ResolutionFinding ResolutionFromImageJ(const Description& entries, const ResolutionTags& tags);

StackLayout StackFromImageJ(const Description& entries);

}  // namespace qvox
