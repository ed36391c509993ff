#include "files/PieceStream.h"

#include <lzma.h>
#include <tiff.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace qvox {

namespace {

constexpr std::size_t kChunk = std::size_t{256} << 10;
constexpr int kSmallestWindow = 10;
constexpr int kLargestWindow = 25;  // 32 MiB

constexpr char kTooFew[] = "there are too few bytes";
constexpr char kBroken[] = "the packed bytes are broken";

unsigned char Reversed(unsigned char byte) {
    unsigned reversed = 0;
    for (unsigned bit = 0; bit < 8; ++bit) reversed |= (unsigned{byte} >> bit & 1u) << (7 - bit);
    return static_cast<unsigned char>(reversed);
}

// The stored bytes, a chunk at a time.
class Source {
public:
    explicit Source(const StoredPiece& piece) : piece_(piece), chunk_(kChunk) {}

    // The bytes that are at hand and not used yet; none at the end of the piece, or where the file cannot be read.
    const unsigned char* Data() const { return chunk_.data() + at_; }
    std::size_t Size() const { return filled_ - at_; }
    void Use(std::size_t count) { at_ += count; }

    bool Refill() {
        if (at_ < filled_) return true;
        at_ = filled_ = 0;
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, piece_.bytes - done_));
        while (wanted > 0 && filled_ == 0) {
            const ssize_t got = pread(piece_.file, chunk_.data(), wanted, static_cast<off_t>(piece_.offset + done_));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return false;
            filled_ = static_cast<std::size_t>(got);
        }
        if (piece_.bitsReversed) std::transform(Data(), Data() + filled_, chunk_.begin(), Reversed);
        done_ += filled_;
        return filled_ > 0;
    }

    // The next byte, or -1.
    int Next() {
        if (at_ == filled_ && !Refill()) return -1;
        return chunk_[at_++];
    }

private:
    const StoredPiece& piece_;
    std::vector<unsigned char> chunk_;
    std::size_t at_ = 0;
    std::size_t filled_ = 0;
    std::uint64_t done_ = 0;
};

std::string UnpackPackBits(Source& source, unsigned char* target, std::uint64_t count) {
    while (count > 0) {
        const int head = source.Next();
        if (head < 0) return kTooFew;
        if (head == 128) continue;
        const auto run = std::min(count, static_cast<std::uint64_t>(head < 128 ? head + 1 : 257 - head));
        int byte = head < 128 ? 0 : source.Next();
        for (std::uint64_t i = 0; i < run; ++i) {
            if (head < 128) byte = source.Next();
            if (byte < 0) return kTooFew;
            target[i] = static_cast<unsigned char>(byte);
        }
        target += run;
        count -= run;
    }
    return "";
}

class LzwTable {
public:
    static constexpr unsigned kClear = 256;
    static constexpr unsigned kEnd = 257;

    LzwTable() {
        for (unsigned i = 0; i < 256; ++i)
            entries_[i] = {0, 1, static_cast<unsigned char>(i), static_cast<unsigned char>(i)};
    }
    void Clear() { next_ = 258; }
    bool Has(unsigned code) const { return code < 256 || (code >= 258 && code < next_); }
    bool IsNext(unsigned code) const { return code == next_ && next_ < entries_.size(); }
    // One bit more is read one entry early, as every writer has it.
    unsigned Bits() const { return next_ < 511 ? 9 : next_ < 1023 ? 10 : next_ < 2047 ? 11 : 12; }
    unsigned char First(unsigned code) const { return entries_[code].first; }
    void Add(unsigned prefix, unsigned char last) {
        if (next_ == entries_.size()) return;
        const Entry& before = entries_[prefix];
        entries_[next_++] = {static_cast<std::uint16_t>(prefix), static_cast<std::uint16_t>(before.length + 1),
                             before.first, last};
    }
    // Writes the code's text, or what there is room for; returns how many bytes.
    std::uint64_t Write(unsigned code, unsigned char* target, std::uint64_t room) const {
        const std::uint64_t length = entries_[code].length;
        for (std::uint64_t i = length; i > 0; --i) {
            if (i <= room) target[i - 1] = entries_[code].last;
            code = entries_[code].prefix;
        }
        return std::min(length, room);
    }

private:
    struct Entry {
        std::uint16_t prefix;
        std::uint16_t length;
        unsigned char first;
        unsigned char last;
    };
    std::array<Entry, 4096> entries_{};
    unsigned next_ = 258;
};

// Codes, the highest bit first.
class LzwCodes {
public:
    explicit LzwCodes(Source& source) : source_(source) {}
    int Next(unsigned bits) {
        while (held_ < bits) {
            const int byte = source_.Next();
            if (byte < 0) return -1;
            window_ = window_ << 8 | static_cast<unsigned>(byte);
            held_ += 8;
        }
        held_ -= bits;
        return static_cast<int>(window_ >> held_ & ((1u << bits) - 1));
    }

private:
    Source& source_;
    std::uint32_t window_ = 0;
    unsigned held_ = 0;
};

