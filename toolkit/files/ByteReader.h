#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace qvox {

/// Reads up to `count` bytes of a file from `offset` to `to` and returns how many there were: fewer at the file's end,
/// 0 beyond it.
using ByteReader = std::function<std::size_t(std::uint64_t offset, void* to, std::size_t count)>;

/// Exactly `count` bytes from `offset`; an empty text when the file does not hold them all.
std::string ReadBytes(const ByteReader& read, std::uint64_t offset, std::size_t count);

/// Little-endian numbers within `bytes`, wherever this runs. `at` and the number's size must lie within.
std::uint16_t LittleUint16(const std::string& bytes, std::size_t at);
std::uint32_t LittleUint32(const std::string& bytes, std::size_t at);
float LittleFloat(const std::string& bytes, std::size_t at);
double LittleDouble(const std::string& bytes, std::size_t at);

}  // namespace qvox
