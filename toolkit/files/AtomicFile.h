#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qvox {

/// A file that appears under its name complete or not at all. It is written without a name where the file system can
/// do that, otherwise as ".korvane-PROCESS-NUMBER.tmp" in the target's folder, and renamed over the target by Commit.
/// Without Commit it vanishes. Leftovers that a killed process has made are removed when the next file is written into
/// the folder; in one of many files not at each, and those of another machine once they are ten minutes old. A target
/// that is a symbolic link is followed; an existing target lends its permission bits.
class AtomicFile {
public:
    /// Throws ToolkitError when the file cannot be made or the target is not a regular, writable file.
    explicit AtomicFile(const std::string& path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Random access; each returns the count done or the new position, or -1 with Error() set.
    std::ptrdiff_t Read(void* bytes, std::size_t count);
    std::ptrdiff_t Write(const void* bytes, std::size_t count);
    std::int64_t Seek(std::int64_t offset, int whence);

    /// For looking at what was written, with pread(2): the descriptor's own position is of no meaning.
    int Descriptor();

    /// errno of the first operation that failed, 0 if none has. Writes are gathered: one that fails may be noticed by a
    /// later operation, at the latest by Commit.
    int Error() const { return error_; }

    /// Flushes the file to the disk and puts it in the target's place. Throws ToolkitError; the target is then
    /// what it was.
    void Commit();

private:
    [[noreturn]] void Fail(int error) const;
    bool Flush();
    bool FollowLink();
    void OpenTemporary();
    void RemoveLeftovers() const;
    std::string TemporaryName(int attempt) const;
    void TakeName();

    std::string path_;    // as the caller gave it, for messages
    std::string target_;  // what is replaced
    std::string folder_;
    std::string temporaryPath_;  // empty while the file has no name
    unsigned mode_ = 0;
    int fd_ = -1;
    int error_ = 0;
    std::int64_t at_ = 0;          // the position of Read, Write and Seek
    std::int64_t size_ = 0;        // of all that was written
    std::int64_t descriptor_ = 0;  // the descriptor's position
    std::string pending_;          // written and not yet given to the system
    std::int64_t pendingAt_ = 0;   // where it belongs
};

}  // namespace qvox
