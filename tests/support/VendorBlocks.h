#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "files/ByteReader.h"

namespace korvane_test {

template <typename T>
void PutLittle(std::string& bytes, std::size_t at, T value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);  // the machines this is tested on are little-endian
    for (std::size_t i = 0; i < sizeof value; ++i) bytes.at(at + i) = static_cast<char>(bits >> (8 * i) & 255u);
}

/// An Olympus SIS block for the place `offset` of a file: two entries, the second of which is the calibration, which
/// follows the entries.
inline std::string SisBlock(std::uint32_t offset, std::int16_t exponent, double x, double y) {
    std::string block(76 + 90, '\0');
    block.replace(0, 4, "SIS0");
    PutLittle<std::int16_t>(block, 58, 2);
    PutLittle<std::int16_t>(block, 60, 7);
    PutLittle<std::int16_t>(block, 62, 1);
    PutLittle<std::uint32_t>(block, 64, offset);
    PutLittle<std::int16_t>(block, 68, 1);
    PutLittle<std::int16_t>(block, 70, 1);
    PutLittle<std::uint32_t>(block, 72, offset + 76);
    PutLittle(block, 86, exponent);
    PutLittle(block, 88, x);
    PutLittle(block, 96, y);
    return block;
}

/// A TVIPS block, sizes in nanometres.
inline std::string TvipsBlock(float x, float y) {
    std::string block(6312, '\0');
    PutLittle<std::int32_t>(block, 0, 2);
    PutLittle(block, 2968, x);
    PutLittle(block, 2972, y);
    PutLittle<std::uint32_t>(block, 6308, 0xAAAAAAAAu);
    return block;
}

/// What a JEOL TEM writes, cut down to what matters and something around it.
inline std::string JeolXml(const std::string& mode, const std::string& selector, const std::string& unit = "X") {
    return "<?xml version=\"1.0\"?>\r\n<TemReporter xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\r\n"
           "  <Manufacturer>JEOL Ltd.</Manufacturer>\r\n  <Stem><SelectorValue>7</SelectorValue></Stem>\r\n"
           "  <ImageFormingSystem>\r\n    <ModeString>" +
           mode + "</ModeString>\r\n    <SelectorValue>" + selector + "</SelectorValue>\r\n    <SelectorUnitString>" +
           unit + "</SelectorUnitString>\r\n  </ImageFormingSystem>\r\n</TemReporter>\r\n";
}

/// Reads the text as a file.
inline qvox::ByteReader ReaderOf(std::string bytes) {
    return [bytes = std::move(bytes)](std::uint64_t offset, void* to, std::size_t count) -> std::size_t {
        if (offset >= bytes.size()) return 0;
        const std::size_t there = std::min(count, bytes.size() - static_cast<std::size_t>(offset));
        std::memcpy(to, bytes.data() + offset, there);
        return there;
    };
}

}  // namespace korvane_test
