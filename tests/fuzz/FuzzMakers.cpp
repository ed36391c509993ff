// What makers of microscopes and cameras put into their files, each block by itself.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "files/FeiBlock.h"
#include "files/GatanEntries.h"
#include "files/JeolXml.h"
#include "files/OlympusSisBlock.h"
#include "files/TvipsBlock.h"
#include "files/ZeissBlock.h"
#include "fuzz/FuzzSupport.h"

namespace korvane_test {

namespace {

void PromiseBelievable(const std::optional<qvox::PixelSizeNm>& size) {
    if (!size) return;
    for (const double axis : {size->x, size->y}) {
        Promise(axis >= qvox::kSmallestPixelNm && axis <= qvox::kLargestPixelNm, "a pixel size is believable");
    }
}

/// The bytes in a buffer of their own length, so that a step beyond their end is seen.
std::vector<char> Exactly(const std::uint8_t* bytes, std::size_t count) {
    std::vector<char> text(count);
    std::copy_n(bytes, count, text.begin());
    text.shrink_to_fit();
    return text;
}

qvox::ByteReader ReaderOf(const std::uint8_t* bytes, std::size_t size) {
    return [bytes, size](std::uint64_t offset, void* to, std::size_t count) -> std::size_t {
        if (offset >= size) return 0;
        const std::size_t there = std::min(count, size - static_cast<std::size_t>(offset));
        std::memcpy(to, bytes + offset, there);
        return there;
    };
}

}  // namespace

// The first byte is where the block begins.
void FuzzSis(const std::uint8_t* bytes, std::size_t count) {
    if (count == 0) return;
    PromiseBelievable(qvox::PixelSizeFromSis(ReaderOf(bytes + 1, count - 1), bytes[0]));
    PromiseBelievable(qvox::PixelSizeFromSis(ReaderOf(bytes + 1, count - 1), UINT64_MAX - bytes[0]));
}

void FuzzTvips(const std::uint8_t* bytes, std::size_t count) {
    if (count == 0) return;
    PromiseBelievable(qvox::PixelSizeFromTvips(ReaderOf(bytes + 1, count - 1), bytes[0]));
    PromiseBelievable(qvox::PixelSizeFromTvips(ReaderOf(bytes + 1, count - 1), UINT64_MAX - bytes[0]));
}

void FuzzFei(const std::uint8_t* bytes, std::size_t count) {
    const std::vector<char> text = Exactly(bytes, count);
    PromiseBelievable(qvox::PixelSizeFromFei(text.data(), text.size()));
}

void FuzzZeiss(const std::uint8_t* bytes, std::size_t count) {
    const std::vector<char> text = Exactly(bytes, count);
    PromiseBelievable(qvox::PixelSizeFromZeiss(text.data(), text.size()));
}

void FuzzJeol(const std::uint8_t* bytes, std::size_t count) {
    const std::vector<char> text = Exactly(bytes, count);
    for (const std::optional<double> resolution : {std::optional<double>(72.0), std::optional<double>(0.0),
                                                   std::optional<double>(-1e300), std::optional<double>()}) {
        const qvox::ResolutionTags tags{resolution, resolution, 2};
        const qvox::JeolFinding finding = qvox::ReadJeolXml(text.data(), text.size(), tags);
        PromiseBelievable(finding.size);
        Promise(finding.isJeol || !finding.size, "only a JEOL text gives a size");
        Promise(!finding.isJeol || finding.size || !finding.reason.empty(), "that there is no size is explained");
    }
}

// Two numbers of 8 bytes, then four texts on lines of their own; a line "-" is an entry that was not written.
void FuzzGatan(const std::uint8_t* bytes, std::size_t count) {
    if (count < 16) return;
    qvox::GatanEntries entries;
    double number = 0.0;
    std::memcpy(&number, bytes, 8);
    entries.x = number;
    std::memcpy(&number, bytes + 8, 8);
    entries.y = number;
    std::string rest = TextOf(bytes + 16, count - 16);
    for (std::optional<std::string>* text :
         {&entries.symbolX, &entries.symbolY, &entries.unitNameX, &entries.unitNameY}) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        if (rest.compare(0, end, "-") != 0) *text = rest.substr(0, end);
        rest.erase(0, end + 1);
    }
    PromiseBelievable(qvox::PixelSizeFromGatan(entries));
}

}  // namespace korvane_test
