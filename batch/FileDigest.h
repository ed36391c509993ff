#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Korvane {

/// The state of a file: enough to tell later whether it is still the same.
struct FileDigest {
    std::uint64_t bytes = 0;
    std::int64_t modifiedNs = 0;  ///< since 1970
    std::string sha256;           ///< in hexadecimal, as sha256sum prints it
};

/// A file that a result was made from beside its image, as it was then.
struct UsedFile {
    std::string path;
    FileDigest digest;
};

/// The digest of an open file from its first byte on; the descriptor's position is not used. Throws ToolkitError.
FileDigest DigestOf(int descriptor);

/// The same for a file by its name. Throws ToolkitError with the file and the cause.
FileDigest DigestOf(const std::string& path);

/// A file that a result is made from, from before it is read until its digest is taken. It stays open meanwhile: some
/// network file systems number a file anew once nobody has it open, and it would be taken for another one.
class SourceFile {
public:
    /// Of a file that cannot be opened, whoever reads it tells why.
    explicit SourceFile(std::string path);
    ~SourceFile();
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    /// The digest of what was read. Throws ToolkitError when the path leads to another file than at the construction,
    /// to one whose size or time of change differs, before or after its bytes are read, or nowhere.
    FileDigest Digest() const;

private:
    struct State {
        std::uint64_t device;
        std::uint64_t number;  ///< on the device
        std::uint64_t bytes;
        std::int64_t modifiedNs;
    };
    static std::optional<State> StateOf(int descriptor);
    void RequireUnchanged(int descriptor) const;

    std::string path_;
    int descriptor_;
    std::optional<State> state_;
};

/// True when the file is the one of the digest. Its bytes are read only when size and time do not settle it. False
/// when it cannot be read.
bool IsUnchanged(const std::string& path, const FileDigest& digest);

}  // namespace Korvane
