#pragma once

#include <string>

#include "files/ImageJDescription.h"
#include "files/ResolutionTags.h"

namespace qvox {

/// The data of the first image in the OME-XML description of a first page.
struct OmeFinding {
    ResolutionFinding size;
    StackLayout stack;
    bool isOme = false;
};

/// Reads PhysicalSizeX, Y, Z with their units (micrometres by default) and the plane counts. A description that is not
/// OME-XML, is broken or longer than 2 MiB yields isOme false; values that are not positive lengths yield 0.
OmeFinding ReadOmeXml(const std::string& description);

}  // namespace qvox
