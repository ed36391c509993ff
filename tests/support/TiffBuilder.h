#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korvane_test {

enum class TiffOrder { kLittle, kBig };
enum class TiffKind { kClassic, kBig };

/// Makes small TIFF files byte by byte, valid ones and others, without any library. Pages hold uncompressed data unless
/// the caller passes other bytes and says so in the tags.
class TiffBuilder {
public:
    explicit TiffBuilder(TiffOrder order = TiffOrder::kLittle, TiffKind kind = TiffKind::kClassic)
        : order_(order), kind_(kind) {}

    /// Starts a page. Its first strip or tile is what AddPiece adds first.
    TiffBuilder& Page();
    /// A strip, or a tile when the page has tile tags.
    TiffBuilder& AddPiece(std::string bytes);
    TiffBuilder& Short(std::uint16_t tag, std::uint16_t value);
    TiffBuilder& Shorts(std::uint16_t tag, const std::vector<std::uint16_t>& values);
    TiffBuilder& Long(std::uint16_t tag, std::uint32_t value);
    TiffBuilder& Rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator);
    TiffBuilder& Real(std::uint16_t tag, double value);
    TiffBuilder& Text(std::uint16_t tag, const std::string& text);
    /// An entry of any type, its value as bytes in the file's order; `count` need not be true.
    TiffBuilder& Raw(std::uint16_t tag, std::uint16_t type, std::uint64_t count, std::string bytes);
    /// Width, height, bits, black-is-zero, uncompressed, one sample, one strip of all rows.
    TiffBuilder& Grey(std::uint32_t width, std::uint32_t height, std::uint16_t bits);
    /// The last page's successor is the first page again.
    TiffBuilder& Loop();

    /// The number in the file's byte order.
    std::string Number(std::uint64_t value, int bytes) const;
    std::string Bytes() const;
    void Write(const std::string& path) const;

private:
    struct Entry {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint64_t count;
        std::string bytes;
    };
    struct PageData {
        std::vector<Entry> entries;
        std::vector<std::string> pieces;
    };
    TiffOrder order_;
    TiffKind kind_;
    bool loop_ = false;
    std::vector<PageData> pages_;
};

}  // namespace korvane_test
