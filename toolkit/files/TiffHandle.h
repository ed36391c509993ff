#pragma once

#include <cstdint>
#include <string>

#include "files/ByteReader.h"

struct tiff;

namespace qvox {

class AtomicFile;

/// An open TIFF file of the TIFF library, closed with the object. Collects the library's first error message; warnings
/// are kept apart and never shown. Private to this folder.
class TiffHandle {
public:
    /// Opens for reading. Throws ToolkitError when that cannot be done.
    explicit TiffHandle(const std::string& path);
    enum class Layout { kClassic, kBig };
    /// Writes into the file, which must outlive the handle.
    TiffHandle(const std::string& path, AtomicFile& file, Layout layout);
    ~TiffHandle();
    TiffHandle(const TiffHandle&) = delete;
    TiffHandle& operator=(const TiffHandle&) = delete;

    tiff* Get() const { return tiff_; }
    std::uint64_t FileBytes() const { return fileBytes_; }
    const std::string& FirstError() const { return messages_.error; }
    const std::string& LastWarning() const { return messages_.warning; }
    /// What was said of an entry that matters (description, resolution, colour map) and could not be read, its value
    /// lying beyond the end of the file; the library merely warns and goes on without it.
    const std::string& LostEntry() const { return messages_.lostEntry; }
    void ForgetMessages() { messages_ = {}; }

    /// Reads the file's bytes beside the library, whose own place in the file does not change. Not beyond the handle's
    /// life.
    ByteReader Reader() const;

    /// "Cannot read 'PATH': CAUSE", with the library's first error in brackets where there is one.
    [[noreturn]] void FailReading(const std::string& cause) const;

    struct Messages {
        std::string error;
        std::string warning;
        std::string lostEntry;
    };

private:
    std::string path_;
    std::uint64_t fileBytes_ = 0;
    Messages messages_;
    tiff* tiff_ = nullptr;
};

}  // namespace qvox
