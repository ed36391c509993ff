#include "files/VendorPixelSize.h"

#include <tiff.h>

#include "files/FeiBlock.h"
#include "files/GatanEntries.h"
#include "files/JeolXml.h"
#include "files/OlympusSisBlock.h"
#include "files/TvipsBlock.h"
#include "files/ZeissBlock.h"

namespace qvox {

namespace {

/// For a block that is the value of its tag.
template <std::optional<PixelSizeNm> (*Parse)(const char* data, std::size_t size)>
VendorAnswer InEntry(const VendorPage& page, std::uint32_t tag) {
    const std::optional<std::string_view> block = page.Bytes(tag);
    if (!block) return {};
    return {VendorAnswer::Presence::kPresent, Parse(block->data(), block->size()), ""};
}

/// For a block that lies elsewhere in the file, where its tag leads to.
template <std::optional<PixelSizeNm> (*Parse)(const ByteReader& read, std::uint64_t offset)>
VendorAnswer AtOffset(const VendorPage& page, std::uint32_t tag) {
    const std::optional<std::uint64_t> offset = page.FileOffset(tag);
    if (!offset) return {};
    return {VendorAnswer::Presence::kPresent, Parse(page.Reader(), *offset), ""};
}

}  // namespace

const std::vector<VendorBlock>& VendorBlocks() {
    static const std::vector<VendorBlock> blocks{
        {33560, "Olympus SIS block", AtOffset<PixelSizeFromSis>},
        {34682, "FEI block", InEntry<PixelSizeFromFei>},
        {34118, "Zeiss block", InEntry<PixelSizeFromZeiss>},
        {kGatanScaleXTag, "Gatan export entries", ReadGatanEntries},
        {TIFFTAG_IMAGEDESCRIPTION, "JEOL description: magnification and resolution entry", ReadJeolDescription},
        {37706, "TVIPS block", AtOffset<PixelSizeFromTvips>},
    };
    return blocks;
}

VendorFinding FindVendorPixelSize(const TiffHandle& file, const std::string& description, const ResolutionTags& tags) {
    const VendorPage page(file, description, tags);
    VendorFinding without;
    for (const VendorBlock& block : VendorBlocks()) {
        const VendorAnswer answer = block.read(page, block.tag);
        if (answer.presence == VendorAnswer::Presence::kAbsent) continue;
        if (answer.size) return {answer.size, ResolutionSource::kVendorBlock, block.name};
        if (!without.note.empty()) continue;
        without.note =
            answer.reason.empty() ? std::string("the ") + block.name + " gives no pixel size" : answer.reason;
    }
    return without;
}

}  // namespace qvox
