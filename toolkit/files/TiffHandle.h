#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "files/ByteReader.h"
#include "files/TiffSource.h"

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
    std::uint64_t FileBytes() const { return source_->Bytes(); }
    int Descriptor() const { return source_->Descriptor(); }
    std::uint64_t Pages() const { return source_->Pages(); }
    std::uint64_t FullPages() const { return source_->FullPages(); }
    bool IsReducedByOldEntry(std::uint64_t directory) const { return source_->IsReducedByOldEntry(directory); }
    const std::string& FirstError() const { return messages_.error; }
    const std::string& LastWarning() const { return messages_.warning; }
    /// The library's warning of an entry that matters (description, resolution, colour map) and could not be read
    /// because its value lies beyond the end of the file; the library goes on without it.
    const std::string& LostEntry() const { return messages_.lostEntry; }
    /// Forgets the library's messages, but not that it had no memory.
    void ForgetMessages();
    /// Throws std::bad_alloc when the library could not get memory at any time, which would pass for a broken file. It
    /// drops the value of an entry without a word then, so that there must also be room for the largest one and its
    /// copy, and for `wanted` bytes.
    void ThrowIfOutOfMemory(std::uint64_t wanted = 0) const;
    /// Throws ToolkitError when someone has written to the file since it was opened for reading: what was read may be
    /// of both states.
    void ThrowIfChanged() const;

    /// Reads the file's bytes beside the library, whose own place in the file does not change. Not beyond the handle's
    /// life.
    ByteReader Reader() const;

    /// "Cannot read 'PATH': CAUSE", with the library's first error in brackets where there is one. Throws
    /// std::bad_alloc instead when that was for want of memory.
    [[noreturn]] void FailReading(const std::string& cause) const;

    struct Messages {
        std::string error;
        std::string warning;
        std::string lostEntry;
        bool outOfMemory = false;
    };

private:
    std::string path_;
    std::unique_ptr<TiffSource> source_;  ///< of a handle for reading
    Messages messages_;
    tiff* tiff_ = nullptr;
};

}  // namespace qvox
