#include "files/OlympusSisBlock.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace qvox {

namespace {

constexpr std::size_t kHeaderBytes = 60;
constexpr std::size_t kEntryBytes = 8;
constexpr unsigned kMostEntries = 1024;
constexpr std::uint16_t kCalibration = 1;
constexpr int kLargestExponent = 30;

// The C library's power may differ between processors in the last bit. Up to the 22nd the product is exact, and so the
// quotient is the nearest number.
double PowerOfTen(int exponent) {
    double power = 1.0;
    for (int i = 0; i < std::abs(exponent); ++i) power *= 10.0;
    return exponent < 0 ? 1.0 / power : power;
}

std::optional<PixelSizeNm> FromCalibration(const std::string& entry) {
    if (entry.empty()) return std::nullopt;
    const int exponent = static_cast<std::int16_t>(LittleUint16(entry, 10));
    if (std::abs(exponent) > kLargestExponent) return std::nullopt;
    const double nanometres = PowerOfTen(exponent + 9);
    return CheckedPixelSize(LittleDouble(entry, 12) * nanometres, LittleDouble(entry, 20) * nanometres);
}

}  // namespace

std::optional<PixelSizeNm> PixelSizeFromSis(const ByteReader& read, std::uint64_t offset) {
    const std::string header = ReadBytes(read, offset, kHeaderBytes);
    if (header.compare(0, 4, "SIS0") != 0) return std::nullopt;
    const unsigned entries = std::min<unsigned>(LittleUint16(header, 58), kMostEntries);
    for (unsigned i = 0; i < entries; ++i) {
        const std::string entry = ReadBytes(read, offset + kHeaderBytes + i * kEntryBytes, kEntryBytes);
        if (entry.empty()) return std::nullopt;
        if (LittleUint16(entry, 0) == kCalibration) {
            return FromCalibration(ReadBytes(read, LittleUint32(entry, 4), 28));
        }
    }
    return std::nullopt;
}

}  // namespace qvox
