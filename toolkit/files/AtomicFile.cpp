#include "files/AtomicFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>

#include "ToolkitError.h"

namespace qvox {

namespace {

constexpr char kPrefix[] = ".korvane-";
constexpr char kSuffix[] = ".tmp";
constexpr std::time_t kForgottenSeconds = 600;
constexpr std::int64_t kPendingBytes = std::int64_t{1} << 18;
constexpr long kAttempts = 1000;  // names of one process at a time

/// Stands for this machine in the NUMBER of names, NUMBER / kAttempts: on a folder that machines share, the processes
/// of another one are not seen. At least 1.
long MachineNumber() {
    char name[256] = {};
    gethostname(name, sizeof name - 1);
    unsigned hash = 2166136261u;
    for (const char* c = name; *c != '\0'; ++c) hash = (hash ^ static_cast<unsigned char>(*c)) * 16777619u;
    return 1 + static_cast<long>(hash % 1000000u);
}

/// The folders that this process has written into: how often, and how many names the last look has found.
class WrittenFolders {
public:
    /// True for each file in a small folder, and in a larger one for the first, second, fourth, eighth ... file: a look
    /// through the folder for each would make a run slower with every file that is there.
    bool IsTimeToLook(const std::string& folder) {
        const std::lock_guard<std::mutex> lock(mutex_);
        State& state = states_[folder];
        ++state.files;
        return state.names < kSmallFolder || (state.files & (state.files - 1)) == 0;
    }
    void NoteNames(const std::string& folder, std::uint64_t names) {
        const std::lock_guard<std::mutex> lock(mutex_);
        states_[folder].names = names;
    }

private:
    static constexpr std::uint64_t kSmallFolder = 64;
    struct State {
        std::uint64_t files = 0;
        std::uint64_t names = 0;
    };
    std::mutex mutex_;
    std::map<std::string, State> states_;
};

WrittenFolders& Folders() {
    static WrittenFolders folders;
    return folders;
}

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

struct Writer {
    long process = 0;  ///< 0: the name is none of a temporary file
    long number = 0;
};

/// What the name of a temporary file tells: ".korvane-PROCESS-NUMBER.tmp".
Writer WriterOf(const std::string& name) {
    std::size_t at = std::strlen(kPrefix);
    const auto skipDigits = [&] {
        const std::size_t first = at;
        while (at < name.size() && name[at] >= '0' && name[at] <= '9') ++at;
        return at > first;
    };
    if (name.compare(0, at, kPrefix) != 0) return {};
    const char* const digits = name.c_str() + at;
    if (!skipDigits() || at == name.size() || name[at++] != '-') return {};
    const char* const number = name.c_str() + at;
    if (!skipDigits() || name.compare(at, std::string::npos, kSuffix) != 0) return {};
    return {std::strtol(digits, nullptr, 10), std::strtol(number, nullptr, 10)};
}

// The writer holds a lock on its temporary file for as long as it lives, so a free lock means an abandoned file. The
// process number guards the moment between making a file and locking it.
bool IsAbandoned(const std::string& path, const Writer& writer) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat status {};
    bool abandoned = flock(fd, LOCK_EX | LOCK_NB) == 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    if (abandoned) {
        const long machine = writer.number / kAttempts;
        const bool isElsewhere = machine != 0 && machine != MachineNumber();
        const bool alive = isElsewhere || (writer.process <= INT_MAX &&
                                           (kill(static_cast<pid_t>(writer.process), 0) == 0 || errno == EPERM));
        abandoned = !alive || std::time(nullptr) - status.st_mtime > kForgottenSeconds;
    }
    close(fd);
    return abandoned;
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : path_(path), target_(path) {
    if (path.empty()) Fail(ENOENT);
    if (path.find('\0') != std::string::npos) Fail(EINVAL);
    const bool isThere = FollowLink();
    struct stat status {};
    errno = ENOENT;
    const bool exists = isThere && stat(target_.c_str(), &status) == 0;
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

/// False where there is nothing.
bool AtomicFile::FollowLink() {
    struct stat status {};
    if (lstat(target_.c_str(), &status) != 0) return errno != ENOENT;
    if (!S_ISLNK(status.st_mode)) return true;
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(target_.c_str(), nullptr), &std::free);
    if (!real) Fail(errno);
    target_ = real.get();
    return true;
}

std::string AtomicFile::TemporaryName(int attempt) const {
    const std::string separator = folder_.back() == '/' ? "" : "/";
    const long number = MachineNumber() * kAttempts + attempt;
    return folder_ + separator + kPrefix + std::to_string(getpid()) + "-" + std::to_string(number) + kSuffix;
}

void AtomicFile::OpenTemporary() {
    fd_ = open(folder_.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0666);
    if (fd_ >= 0) {
        flock(fd_, LOCK_EX | LOCK_NB);
        return;
    }
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
    if (!Folders().IsTimeToLook(folder_)) return;
    const std::unique_ptr<DIR, FolderCloser> listing(opendir(folder_.c_str()));
    if (!listing) return;
    std::uint64_t names = 0;
    while (const dirent* entry = readdir(listing.get())) {
        ++names;
        const std::string name = entry->d_name;
        const Writer writer = WriterOf(name);
        if (writer.process == 0) continue;
        const std::string path = folder_ + "/" + name;
        if (IsAbandoned(path, writer)) unlink(path.c_str());
    }
    Folders().NoteNames(folder_, names);
}

bool AtomicFile::Flush() {
    if (error_ != 0) return false;
    if (pending_.empty()) return true;
    if (descriptor_ != pendingAt_ && lseek(fd_, pendingAt_, SEEK_SET) < 0) {
        error_ = errno;
        return false;
    }
    std::size_t done = 0;
    while (done < pending_.size()) {
        const ssize_t count = write(fd_, pending_.data() + done, pending_.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            error_ = count < 0 ? errno : ENOSPC;
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    descriptor_ = pendingAt_ + static_cast<std::int64_t>(done);
    pending_.clear();
    return true;
}

int AtomicFile::Descriptor() {
    Flush();
    return fd_;
}

std::ptrdiff_t AtomicFile::Read(void* bytes, std::size_t count) {
    if (!Flush()) return -1;
    const ssize_t done = pread(fd_, bytes, count, at_);
    if (done < 0) {
        if (error_ == 0) error_ = errno;
        return -1;
    }
    at_ += done;
    return done;
}

// The TIFF library writes an image strip by strip and then changes a few bytes at the file's start: most files reach
// the system in one call.
std::ptrdiff_t AtomicFile::Write(const void* bytes, std::size_t count) {
    if (error_ != 0) return -1;
    const auto size = static_cast<std::int64_t>(count);
    const std::int64_t end = pendingAt_ + static_cast<std::int64_t>(pending_.size());
    // The library leaves out what it will write next; beyond the end of a file are zeros.
    const bool isGap = at_ > end && end == size_;
    const bool fits = at_ >= pendingAt_ && (at_ <= end || isGap) && at_ + size - pendingAt_ <= kPendingBytes;
    if (!fits) {
        if (!Flush()) return -1;
        pendingAt_ = at_;
    }
    const auto place = static_cast<std::size_t>(at_ - pendingAt_);
    if (place > pending_.size()) pending_.resize(place, '\0');
    const std::size_t over = std::min(count, pending_.size() - place);
    pending_.replace(place, over, static_cast<const char*>(bytes), count);
    at_ += size;
    size_ = std::max(size_, at_);
    return static_cast<std::ptrdiff_t>(count);
}

std::int64_t AtomicFile::Seek(std::int64_t offset, int whence) {
    std::int64_t from = 0;
    if (whence == SEEK_CUR) from = at_;
    if (whence == SEEK_END) from = size_;
    if (from + offset < 0) {
        if (error_ == 0) error_ = EINVAL;
        return -1;
    }
    at_ = from + offset;
    return at_;
}

// A file that was opened without a name gets one now, so that it can be renamed over the target.
void AtomicFile::TakeName() {
    const std::string self = "/proc/self/fd/" + std::to_string(fd_);
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
    if (!Flush()) Fail(error_);
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
