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

/// True when the file is the one of the digest. Its bytes are read only when size and time do not settle it. False
/// when it cannot be read.
bool IsUnchanged(const std::string& path, const FileDigest& digest);

}  // namespace Korvane
