#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "PathList.h"

namespace Korvane {

/// True when `a` comes before `b` in natural order: digits compare by the number they form, of any length, letters
/// without regard to ASCII case; names that are equal this way by their bytes.
bool NaturalLess(const std::string& a, const std::string& b);

/// The full form of a path, without "." parts.
std::string FullPath(const std::string& path);

/// True for names that end in .tif or .tiff, in any case.
bool HasImageEnding(const std::string& name);

enum class Subfolders { kPassedOver, kEntered };

/// Which files of folders are taken, by patterns (`*`, `?`, `[...]`) that their names match as a whole.
struct FolderChoice {
    std::vector<std::string> include;  ///< none: every image
    std::vector<std::string> exclude;
    Subfolders subfolders = Subfolders::kPassedOver;
    std::string results;  ///< a folder that is not entered as a subfolder: it gets what is made; empty: none
};

/// A number for a path, the same on every machine: 64-bit FNV-1a (Fowler, Noll, Vo) of the path without "." parts and
/// repeated separators, its halves combined, since the lower bits alone are not as well spread.
std::uint64_t PathKey(const std::string& path);

/// The images that were asked for, and how many TIFF files of folders were left out.
struct ImageListing {
    PathList images;
    PathList subfolders;  ///< of each: its folder below the one that stands for it; mostly empty
    /// Of each: the PathKey of its path as it was asked for, folder and name in it as they were given; of a path that
    /// came several times, the smallest. So it depends neither on the order of the arguments nor on the working folder.
    std::vector<std::uint64_t> keys;
    std::vector<std::string> notEntered;  ///< links to folders, as sentences
    std::size_t products = 0;             ///< made by earlier runs
    std::size_t unchosen = 0;             ///< by the patterns
    bool fromFolders = false;             ///< a folder was among the arguments
};

/// The full paths of the images that were asked for, in the order given. A folder stands for its *.tif and *.tiff files
/// (any case; not those that begin with "."), in natural order, and where they are entered for those of its subfolders,
/// folder by folder in natural order. Links to folders are not entered. The files that the programs
/// write for an image (ProductNames.h) are left out, unless a pattern of `include` begins with their prefix. Patterns
/// hold for the files of folders only; a file that is named is always taken. A path that comes twice is kept once.
/// Throws ToolkitError for an empty name and for a folder that cannot be read or holds no image. A file that does not
/// exist is listed: it fails when its turn comes, and the others are done. `files` follow the arguments and are taken
/// as files without a look at the file system.
ImageListing ListImages(const std::vector<std::string>& arguments, const FolderChoice& choice = {},
                        const PathList& files = {});

/// The order of ListImages for two paths below one folder: images before subfolders, each in natural order.
bool WalkLess(const std::string& a, const std::string& b);

/// "6 products of earlier runs".
std::string ProductsText(std::size_t count);

/// "8 files of folders left out: 6 products of earlier runs, 2 by name patterns."; empty where none were.
std::string LeftOutText(const ImageListing& listing);

}  // namespace Korvane
