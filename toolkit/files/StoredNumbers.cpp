#include "files/StoredNumbers.h"

#include <tiff.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "files/TiffDecoder.h"
#include "files/TiffHandle.h"
#include "files/TiffPage.h"

namespace qvox {

namespace {

/// T is the type of the stored numbers.
template <typename T>
void Convert(const std::vector<unsigned char>& bytes, VoxelImage<double>& image) {
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        T value{};
        std::memcpy(&value, bytes.data() + i * sizeof(T), sizeof(T));
        image[i] = static_cast<double>(value);
    }
}

using Conversion = void (*)(const std::vector<unsigned char>& bytes, VoxelImage<double>& image);

/// None for numbers that are not read.
Conversion ConversionOf(const TiffPage& page) {
    if (page.samples != 1) return nullptr;
    if (page.sampleFormat == SAMPLEFORMAT_IEEEFP) {
        if (page.bits == 32) return Convert<float>;
        return page.bits == 64 ? Convert<double> : nullptr;
    }
    if (page.sampleFormat == SAMPLEFORMAT_INT) {
        if (page.bits == 8) return Convert<std::int8_t>;
        if (page.bits == 16) return Convert<std::int16_t>;
        return page.bits == 32 ? Convert<std::int32_t> : nullptr;
    }
    if (page.sampleFormat != SAMPLEFORMAT_UINT && page.sampleFormat != SAMPLEFORMAT_VOID) return nullptr;
    if (page.bits == 8) return Convert<std::uint8_t>;
    if (page.bits == 16) return Convert<std::uint16_t>;
    return page.bits == 32 ? Convert<std::uint32_t> : nullptr;
}

}  // namespace

void LoadStoredNumbers(const std::string& path, VoxelImage<double>& image) {
    TiffHandle file(path);
    const TiffPage page = ReadTiffPage(file);
    if (file.FullPages() > 1) file.FailReading("it has " + std::to_string(file.FullPages()) + " pages, 1 is wanted");
    const Conversion convert = ConversionOf(page);
    if (convert == nullptr) file.FailReading("it holds " + page.typeText + ", not grey numbers of 8, 16 or 32 bits");
    CheckStorage(file, page);
    image.Resize(page.width, page.height, 1);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(image.VoxelCount() * page.VoxelBytes()));
    DecodePage(file, page, 0, bytes.data());
    file.ThrowIfChanged();
    convert(bytes, image);
}

}  // namespace qvox
