#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace qvox {

/// A TIFF file opened for reading, as the TIFF library gets to see it: the library believes every size that an entry
/// claims and keeps what every entry holds, so that a small file could make it take any amount of memory and time. Here
/// the directories are walked beforehand; entries that are too much are shown to the library as empty, and the chain of
/// pages ends where its pages overlap or cost too much. Nothing is mapped: a mapped file that shrinks kills the
/// process.
class TiffSource {
public:
    /// Opens the file; Trouble tells whether that, and what was looked at, went well.
    explicit TiffSource(const std::string& path);
    ~TiffSource();
    TiffSource(const TiffSource&) = delete;
    TiffSource& operator=(const TiffSource&) = delete;

    /// Why the file cannot be read, empty when it can.
    const std::string& Trouble() const { return trouble_; }
    int Descriptor() const { return fd_; }
    std::uint64_t Bytes() const { return bytes_; }
    /// Whether the file's size or the time of its last change is another than when it was opened.
    bool HasChanged() const;
    /// The size of the largest value that the library gets to see, lists of strips or tiles apart.
    std::uint64_t LargestEntry() const { return largestEntry_; }
    /// How many pages the library gets to see, and how many of these are neither reduced versions nor masks.
    std::uint64_t Pages() const { return pages_; }
    std::uint64_t FullPages() const { return fullPages_; }
    /// True when the old SubfileType, which the library passes over, says that the page of this directory is a reduced
    /// one, and the new one is not written.
    bool IsReducedByOldEntry(std::uint64_t directory) const { return reduced_.count(directory) != 0; }

    /// As read(2) and lseek(2).
    std::ptrdiff_t Read(void* target, std::size_t count);
    std::int64_t Seek(std::int64_t offset, int whence);

    /// The values of a page's entries but its description, beyond which larger ones are not shown.
    static constexpr std::uint64_t kMostEntryBytes = std::uint64_t{4} << 20;
    static constexpr std::uint64_t kMostPieces = std::uint64_t{1} << 20;

private:
    struct Patch {
        std::uint64_t offset;
        std::vector<unsigned char> bytes;
    };
    struct Layout {
        bool bigEndian = false;
        bool bigTiff = false;
    };
    struct Entries {
        std::uint64_t directory = 0;
        std::uint64_t count = 0;
        std::uint64_t first = 0;  ///< offset of the first
        std::vector<unsigned char> bytes;
    };

    void Open(const std::string& path);
    void Walk();
    bool ReadEntries(const Layout& layout, std::uint64_t directory, Entries& entries) const;
    /// Returns what reading the page costs the library, as a number of bytes.
    std::uint64_t CheckEntries(const Layout& layout, const Entries& entries);
    /// Notes a page that only the old entry calls reduced. Returns whether the page is a full one.
    bool NoteKind(const Layout& layout, const Entries& entries);
    void HideEntry(const Layout& layout, std::uint64_t offset, unsigned type);
    bool ReadAt(std::uint64_t offset, unsigned char* target, std::size_t count) const;
    /// As pread(2), but interruptions: less than `count` only at the end of the file.
    std::ptrdiff_t Fetch(std::uint64_t offset, unsigned char* target, std::size_t count) const;
    struct Block {
        std::uint64_t number = 0;
        std::vector<unsigned char> bytes;
    };
    const Block& BlockAt(std::uint64_t number) const;

    // Parts of the file that were read last: entries lie close together, and each call may go to a file server.
    mutable std::vector<Block> blocks_;
    mutable std::size_t nextBlock_ = 0;

    int fd_ = -1;
    std::uint64_t bytes_ = 0;
    timespec changed_{};  ///< when the file was last changed before it was opened
    std::uint64_t largestEntry_ = 0;
    std::uint64_t at_ = 0;
    std::uint64_t pages_ = 0;
    std::uint64_t fullPages_ = 0;
    std::string trouble_;
    std::vector<Patch> patches_;
    std::unordered_set<std::uint64_t> reduced_;
};

}  // namespace qvox