std::string UnpackLzw(Source& source, unsigned char* target, std::uint64_t count) {
    if (!source.Refill()) return kTooFew;
    if (source.Size() >= 2 && source.Data()[0] == 0 && (source.Data()[1] & 1) != 0) return "it is LZW of the old kind";
    LzwTable table;
    LzwCodes codes(source);
    constexpr unsigned kNone = LzwTable::kClear;
    unsigned before = kNone;
    while (count > 0) {
        const int read = codes.Next(table.Bits());
        if (read < 0 || read == static_cast<int>(LzwTable::kEnd)) return kTooFew;
        const auto code = static_cast<unsigned>(read);
        if (code == LzwTable::kClear) {
            table.Clear();
            before = kNone;
            continue;
        }
        if (before == kNone) {
            if (code > 255) return kBroken;
        } else if (table.Has(code)) {
            table.Add(before, table.First(code));
        } else {
            if (!table.IsNext(code)) return kBroken;
            table.Add(before, table.First(before));
        }
        const std::uint64_t written = table.Write(code, target, count);
        target += written;
        count -= written;
        before = code;
    }
    return "";
}

std::string UnpackDeflate(Source& source, unsigned char* target, std::uint64_t count) {
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
    const std::unique_ptr<z_stream, int (*)(z_stream*)> closing(&stream, inflateEnd);
    while (count > 0) {
        if (!source.Refill()) return kTooFew;
        const auto room = static_cast<uInt>(std::min<std::uint64_t>(count, 1u << 30));
        stream.next_in = const_cast<unsigned char*>(source.Data());
        stream.avail_in = static_cast<uInt>(source.Size());
        stream.next_out = target;
        stream.avail_out = room;
        const int state = inflate(&stream, Z_NO_FLUSH);
        if (state == Z_MEM_ERROR) throw std::bad_alloc();
        source.Use(source.Size() - stream.avail_in);
        target += room - stream.avail_out;
        count -= room - stream.avail_out;
        if (state == Z_STREAM_END && count > 0) return kTooFew;
        if (state != Z_OK && state != Z_STREAM_END && state != Z_BUF_ERROR) return kBroken;
    }
    return "";
}

// The largest window, as a power of two, for which the memory suffices with what its decoder takes besides.
int LargestWindow(std::uint64_t memory) {
    constexpr std::uint64_t kBesides = std::uint64_t{1} << 20;
    int window = kSmallestWindow;
    while (window < kLargestWindow && (std::uint64_t{2} << window) + kBesides <= memory) ++window;
    return window;
}

std::string UnpackZstandard(Source& source, unsigned char* target, std::uint64_t count, std::uint64_t memory) {
    const std::unique_ptr<ZSTD_DStream, std::size_t (*)(ZSTD_DStream*)> stream(ZSTD_createDStream(), ZSTD_freeDStream);
    if (!stream) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(stream.get(), ZSTD_d_windowLogMax, LargestWindow(memory));
    ZSTD_outBuffer out{target, static_cast<std::size_t>(count), 0};
    while (out.pos < out.size) {
        if (!source.Refill()) return kTooFew;
        ZSTD_inBuffer in{source.Data(), source.Size(), 0};
        const std::size_t state = ZSTD_decompressStream(stream.get(), &out, &in);
        if (ZSTD_getErrorCode(state) == ZSTD_error_memory_allocation) throw std::bad_alloc();
        if (ZSTD_isError(state) != 0) return ZSTD_getErrorName(state);
        source.Use(in.pos);
        if (state == 0 && out.pos < out.size) return kTooFew;
    }
    return "";
}

std::string UnpackLzma(Source& source, unsigned char* target, std::uint64_t count, std::uint64_t memory) {
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_stream_decoder(&stream, memory, 0) != LZMA_OK) throw std::bad_alloc();
    const std::unique_ptr<lzma_stream, void (*)(lzma_stream*)> closing(&stream, lzma_end);
    stream.next_out = target;
    stream.avail_out = static_cast<std::size_t>(count);
    while (stream.avail_out > 0) {
        if (!source.Refill()) return kTooFew;
        stream.next_in = source.Data();
        stream.avail_in = source.Size();
        const lzma_ret state = lzma_code(&stream, LZMA_RUN);
        if (state == LZMA_MEM_ERROR) throw std::bad_alloc();
        if (state == LZMA_MEMLIMIT_ERROR) return "unpacking it would take too much memory";
        source.Use(source.Size() - stream.avail_in);
        if (state == LZMA_STREAM_END && stream.avail_out > 0) return kTooFew;
        if (state != LZMA_OK && state != LZMA_STREAM_END) return kBroken;
    }
    return "";
}

}  // namespace

bool CanUnpack(std::uint16_t compression) {
    switch (compression) {
        case COMPRESSION_LZW:
        case COMPRESSION_PACKBITS:
        case COMPRESSION_ADOBE_DEFLATE:
        case COMPRESSION_DEFLATE:
        case COMPRESSION_ZSTD:
        case COMPRESSION_LZMA:
            return true;
        default:
            return false;
    }
}

std::string UnpackPiece(const StoredPiece& piece, unsigned char* target, std::uint64_t count) {
    Source source(piece);
    switch (piece.compression) {
        case COMPRESSION_LZW:
            return UnpackLzw(source, target, count);
        case COMPRESSION_PACKBITS:
            return UnpackPackBits(source, target, count);
        case COMPRESSION_ZSTD:
            return UnpackZstandard(source, target, count, piece.memory);
        case COMPRESSION_LZMA:
            return UnpackLzma(source, target, count, piece.memory);
        default:
            return UnpackDeflate(source, target, count);
    }
}

}  // namespace qvox
