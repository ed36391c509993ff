#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "files/PixelSizeNm.h"
#include "files/ResolutionTags.h"
#include "files/VendorPage.h"

namespace qvox {

/// The contents of the XML that a JEOL TEM (SightX) writes into the ImageDescription entry.
struct JeolFinding {
    bool isJeol = false;  ///< false: the text is something else, or too broken to tell
    std::optional<PixelSizeNm> size;
    std::string reason;  ///< of isJeol without a size, for a person
};

/// Reads XML whose root is TemReporter. The size is that of the resolution entries, which are those of the image at its
/// nominal magnification, divided by ImageFormingSystem's SelectorValue; so only where its ModeString is "MAG" (in
/// diffraction SelectorValue is the camera length) and SelectorUnitString, if there, is "X". As for resolution entries
/// alone, a unit that is not written is the inch, and a y entry that is not written is the x entry. No size with the
/// unit "none" (1), with entries that are not positive, nor when it is not believable. Texts beyond 2 MiB are not read.
/// `data` may be null when `size` is 0.
JeolFinding ReadJeolXml(const char* data, std::size_t size, const ResolutionTags& tags);

/// The same of a file's description, which is that of its first page, and of a page's resolution entries.
VendorAnswer ReadJeolDescription(const VendorPage& page, std::uint32_t descriptionTag);

}  // namespace qvox
