#include "files/TvipsBlock.h"

#include <string>

namespace qvox {

std::optional<PixelSizeNm> PixelSizeFromTvips(const ByteReader& read, std::uint64_t offset) {
    constexpr std::size_t kBlockBytes = 6312;
    constexpr std::uint32_t kEndMark = 0xAAAAAAAAu;
    const std::string block = ReadBytes(read, offset, kBlockBytes);
    if (block.empty() || LittleUint32(block, 0) != 2 || LittleUint32(block, kBlockBytes - 4) != kEndMark) {
        return std::nullopt;
    }
    return CheckedPixelSize(static_cast<double>(LittleFloat(block, 2968)),
                            static_cast<double>(LittleFloat(block, 2972)));
}

}  // namespace qvox
