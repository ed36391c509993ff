#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "PixelResolution.h"

namespace korvane_test {

/// What the code under test promises does not hold.
class BrokenPromise : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

inline void Promise(bool holds, const char* what) {
    if (!holds) throw BrokenPromise(what);
}

/// Every axis is a finite number and not negative.
void PromiseSensible(const qvox::PixelResolution& resolution);

inline std::string TextOf(const std::uint8_t* bytes, std::size_t count) {
    return std::string(reinterpret_cast<const char*>(bytes), count);
}

/// A file in memory that has a path, for code that opens its file itself. There is one in a process: it has these bytes
/// until the next call.
std::string FileWith(const std::uint8_t* bytes, std::size_t count);
int FileDescriptorWith(const std::uint8_t* bytes, std::size_t count);

/// The targets of each source file.
void FuzzTiff(const std::uint8_t* bytes, std::size_t count);
void FuzzLabels(const std::uint8_t* bytes, std::size_t count);
void FuzzImageJ(const std::uint8_t* bytes, std::size_t count);
void FuzzOme(const std::uint8_t* bytes, std::size_t count);
void FuzzParameters(const std::uint8_t* bytes, std::size_t count);
void FuzzStoredDescription(const std::uint8_t* bytes, std::size_t count);
void FuzzUnpacking(const std::uint8_t* bytes, std::size_t count);
void FuzzSis(const std::uint8_t* bytes, std::size_t count);
void FuzzTvips(const std::uint8_t* bytes, std::size_t count);
void FuzzFei(const std::uint8_t* bytes, std::size_t count);
void FuzzZeiss(const std::uint8_t* bytes, std::size_t count);
void FuzzJeol(const std::uint8_t* bytes, std::size_t count);
void FuzzGatan(const std::uint8_t* bytes, std::size_t count);

}  // namespace korvane_test
