#include "support/TiffBuilder.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <utility>

namespace korvane_test {

TiffBuilder& TiffBuilder::Page() {
    pages_.emplace_back();
    return *this;
}

TiffBuilder& TiffBuilder::AddPiece(std::string bytes) {
    pages_.back().pieces.push_back(std::move(bytes));
    return *this;
}

TiffBuilder& TiffBuilder::Raw(std::uint16_t tag, std::uint16_t type, std::uint64_t count, std::string bytes) {
    std::vector<Entry>& entries = pages_.back().entries;
    // A tag that is set again replaces the earlier value.
    const auto same =
        std::find_if(entries.begin(), entries.end(), [tag](const Entry& entry) { return entry.tag == tag; });
    if (same != entries.end()) entries.erase(same);
    entries.push_back({tag, type, count, std::move(bytes)});
    return *this;
}

TiffBuilder& TiffBuilder::Short(std::uint16_t tag, std::uint16_t value) { return Raw(tag, 3, 1, Number(value, 2)); }

TiffBuilder& TiffBuilder::Shorts(std::uint16_t tag, const std::vector<std::uint16_t>& values) {
    std::string bytes;
    for (const std::uint16_t value : values) bytes += Number(value, 2);
    return Raw(tag, 3, values.size(), bytes);
}

TiffBuilder& TiffBuilder::Long(std::uint16_t tag, std::uint32_t value) { return Raw(tag, 4, 1, Number(value, 4)); }

TiffBuilder& TiffBuilder::Rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator) {
    return Raw(tag, 5, 1, Number(numerator, 4) + Number(denominator, 4));
}

TiffBuilder& TiffBuilder::Real(std::uint16_t tag, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return Raw(tag, 12, 1, Number(bits, 8));
}

TiffBuilder& TiffBuilder::Text(std::uint16_t tag, const std::string& text) {
    return Raw(tag, 2, text.size() + 1, text + '\0');
}

TiffBuilder& TiffBuilder::Grey(std::uint32_t width, std::uint32_t height, std::uint16_t bits) {
    return Long(256, width)
        .Long(257, height)
        .Short(258, bits)
        .Short(259, 1)
        .Short(262, 1)
        .Short(277, 1)
        .Long(278, height);
}

TiffBuilder& TiffBuilder::Loop() {
    loop_ = true;
    return *this;
}

std::string TiffBuilder::Number(std::uint64_t value, int bytes) const {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 255u);
    if (order_ == TiffOrder::kBig) std::reverse(text.begin(), text.end());
    return text;
}

std::string TiffBuilder::Bytes() const {
    const bool big = kind_ == TiffKind::kBig;
    const int word = big ? 8 : 4;
    std::string file = order_ == TiffOrder::kLittle ? "II" : "MM";
    file += Number(big ? 43 : 42, 2);
    if (big) file += Number(8, 2) + Number(0, 2);
    std::size_t link = file.size();
    std::size_t firstPage = 0;
    file += Number(0, word);
    const auto patch = [&](std::size_t at, std::uint64_t value) {
        file.replace(at, static_cast<std::size_t>(word), Number(value, word));
    };
    for (const PageData& page : pages_) {
        std::vector<Entry> entries = page.entries;
        const bool tiled =
            std::any_of(entries.begin(), entries.end(), [](const Entry& entry) { return entry.tag == 322; });
        Entry offsets{static_cast<std::uint16_t>(tiled ? 324 : 273), static_cast<std::uint16_t>(big ? 16 : 4),
                      page.pieces.size(), ""};
        Entry counts = offsets;
        counts.tag = tiled ? 325 : 279;
        for (const std::string& piece : page.pieces) {
            offsets.bytes += Number(file.size(), word);
            counts.bytes += Number(piece.size(), word);
            file += piece;
        }
        const auto given = [&entries](std::uint16_t tag) {
            return std::any_of(entries.begin(), entries.end(), [tag](const Entry& e) { return e.tag == tag; });
        };
        if (!given(offsets.tag)) entries.push_back(offsets);
        if (!given(counts.tag)) entries.push_back(counts);
        std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
        std::string directory = Number(entries.size(), big ? 8 : 2);
        for (const Entry& entry : entries) {
            std::string value = entry.bytes;
            if (value.size() > static_cast<std::size_t>(word)) {
                value = Number(file.size(), word);
                file += entry.bytes;
            }
            value.resize(static_cast<std::size_t>(word), '\0');
            directory += Number(entry.tag, 2) + Number(entry.type, 2) + Number(entry.count, word) + value;
        }
        if (file.size() % 2 != 0) file += '\0';
        patch(link, file.size());
        if (firstPage == 0) firstPage = file.size();
        link = file.size() + directory.size();
        file += directory + Number(0, word);
    }
    if (loop_) patch(link, firstPage);
    return file;
}

void TiffBuilder::Write(const std::string& path) const {
    const std::string bytes = Bytes();
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace korvane_test
