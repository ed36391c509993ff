#pragma once

#include <string>
#include <vector>

#include <wx/string.h>

#include "LabelOutline.h"

namespace Korvane {

/// An object's region in an image.
struct ImageRegion {
    std::string name;
    std::vector<OutlinePolygon> polygons;  ///< at least one; the centre of the first pixel is (0, 0)
};

/// The files that hold regions for other programs. In their coordinates (0, 0) is the corner of the first pixel.
enum class RegionFormat {
    kImageJ,   ///< a set of regions for the ROI manager, a zip archive with a file for each
    kGeoJson,  ///< a FeatureCollection, as QuPath reads it
};

/// One file of an ImageJ set: a traced region for a polygon along pixels, a sub-pixel one for another, a composite for
/// several polygons or holes. Throws ToolkitError for coordinates beyond what the format holds.
std::string ImageJRegion(const ImageRegion& region);

/// An archive of these regions, NAME.roi each. The same regions give the same bytes.
std::string ImageJRegionSet(const std::vector<ImageRegion>& regions);

std::string GeoJsonRegions(const std::vector<ImageRegion>& regions);

/// Writes the regions to a file; complete or absent. Throws ToolkitError.
void WriteRegions(const wxString& path, const std::vector<ImageRegion>& regions, RegionFormat format);

}  // namespace Korvane
