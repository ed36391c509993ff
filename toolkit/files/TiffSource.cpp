#include "files/TiffSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <tiff.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <system_error>

#include "files/StoredDescription.h"

namespace qvox {

namespace {

constexpr std::size_t kBlockBytes = 8192;
constexpr std::size_t kBlocks = 4;

constexpr std::size_t kMostPages = 65536;
constexpr std::uint64_t kMostEntries = 65535;
constexpr std::size_t kMostHidden = 1000;
/// Entries up to this size are shown whatever their number.
constexpr std::uint64_t kSmallEntry = std::uint64_t{1} << 10;

// The library compares every entry of a page with all others, which more entries than any real page has make dear:
// measured, as long as reading so many bytes.
std::uint64_t CostOfEntries(std::uint64_t count) {
    constexpr std::uint64_t kFew = 100;
    constexpr std::uint64_t kBytesPerPair = 8;
    return count <= kFew ? 0 : count * count * kBytesPerPair;
}

std::uint64_t Number(const unsigned char* bytes, unsigned count, bool bigEndian) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < count; ++i) value = value << 8 | bytes[bigEndian ? i : count - 1 - i];
    return value;
}

std::uint64_t BytesOfType(unsigned type) {
    switch (type) {
        case TIFF_BYTE:
        case TIFF_ASCII:
        case TIFF_SBYTE:
        case TIFF_UNDEFINED:
            return 1;
        case TIFF_SHORT:
        case TIFF_SSHORT:
            return 2;
        case TIFF_LONG:
        case TIFF_SLONG:
        case TIFF_FLOAT:
        case TIFF_IFD:
            return 4;
        case TIFF_RATIONAL:
        case TIFF_SRATIONAL:
        case TIFF_DOUBLE:
        case TIFF_LONG8:
        case TIFF_SLONG8:
        case TIFF_IFD8:
            return 8;
        default:
            return 0;  // the library passes over such an entry
    }
}

bool TellsOfPieces(unsigned tag) {
    return tag == TIFFTAG_STRIPOFFSETS || tag == TIFFTAG_STRIPBYTECOUNTS || tag == TIFFTAG_TILEOFFSETS ||
           tag == TIFFTAG_TILEBYTECOUNTS;
}

}  // namespace

TiffSource::TiffSource(const std::string& path) {
    Open(path);
    if (trouble_.empty()) Walk();
}

TiffSource::~TiffSource() {
    if (fd_ >= 0) close(fd_);
}

void TiffSource::Open(const std::string& path) {
    const auto text = [](int error) { return std::generic_category().message(error); };
    if (path.find('\0') != std::string::npos) {
        trouble_ = text(EINVAL);
        return;
    }
    // Without O_NONBLOCK a named pipe would hold the program until someone writes into it.
    fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (fd_ < 0 || fstat(fd_, &status) != 0) {
        trouble_ = text(errno);
    } else if (S_ISDIR(status.st_mode)) {
        trouble_ = text(EISDIR);
    } else if (!S_ISREG(status.st_mode)) {
        trouble_ = "it is not a regular file";
    } else if (status.st_size == 0) {
        trouble_ = "it is empty";
    } else {
        bytes_ = static_cast<std::uint64_t>(status.st_size);
        changed_ = status.st_mtim;
    }
}

bool TiffSource::HasChanged() const {
    struct stat now {};
    if (fd_ < 0 || !trouble_.empty() || fstat(fd_, &now) != 0) return false;
    return static_cast<std::uint64_t>(now.st_size) != bytes_ || now.st_mtim.tv_sec != changed_.tv_sec ||
           now.st_mtim.tv_nsec != changed_.tv_nsec;
}

bool TiffSource::ReadAt(std::uint64_t offset, unsigned char* target, std::size_t count) const {
    if (offset > bytes_ || count > bytes_ - offset) return false;
    return Fetch(offset, target, count) == static_cast<std::ptrdiff_t>(count);
}

