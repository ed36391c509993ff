#include "files/Predictor.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace qvox {

namespace {

void SwapBytes(unsigned char* bytes, std::uint64_t count, unsigned sampleBytes) {
    for (std::uint64_t i = 0; i + sampleBytes <= count; i += sampleBytes)
        std::reverse(bytes + i, bytes + i + sampleBytes);
}

template <typename T>
void Accumulate(unsigned char* row, std::uint64_t rowBytes, unsigned samples) {
    const std::uint64_t step = samples * sizeof(T);
    for (std::uint64_t i = step; i + sizeof(T) <= rowBytes; i += sizeof(T)) {
        T before = 0;
        T value = 0;
        std::memcpy(&before, row + i - step, sizeof(T));
        std::memcpy(&value, row + i, sizeof(T));
        value = static_cast<T>(value + before);
        std::memcpy(row + i, &value, sizeof(T));
    }
}

// The bytes of all samples of a row stand together by significance, the highest first, whatever the file's byte order.
void GatherBytes(unsigned char* row, const StoredRows& stored, std::vector<unsigned char>& scratch) {
    Accumulate<std::uint8_t>(row, stored.rowBytes, stored.samples);
    std::copy_n(row, stored.rowBytes, scratch.begin());
    const std::uint64_t count = stored.rowBytes / stored.sampleBytes;
    for (std::uint64_t i = 0; i < count; ++i) {
        for (unsigned byte = 0; byte < stored.sampleBytes; ++byte) {
            row[i * stored.sampleBytes + byte] = scratch[(stored.sampleBytes - 1 - byte) * count + i];
        }
    }
}

}  // namespace

void UndoPrediction(const StoredRows& stored, unsigned char* bytes) {
    std::vector<unsigned char> scratch(stored.predictor == 3 ? stored.rowBytes : 0);
    for (std::uint64_t y = 0; y < stored.rows; ++y) {
        unsigned char* row = bytes + y * stored.rowBytes;
        if (stored.predictor == 3) {
            GatherBytes(row, stored, scratch);
            continue;
        }
        if (stored.swapped && stored.sampleBytes > 1) SwapBytes(row, stored.rowBytes, stored.sampleBytes);
        if (stored.predictor != 2) continue;
        if (stored.sampleBytes == 1) Accumulate<std::uint8_t>(row, stored.rowBytes, stored.samples);
        if (stored.sampleBytes == 2) Accumulate<std::uint16_t>(row, stored.rowBytes, stored.samples);
        if (stored.sampleBytes == 4) Accumulate<std::uint32_t>(row, stored.rowBytes, stored.samples);
    }
}

}  // namespace qvox
