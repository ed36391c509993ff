#include "files/AtomicFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <system_error>

#include "ToolkitError.h"

namespace qvox {

namespace {

constexpr char kPrefix[] = ".korvane-";
constexpr char kSuffix[] = ".tmp";
constexpr std::time_t kForgottenSeconds = 600;

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

/// The process that a temporary file's name tells of: ".korvane-PROCESS-NUMBER.tmp"; 0 for any other name.
long WriterOf(const std::string& name) {
    std::size_t at = std::strlen(kPrefix);
    const auto skipDigits = [&] {
        const std::size_t first = at;
        while (at < name.size() && name[at] >= '0' && name[at] <= '9') ++at;
        return at > first;
    };
    if (name.compare(0, at, kPrefix) != 0) return 0;
    const char* const digits = name.c_str() + at;
    if (!skipDigits() || at == name.size() || name[at++] != '-' || !skipDigits()) return 0;
    return name.compare(at, std::string::npos, kSuffix) == 0 ? std::strtol(digits, nullptr, 10) : 0;
}

// The writer holds a lock on its temporary file for as long as it lives, so a free lock means an abandoned file. The
// process number guards the moment between making a file and locking it.
bool IsAbandoned(const std::string& path, long writer) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat status {};
    bool abandoned = flock(fd, LOCK_EX | LOCK_NB) == 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    if (abandoned) {
        const bool alive = writer <= INT_MAX && (kill(static_cast<pid_t>(writer), 0) == 0 || errno == EPERM);
        abandoned = !alive || std::time(nullptr) - status.st_mtime > kForgottenSeconds;
    }
    close(fd);
    return abandoned;
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : path_(path), target_(path) {
    if (path.empty()) Fail(ENOENT);
    if (path.find('\0') != std::string::npos) Fail(EINVAL);
    FollowLink();
    struct stat status {};
    const bool exists = stat(target_.c_str(), &status) == 0;
    if (exists) {
        if (S_ISDIR(status.st_mode)) Fail(EISDIR);
        if (!S_ISREG(status.st_mode)) throw FileError(FileError::Task::kWrite, path_, "it is not a regular file");
        if (access(target_.c_str(), W_OK) != 0) Fail(errno);
        mode_ = status.st_mode & 07777u;
    } else if (errno != ENOENT) {
        Fail(errno);
    }
    const std::size_t slash = target_.rfind('/');
    folder_ = slash == std::string::npos ? "." : target_.substr(0, slash + 1);
    if (slash + 1 == target_.size()) Fail(EISDIR);
    RemoveLeftovers();
    OpenTemporary();
    if (exists && fchmod(fd_, mode_) != 0) {
        const int error = errno;
        if (!temporaryPath_.empty()) unlink(temporaryPath_.c_str());
        close(fd_);
        Fail(error);
    }
}

AtomicFile::~AtomicFile() {
    if (!temporaryPath_.empty()) unlink(temporaryPath_.c_str());
    if (fd_ >= 0) close(fd_);
}

void AtomicFile::Fail(int error) const {
    throw FileError(FileError::Task::kWrite, path_, std::generic_category().message(error));
}

void AtomicFile::FollowLink() {
    struct stat status {};
    if (lstat(target_.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return;
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(target_.c_str(), nullptr), &std::free);
    if (!real) Fail(errno);
    target_ = real.get();
}

std::string AtomicFile::TemporaryName(int attempt) const {
    const std::string separator = folder_.back() == '/' ? "" : "/";
    return folder_ + separator + kPrefix + std::to_string(getpid()) + "-" + std::to_string(attempt) + kSuffix;
}

void AtomicFile::OpenTemporary() {
    fd_ = open(folder_.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0666);
    if (fd_ >= 0) {
        flock(fd_, LOCK_EX | LOCK_NB);
        return;
    }
    constexpr int kAttempts = 1000;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::string name = TemporaryName(attempt);
        fd_ = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ >= 0) {
            temporaryPath_ = name;
            flock(fd_, LOCK_EX | LOCK_NB);
            return;
        }
        if (errno != EEXIST) break;
    }
    Fail(errno);
}

void AtomicFile::RemoveLeftovers() const {
    const std::unique_ptr<DIR, FolderCloser> listing(opendir(folder_.c_str()));
    if (!listing) return;
    while (const dirent* entry = readdir(listing.get())) {
        const std::string name = entry->d_name;
        const long writer = WriterOf(name);
        if (writer == 0) continue;
        const std::string path = folder_ + "/" + name;
        if (IsAbandoned(path, writer)) unlink(path.c_str());
    }
}

std::ptrdiff_t AtomicFile::Read(void* bytes, std::size_t count) {
    const ssize_t done = read(fd_, bytes, count);
    if (done < 0 && error_ == 0) error_ = errno;
    return done;
}

std::ptrdiff_t AtomicFile::Write(const void* bytes, std::size_t count) {
    if (error_ != 0) return -1;
    const char* next = static_cast<const char*>(bytes);
    std::size_t left = count;
    while (left > 0) {
        const ssize_t done = write(fd_, next, left);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) {
            error_ = done < 0 ? errno : ENOSPC;
            return -1;
        }
        next += done;
        left -= static_cast<std::size_t>(done);
    }
    return static_cast<std::ptrdiff_t>(count);
}

std::int64_t AtomicFile::Seek(std::int64_t offset, int whence) {
    const off_t at = lseek(fd_, offset, whence);
    if (at < 0 && error_ == 0) error_ = errno;
    return at;
}

// A file that was opened without a name gets one now, so that it can be renamed over the target.
void AtomicFile::TakeName() {
    const std::string self = "/proc/self/fd/" + std::to_string(fd_);
    constexpr int kAttempts = 1000;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::string name = TemporaryName(attempt);
        if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            temporaryPath_ = name;
            return;
        }
        if (errno != EEXIST) break;
    }
    Fail(errno);
}

void AtomicFile::Commit() {
    if (error_ != 0) Fail(error_);
    if (fsync(fd_) != 0) Fail(errno);
    if (temporaryPath_.empty()) TakeName();
    if (rename(temporaryPath_.c_str(), target_.c_str()) != 0) Fail(errno);
    temporaryPath_.clear();
    // The renaming itself reaches the disk with the folder; where a file system cannot do that, the file is in place
    // all the same.
    const int folder = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
    const int closed = close(fd_);
    fd_ = -1;
    static_cast<void>(closed);
}

}  // namespace qvox
