#pragma once

#include <string>

#include "files/ImageJDescription.h"
#include "files/ResolutionTags.h"

namespace qvox {

/// What the OME-XML description of a first page says of its first image.
struct OmeFinding {
    ResolutionFinding size;
    StackLayout stack;
    bool isOme = false;
};

/// Reads PhysicalSizeX, Y, Z with their units (micrometres by default) and the plane counts. A description that is not
/// OME-XML, is broken or longer than 2 MiB yields isOme false; values that are not positive lengths yield 0.
OmeFinding ReadOmeXml(const std::string& description);

}  // namespace qvox
