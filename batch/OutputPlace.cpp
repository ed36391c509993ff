#include "OutputPlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "ImageList.h"
#include "ImageRun.h"
#include "RecordLog.h"
#include "RunFolders.h"
#include "files/AtomicFile.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

std::string CauseText(int error) { return std::generic_category().message(error); }

bool IsOutput(const std::string& path) {
    struct stat target {};
    struct stat output {};
    return ::stat(path.c_str(), &target) == 0 && ::fstat(STDOUT_FILENO, &output) == 0 &&
           target.st_dev == output.st_dev && target.st_ino == output.st_ino;
}

/// True for names of open descriptors: /dev/stderr, /dev/fd/3, /proc/self/fd/3. They may lead to a regular file, which
/// must not be replaced under its writer.
bool IsDescriptor(const std::string& path) {
    fs::path place = path;
    std::error_code failure;
    constexpr int kMostLinks = 40;
    for (int i = 0; i < kMostLinks; ++i) {
        const std::string folder = fs::weakly_canonical(place.parent_path(), failure).string();
        if (folder.rfind("/proc/", 0) == 0 && folder.size() > 3 && folder.compare(folder.size() - 3, 3, "/fd") == 0) {
            return true;
        }
        const fs::path next = fs::read_symlink(place, failure);
        if (failure) return false;
        place = next.is_absolute() ? next : place.parent_path() / next;
    }
    return false;
}

OutputKind KindOf(const std::string& given, const std::string& path) {
    if (given == "-" || IsOutput(path)) return OutputKind::kStream;
    struct stat status {};
    const bool isOther = ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    return isOther || IsDescriptor(path) ? OutputKind::kDevice : OutputKind::kFile;
}

/// Where the file is, or would be: behind links.
fs::path TargetOf(const std::string& path) {
    std::error_code failure;
    const fs::path target = fs::canonical(path, failure);
    return failure ? fs::path(path) : target;
}

constexpr std::size_t kTiffStartLength = 4;

/// The first bytes of a file; none when it cannot be opened.
std::optional<std::string> StartOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::string start(kTiffStartLength, '\0');
    file.read(start.data(), kTiffStartLength);
    return start;
}

/// True for a file that begins as a TIFF or BigTIFF of either byte order does.
bool IsTiff(const std::string& start) {
    constexpr std::size_t kLength = kTiffStartLength;
    const std::array<std::string, 4> starts{std::string("II*\0", kLength), std::string("MM\0*", kLength),
                                            std::string("II+\0", kLength), std::string("MM\0+", kLength)};
    return std::find(starts.begin(), starts.end(), start) != starts.end();
}

}  // namespace

OutputPlace::OutputPlace(std::string what, std::string given)
    : what_(std::move(what)), given_(std::move(given)), path_(FullPath(given_)), kind_(KindOf(given_, path_)) {
    std::error_code failure;
    if (kind_ != OutputKind::kStream && fs::is_directory(path_, failure)) Refuse("is a folder.");
    if (kind_ == OutputKind::kDevice && ::access(path_.c_str(), W_OK) != 0) {
        Refuse("cannot be written to: " + CauseText(errno) + ".");
    }
}

void OutputPlace::Refuse(const std::string& cause) const {
    throw UsageError("The " + what_ + " '" + given_ + "' " + cause);
}

bool OutputPlace::HasContents() const {
    struct stat status {};
    return IsFile() && ::stat(path_.c_str(), &status) == 0 && status.st_size > 0;
}

void OutputPlace::RequireNameFits() const {
    const std::size_t limit = LongestNameIn(fs::path(path_).parent_path().string());
    const std::size_t length = fs::path(path_).filename().native().size();
    if (limit == 0 || length <= limit) return;
    Refuse("has too long a name: it has " + std::to_string(length) + " bytes, and its folder takes at most " +
           std::to_string(limit) + ".");
}

/// What is written here is text: a picture or labels of this name are a slip, with leave to replace files too.
void OutputPlace::RequireNoTiff() const {
    const std::optional<std::string> start = StartOf(path_);
    if (!start) Refuse("cannot be replaced: it cannot be read, and may be a TIFF file.");
    if (IsTiff(*start)) Refuse("is a TIFF file; such a file is not replaced by text.");
}

void OutputPlace::RequireWritable(const std::vector<std::string>& foldersToBe) const {
    if (!IsFile()) return;
    const fs::path target = TargetOf(path_);
    if (target.filename() == kRecordName) Refuse("would be written where the record of the labels goes.");
    if (target.filename() == kRunDocumentName) Refuse("would be written where the report of the run goes.");
    RequireNameFits();
    struct stat status {};
    const bool isLink = ::lstat(path_.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    const bool isThere = ::stat(path_.c_str(), &status) == 0;
    const int error = isThere ? 0 : errno;
    if (isLink && !isThere) Refuse("is a link that leads to no file.");
    if (isThere && ::access(path_.c_str(), W_OK) != 0) Refuse("cannot be replaced: " + CauseText(errno) + ".");
    if (HasContents()) RequireNoTiff();
    const std::string folder = target.parent_path().string();
    if (WouldBeMade(folder, foldersToBe)) return;
    if (::access(folder.c_str(), W_OK | X_OK) != 0) Refuse("cannot be written: " + CauseText(errno) + ".");
    // A path may be too long as a whole.
    if (!isThere && error != ENOENT) Refuse("cannot be written: " + CauseText(error) + ".");
}

void OutputPlace::Write(std::FILE* output, const std::function<void(const PutOutput& put)>& give) const {
    switch (kind_) {
        case OutputKind::kNone:
            return;
        case OutputKind::kStream:
            return give([output](const std::string& bytes) {
                if (WriteOut(output, bytes)) return true;
                throw StreamError("Cannot write to the standard output", CauseText(errno));
            });
        case OutputKind::kDevice:
            return WriteDevice(give);
        case OutputKind::kFile:
            break;
    }
    qvox::AtomicFile file(path_);
    give([&file](const std::string& bytes) {
        return file.Write(bytes.data(), bytes.size()) == static_cast<std::ptrdiff_t>(bytes.size());
    });
    // A write that failed makes Commit throw with its cause.
    file.Commit();
}

void OutputPlace::Write(std::FILE* output, const std::string& bytes) const {
    Write(output, [&bytes](const PutOutput& put) { put(bytes); });
}

void OutputPlace::WriteDevice(const std::function<void(const PutOutput& put)>& give) const {
    const auto fail = [this](int error) { throw StreamError("Cannot write to '" + given_ + "'", CauseText(error)); };
    const int fd = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) fail(errno);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> device(::fdopen(fd, "a"), &std::fclose);
    if (!device) {
        const int error = errno;
        ::close(fd);
        fail(error);
    }
    give([&](const std::string& bytes) {
        if (!WriteOut(device.get(), bytes)) fail(errno);
        return true;
    });
}

}  // namespace Korvane
