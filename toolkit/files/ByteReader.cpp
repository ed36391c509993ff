#include "files/ByteReader.h"

#include <cstring>
#include <limits>

namespace qvox {

namespace {

std::uint64_t Little(const std::string& bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = count; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

}  // namespace

std::string ReadBytes(const ByteReader& read, std::uint64_t offset, std::size_t count) {
    if (offset > std::numeric_limits<std::uint64_t>::max() - count) return "";
    std::string bytes(count, '\0');
    if (read(offset, bytes.data(), count) != count) return "";
    return bytes;
}

std::uint16_t LittleUint16(const std::string& bytes, std::size_t at) {
    return static_cast<std::uint16_t>(Little(bytes, at, 2));
}

std::uint32_t LittleUint32(const std::string& bytes, std::size_t at) {
    return static_cast<std::uint32_t>(Little(bytes, at, 4));
}

float LittleFloat(const std::string& bytes, std::size_t at) {
    const std::uint32_t bits = LittleUint32(bytes, at);
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double LittleDouble(const std::string& bytes, std::size_t at) {
    const std::uint64_t bits = Little(bytes, at, 8);
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace qvox
