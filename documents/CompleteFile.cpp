#include "CompleteFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "ToolkitError.h"

namespace Korvane {

namespace {

std::string ErrorText(int code) { return std::generic_category().message(code); }

/// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return number_; }
    int Close() { return ::close(std::exchange(number_, -1)); }

private:
    int number_;
};

mode_t PermissionsFor(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) return status.st_mode & 0777;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

/// A link keeps being a link: what is replaced is the file that it leads to.
std::string Resolved(const std::string& path) {
    std::error_code unreachable;
    const std::filesystem::path target = std::filesystem::canonical(path, unreachable);
    if (!unreachable) return target.string();
    const std::filesystem::path absolute = std::filesystem::absolute(path, unreachable);
    return unreachable ? path : absolute.string();
}

}  // namespace

CompleteFile::CompleteFile(std::string path, std::string task) : path_(std::move(path)), task_(std::move(task)) {
    const std::string target = Resolved(path_);
    std::error_code ignored;
    if (std::filesystem::is_directory(target, ignored)) Fail(ErrorText(EISDIR));
    // A file that may not be changed is not replaced either.
    if (::access(target.c_str(), F_OK) == 0 && ::access(target.c_str(), W_OK) != 0) Fail(ErrorText(errno));
    const std::filesystem::path folder = std::filesystem::path(target).parent_path();
    std::string pattern = (folder / ".korvane-XXXXXX").string();
    const Descriptor file(::mkstemp(pattern.data()));
    if (file.Number() < 0) Fail(ErrorText(errno));
    temporaryPath_ = pattern;
    ::fchmod(file.Number(), PermissionsFor(target));
}

CompleteFile::~CompleteFile() {
    if (!temporaryPath_.empty()) ::unlink(temporaryPath_.c_str());
}

void CompleteFile::Fail(const std::string& cause) const {
    throw qvox::ToolkitError("Cannot " + task_ + " '" + path_ + "': " + cause + ".");
}

void CompleteFile::Commit() {
    Descriptor file(::open(temporaryPath_.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Number() < 0 || ::fsync(file.Number()) != 0 || file.Close() != 0) Fail(ErrorText(errno));
    if (::rename(temporaryPath_.c_str(), Resolved(path_).c_str()) != 0) Fail(ErrorText(errno));
    temporaryPath_.clear();
}

void WriteCompleteFile(const std::string& path, std::string_view bytes, const std::string& task) {
    CompleteFile target(path, task);
    Descriptor file(::open(target.TemporaryPath().c_str(), O_WRONLY | O_CLOEXEC));
    if (file.Number() < 0) target.Fail(ErrorText(errno));
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.Number(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) target.Fail(ErrorText(written == 0 ? EIO : errno));
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    if (file.Close() != 0) target.Fail(ErrorText(errno));
    target.Commit();
}

}  // namespace Korvane
