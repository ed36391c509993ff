#pragma once

#include <string>
#include <vector>

#include "ToolkitError.h"

namespace Korvane {

/// Keeps other runs from writing results into the same folders as long as it lives, where their file system has locks;
/// waits for those that do. A process that has the lock of a folder must not ask for it again. Links are followed, and
/// a folder may be named twice. Folders that cannot be read are passed over.
class FolderLock {
public:
    explicit FolderLock(const std::vector<std::string>& folders);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    std::vector<int> descriptors_;
};

/// The folder that a file is in, or would be.
std::string FolderOfFile(const std::string& path);

/// The failure of a run that began when this file was not there, and finds it at the end.
qvox::ToolkitError MadeMeanwhile(const std::string& path);

/// Throws MadeMeanwhile where the file is there. Only under the lock of its folder does the answer hold until it is
/// written.
void RequireStillFree(const std::string& path);

}  // namespace Korvane
