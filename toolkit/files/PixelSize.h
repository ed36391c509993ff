#pragma once

#include <optional>
#include <string>

#include "files/ImageFile.h"
#include "files/ImageJDescription.h"
#include "files/ResolutionTags.h"
#include "files/StoredDescription.h"
#include "files/VendorPixelSize.h"

namespace qvox {

/// Everything that the description entry and the resolution entries of a file say beside the voxels.
struct PixelSize {
    PixelResolution resolution;
    ResolutionSource source = ResolutionSource::kNone;
    std::string note;
    StackLayout stack;
    std::optional<StoredProperties> stored;  ///< of a file that SaveImageFile wrote
};

/// Queries the sources in this order: the maker's entries, OME-XML, ImageJ description, resolution entries alone.
/// `description` is the first page's ImageDescription, `tags` and `vendor` are the chosen page's.
PixelSize FindPixelSize(const std::string& description, const ResolutionTags& tags, const VendorFinding& vendor = {});

}  // namespace qvox
