#pragma once

#include <string>
#include <vector>

#include "PathList.h"

namespace Korvane {

/// What ends the name of an image in a list.
enum class ListSeparator {
    kLine,  ///< a line feed, with or without a carriage return before it
    kNull,  ///< a zero byte: names may then hold anything
};

/// The names of a list of images, split by what has to be looked at.
struct ListedImages {
    PathList files;                   ///< end in .tif or .tiff: taken as files without a look at the file system
    std::vector<std::string> others;  ///< may be folders
};

/// The names in a list, in its order; "-" is the standard input. Throws ToolkitError for a list that cannot be read,
/// holds nothing, or has a name that is empty; the end of the last line may be missing.
ListedImages ReadListFile(const std::string& path, ListSeparator separator);

}  // namespace Korvane
