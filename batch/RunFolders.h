#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "FilePlan.h"

namespace Korvane {

struct ImageRun;

/// The folders that a run writes into, each once. Those below the chosen ones mirror the images'.
std::vector<std::string> FoldersToWrite(const ImageRun& run, const FilePlan& plan);

/// Makes the folders where they are not there. Throws UsageError for one that cannot be made or written to.
void MakeFolders(const std::vector<std::string>& folders);

/// Throws UsageError for a folder that MakeFolders would refuse; makes none.
void RequireFoldersCanBe(const std::vector<std::string>& folders);

/// The folder itself, or the nearest one around it that is there: a new folder is on its file system.
std::string FolderThatIsThere(const std::string& folder);

/// Longest name, in bytes, that the file system takes in a folder, which need not be there; 0: no limit is known.
std::size_t LongestNameIn(const std::string& folder);

/// True where making the folders makes this one, which is not there.
bool WouldBeMade(const std::string& folder, const std::vector<std::string>& folders);

}  // namespace Korvane
