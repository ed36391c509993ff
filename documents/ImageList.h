#pragma once

#include <string>
#include <vector>

namespace Korvane {

/// True when `a` comes before `b` in natural order: digits compare by the number they form, of any length, letters
/// without regard to ASCII case; names that are equal this way by their bytes.
bool NaturalLess(const std::string& a, const std::string& b);

/// The full form of a path, without "." parts.
std::string FullPath(const std::string& path);

/// The full paths of the images that were asked for, in the order given. A folder stands for its *.tif and *.tiff files
/// (any case; not those that begin with "seg_", "export_" or "."), in natural order, without its subfolders. A path
/// that comes twice is kept once. Files of folders that begin with `leftOut` are passed over too. Throws ToolkitError
/// for an empty name and for a folder that cannot be read or holds no image. A file that does not exist is listed: it
/// fails when its turn comes, and the others are done.
std::vector<std::string> ListImages(const std::vector<std::string>& arguments, const std::string& leftOut = "");

}  // namespace Korvane