const TiffSource::Block& TiffSource::BlockAt(std::uint64_t number) const {
    for (const Block& block : blocks_) {
        if (block.number == number) return block;
    }
    if (blocks_.size() < kBlocks) blocks_.emplace_back();
    Block& block = blocks_[nextBlock_];
    nextBlock_ = (nextBlock_ + 1) % kBlocks;
    block.number = number;
    block.bytes.resize(kBlockBytes);
    ssize_t got = 0;
    do {
        got = pread(fd_, block.bytes.data(), kBlockBytes, static_cast<off_t>(number * kBlockBytes));
    } while (got < 0 && errno == EINTR);
    block.bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return block;
}

std::ptrdiff_t TiffSource::Fetch(std::uint64_t offset, unsigned char* target, std::size_t count) const {
    const std::uint64_t within = offset % kBlockBytes;
    if (count > 0 && within + count <= kBlockBytes) {
        const Block& block = BlockAt(offset / kBlockBytes);
        if (within + count <= block.bytes.size()) {
            std::memcpy(target, block.bytes.data() + within, count);
            return static_cast<std::ptrdiff_t>(count);
        }
    }
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(fd_, target + done, count - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && done == 0) return -1;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return static_cast<std::ptrdiff_t>(done);
}

bool TiffSource::ReadEntries(const Layout& layout, std::uint64_t directory, Entries& entries) const {
    const unsigned countBytes = layout.bigTiff ? 8 : 2;
    unsigned char head[8];
    if (!ReadAt(directory, head, countBytes)) return false;
    entries.count = Number(head, countBytes, layout.bigEndian);
    if (entries.count > kMostEntries) return false;
    entries.directory = directory;
    entries.first = directory + countBytes;
    entries.bytes.resize(static_cast<std::size_t>(entries.count) * (layout.bigTiff ? 20 : 12));
    return ReadAt(entries.first, entries.bytes.data(), entries.bytes.size());
}

