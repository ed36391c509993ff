#include "FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace Korvane {

namespace {

struct OpenFolder {
    dev_t device;
    ino_t number;
    int descriptor;
};

std::vector<OpenFolder> Open(const std::vector<std::string>& folders) {
    std::vector<OpenFolder> open;
    for (const std::string& folder : folders) {
        const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor < 0) continue;
        struct stat status {};
        ::fstat(descriptor, &status);
        open.push_back({status.st_dev, status.st_ino, descriptor});
    }
    return open;
}

}  // namespace

FolderLock::FolderLock(const std::vector<std::string>& folders) {
    std::vector<OpenFolder> open = Open(folders);
    const auto place = [](const OpenFolder& folder) { return std::pair(folder.device, folder.number); };
    // All processes lock in one order, so none waits for another that waits for it.
    std::sort(open.begin(), open.end(), [&](const auto& a, const auto& b) { return place(a) < place(b); });
    for (std::size_t i = 0; i < open.size(); ++i) {
        // A second descriptor of a folder would wait for the first one.
        if (i > 0 && place(open[i]) == place(open[i - 1])) {
            ::close(open[i].descriptor);
            continue;
        }
        descriptors_.push_back(open[i].descriptor);
        while (::flock(open[i].descriptor, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
}

FolderLock::~FolderLock() {
    for (const int descriptor : descriptors_) ::close(descriptor);
}

std::string FolderOfFile(const std::string& path) {
    std::error_code failure;
    const std::filesystem::path full = std::filesystem::absolute(path, failure);
    // Two names of one file by links lead to one folder.
    const std::filesystem::path target = std::filesystem::weakly_canonical(full, failure);
    return (failure ? full : target).parent_path().string();
}

qvox::ToolkitError MadeMeanwhile(const std::string& path) {
    return qvox::ToolkitError("'" + path + "' was made by another program meanwhile and is kept.");
}

void RequireStillFree(const std::string& path) {
    std::error_code unreachable;
    if (std::filesystem::exists(path, unreachable)) throw MadeMeanwhile(path);
}

}  // namespace Korvane
