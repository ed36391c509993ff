#pragma once

#include <string>
#include <vector>

namespace Korvane {

/// Which group each image belongs to.
struct ImageGroups {
    std::vector<std::string> names;  ///< in the order in which images have them; UTF-8
    std::vector<std::size_t> ofImage;
};

/// The folder of each image as its group: the folder's name, with as much of the path before it as tells the folders
/// apart.
ImageGroups GroupByFolder(const std::vector<std::string>& paths);

/// Groups from the text of a table of comma- or semicolon-separated values whose first line names the columns, `image`
/// and `group` among them. An image is named by its path, or by the end of it: its file name, with or without folders.
/// Throws ToolkitError with what is wrong: columns that are not there, an image without a line, or with lines that
/// disagree.
ImageGroups GroupByTable(const std::vector<std::string>& paths, const std::string& table);

}  // namespace Korvane