bool TiffSource::NoteKind(const Layout& layout, const Entries& entries) {
    const std::size_t entryBytes = layout.bigTiff ? 20 : 12;
    const std::size_t valueAt = layout.bigTiff ? 12 : 8;
    bool reduced = false;
    for (std::size_t i = 0; i < entries.count; ++i) {
        const unsigned char* entry = entries.bytes.data() + i * entryBytes;
        const std::uint64_t tag = Number(entry, 2, layout.bigEndian);
        const bool isLong = Number(entry + 2, 2, layout.bigEndian) == TIFF_LONG;
        const std::uint64_t value = Number(entry + valueAt, isLong ? 4 : 2, layout.bigEndian);
        if (tag == TIFFTAG_SUBFILETYPE) return (value & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0;
        if (tag == TIFFTAG_OSUBFILETYPE) reduced = value == OFILETYPE_REDUCEDIMAGE;
    }
    if (reduced) reduced_.insert(entries.directory);
    return !reduced;
}

void TiffSource::HideEntry(const Layout& layout, std::uint64_t offset, unsigned type) {
    const std::size_t wide = layout.bigTiff ? 8 : 4;
    std::vector<unsigned char> bytes(2 + 2 * wide, 0);
    bytes[layout.bigEndian ? 1 : 0] = static_cast<unsigned char>(type == TIFF_ASCII ? TIFF_ASCII : TIFF_BYTE);
    bytes[layout.bigEndian ? 1 + wide : 2] = 1;
    patches_.push_back({offset + 2, std::move(bytes)});
}

std::uint64_t TiffSource::CheckEntries(const Layout& layout, const Entries& entries) {
    const std::size_t entryBytes = layout.bigTiff ? 20 : 12;
    const unsigned wide = layout.bigTiff ? 8 : 4;
    std::uint64_t total = 0;
    std::uint64_t cost = entries.bytes.size() + CostOfEntries(entries.count);
    for (std::size_t i = 0; i < entries.count; ++i) {
        const unsigned char* entry = entries.bytes.data() + i * entryBytes;
        const auto tag = static_cast<unsigned>(Number(entry, 2, layout.bigEndian));
        const auto type = static_cast<unsigned>(Number(entry + 2, 2, layout.bigEndian));
        const std::uint64_t count = Number(entry + 4, wide, layout.bigEndian);
        if (TellsOfPieces(tag) && count > kMostPieces) {
            trouble_ = "it has too many strips or tiles (" + std::to_string(count) + ")";
        }
        std::uint64_t size = 0;
        if (__builtin_mul_overflow(count, BytesOfType(type), &size)) size = std::numeric_limits<std::uint64_t>::max();
        // What claims to be larger than its file, the library refuses by itself.
        if (size <= bytes_) cost += size;
        if (size <= kSmallEntry || TellsOfPieces(tag)) continue;
        if (tag == TIFFTAG_IMAGEDESCRIPTION && size <= kLongestOwnDescription + 1) {
            if (size <= bytes_) largestEntry_ = std::max(largestEntry_, size);
            continue;
        }
        if (tag == TIFFTAG_IMAGEDESCRIPTION && size <= bytes_) {
            trouble_ = "its description is too long (" + std::to_string(size) + " bytes)";
        } else if (size <= kMostEntryBytes - total) {
            total += size;
            if (size <= bytes_) largestEntry_ = std::max(largestEntry_, size);
        } else if (size <= bytes_) {
            cost -= size;
            HideEntry(layout, entries.first + i * entryBytes, type);
            if (patches_.size() > kMostHidden) trouble_ = "it has too many large entries";
        }
    }
    return cost;
}

void TiffSource::Walk() {
    unsigned char head[16] = {};
    if (!ReadAt(0, head, 8)) return;
    Layout layout;
    layout.bigEndian = head[0] == 'M';
    const std::uint64_t version = Number(head + 2, 2, layout.bigEndian);
    layout.bigTiff = version == 43;
    if (layout.bigTiff && !ReadAt(8, head + 8, 8)) return;
    const unsigned wide = layout.bigTiff ? 8 : 4;
    std::uint64_t link = layout.bigTiff ? 8 : 4;
    std::uint64_t walked = 0;
    std::unordered_set<std::uint64_t> seen;
    Entries entries;
    while (seen.size() < kMostPages) {
        unsigned char linked[8];
        if (!ReadAt(link, linked, wide)) return;
        const std::uint64_t directory = Number(linked, wide, layout.bigEndian);
        if (directory == 0 || !seen.insert(directory).second || !ReadEntries(layout, directory, entries)) return;
        walked += CheckEntries(layout, entries);
        const bool isFull = NoteKind(layout, entries);
        const std::uint64_t next = entries.first + entries.bytes.size();
        // Pages that do not overlap cannot have more bytes than their file; values may be shared by a few.
        const bool tooMuch = walked > 2 * bytes_ + (std::uint64_t{64} << 20);
        const bool isFirst = seen.size() == 1;
        if (isFirst && !trouble_.empty()) return;
        const bool isShown = isFirst || (trouble_.empty() && !tooMuch);
        if (isShown) ++pages_;
        if (isShown && isFull) ++fullPages_;
        if (!trouble_.empty() || tooMuch) {
            // Only the first page is sure to be wanted; the others end before this one.
            trouble_.clear();
            patches_.push_back({isFirst ? next : link, std::vector<unsigned char>(wide, 0)});
            return;
        }
        link = next;
    }
}

std::ptrdiff_t TiffSource::Read(void* target, std::size_t count) {
    auto* const bytes = static_cast<unsigned char*>(target);
    const std::ptrdiff_t got = Fetch(at_, bytes, count);
    if (got < 0) return -1;
    const auto done = static_cast<std::size_t>(got);
    for (const Patch& patch : patches_) {
        const std::uint64_t begin = std::max(patch.offset, at_);
        const std::uint64_t end = std::min(patch.offset + patch.bytes.size(), at_ + done);
        if (begin < end) std::memcpy(bytes + (begin - at_), patch.bytes.data() + (begin - patch.offset), end - begin);
    }
    at_ += done;
    return static_cast<std::ptrdiff_t>(done);
}

std::int64_t TiffSource::Seek(std::int64_t offset, int whence) {
    const std::int64_t from = whence == SEEK_SET   ? 0
                              : whence == SEEK_CUR ? static_cast<std::int64_t>(at_)
                                                   : static_cast<std::int64_t>(bytes_);
    std::int64_t target = 0;
    if (__builtin_add_overflow(from, offset, &target) || target < 0) {
        errno = EINVAL;
        return -1;
    }
    at_ = static_cast<std::uint64_t>(target);
    return target;
}

}  // namespace qvox
