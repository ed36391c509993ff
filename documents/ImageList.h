#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Korvane {

/// True when `a` comes before `b` in natural order: digits compare by the number they form, of any length, letters
/// without regard to ASCII case; names that are equal this way by their bytes.
bool NaturalLess(const std::string& a, const std::string& b);

/// The full form of a path, without "." parts.
std::string FullPath(const std::string& path);

/// Which files of folders are taken, by patterns (`*`, `?`, `[...]`) that their names match as a whole.
struct FolderChoice {
    std::vector<std::string> include;  ///< none: every image
    std::vector<std::string> exclude;
};

/// The images that were asked for, and how many TIFF files of folders were left out.
struct ImageListing {
    std::vector<std::string> images;
    std::size_t products = 0;  ///< made by earlier runs
    std::size_t unchosen = 0;  ///< by the patterns
    bool fromFolders = false;  ///< a folder was among the arguments
};

/// The full paths of the images that were asked for, in the order given. A folder stands for its *.tif and *.tiff files
/// (any case; not those that begin with "."), in natural order, without its subfolders. The files that the programs
/// write for an image (ProductNames.h) are left out, unless a pattern of `include` begins with their prefix. Patterns
/// hold for the files of folders only; a file that is named is always taken. A path that comes twice is kept once.
/// Throws ToolkitError for an empty name and for a folder that cannot be read or holds no image. A file that does not
/// exist is listed: it fails when its turn comes, and the others are done.
ImageListing ListImages(const std::vector<std::string>& arguments, const FolderChoice& choice = {});

/// "6 products of earlier runs".
std::string ProductsText(std::size_t count);

/// "8 files of folders left out: 6 products of earlier runs, 2 by name patterns."; empty where none were.
std::string LeftOutText(const ImageListing& listing);

}  // namespace Korvane
