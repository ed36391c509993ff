#pragma once

#include <cstdint>

namespace qvox {

/// How the voxels of a strip or tile stand in its unpacked bytes.
struct StoredRows {
    std::uint64_t rowBytes = 0;
    std::uint64_t rows = 0;
    unsigned sampleBytes = 1;  ///< 1, 2 or 4
    unsigned samples = 1;      ///< of a voxel, interleaved
    int predictor = 1;         ///< 1 none, 2 horizontal differences, 3 differences of the bytes of floats
    bool swapped = false;      ///< the file's byte order is not this machine's
};

/// Turns unpacked bytes into voxels in this machine's (little-endian) byte order, in place. Takes one row of bytes for
/// predictor 3. Source: TIFF 6.0 (1992), section "Differencing Predictor", and its Technical Note 3 (2005) for floats.
void UndoPrediction(const StoredRows& stored, unsigned char* bytes);

}  // namespace qvox
