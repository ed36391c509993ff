#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "VoxelImage.h"

namespace qvox {

/// The properties that SaveImageFile keeps beside the voxels, in the ImageDescription entry of the first page: a text
/// in ImageJ's manner (so that ImageJ finds the unit and the stack), followed by lines of this program's own:
///     qvox=1
///     qvox.resolution=X Y Z      shortest decimal text that gives the float back
///     qvox.offset=X Y Z
///     qvox.entry.KEY=VALUE       one per entry of the description map
/// In keys and values every byte that is not a printable ASCII character, "%" and the backslash are written as %XX, in
/// keys "=" too, so that any bytes come back and the text itself is ASCII on single lines.
struct StoredProperties {
    PixelResolution resolution;
    VoxelOffset offset;
    Description description;
};

/// The largest sizes of a description, so that a load stays within its memory: a text from elsewhere, this program's
/// own text (in which a byte of the former may become three), and the entries of a map.
constexpr std::uint64_t kLongestForeignDescription = std::uint64_t{3} << 20;
constexpr std::uint64_t kLongestOwnDescription = 3 * kLongestForeignDescription + (std::uint64_t{64} << 10);
constexpr std::uint64_t kMostDescriptionEntries = 9000;

/// True when the entries can be stored: not too many, and their text leaves room for the lines before them.
bool IsStorable(const Description& entries);

/// Leaves out each entry that can no longer be stored after those before it, so that IsStorable holds.
void LeaveOutUnstorable(Description& entries);

/// The Orientation entry of a file, which says how its rows and columns are to be shown: 1 (as stored) where the
/// description has no entry "Orientation" of 1 to 8.
std::uint16_t OrientationOf(const Description& entries);

/// Makes OrientationOf give this one.
void SetOrientation(Description& entries, std::uint16_t orientation);

std::string DescriptionText(const StoredProperties& properties, std::uint64_t planes);

/// Nothing when the text is not one that DescriptionText has made.
std::optional<StoredProperties> PropertiesFromText(const std::string& text);

/// The resolution as it can be stored: 0 for what is not a positive finite number.
PixelResolution StorableResolution(const PixelResolution& resolution);

/// True when a resolution entry (a pair of 32-bit integers) can carry the value.
bool FitsRational(float pixelsPerMicrometre);

/// Takes the exactly stored value where it is the one that the file's entry shows, rounded; the entry has been changed
/// by another program where they differ by more than 1e-6, and then counts.
float ExactWhereEntryAgrees(float entry, float stored);

}  // namespace qvox
