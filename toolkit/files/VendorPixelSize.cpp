#include "files/VendorPixelSize.h"

#include <tiffio.h>

#include <cstring>
#include <utility>

#include "files/FeiBlock.h"
#include "files/GatanEntries.h"
#include "files/JeolXml.h"
#include "files/OlympusSisBlock.h"
#include "files/TiffHandle.h"
#include "files/TvipsBlock.h"
#include "files/ZeissBlock.h"

namespace qvox {

namespace {

constexpr std::uint32_t kOlympusSisTag = 33560;
constexpr std::uint32_t kZeissTag = 34118;
constexpr std::uint32_t kFeiTag = 34682;
constexpr std::uint32_t kTvipsTag = 37706;
constexpr std::uint32_t kGatanSymbolX = 65003;
constexpr std::uint32_t kGatanSymbolY = 65004;
constexpr std::uint32_t kGatanX = 65009;
constexpr std::uint32_t kGatanY = 65010;
constexpr std::uint32_t kGatanUnitNameX = 65012;
constexpr std::uint32_t kGatanUnitNameY = 65013;

// The value of an entry that the library does not know, as it keeps it: an array of the file's own type.
struct RawEntry {
    TIFFDataType type = TIFF_NOTYPE;
    std::uint32_t count = 0;
    const void* values = nullptr;
};

RawEntry PrivateEntry(const TiffHandle& file, std::uint32_t tag) {
    const TIFFField* field = TIFFFindField(file.Get(), tag, TIFF_ANY);
    // Entries that another user of the library has made known may be kept in another manner.
    if (field == nullptr || TIFFFieldPassCount(field) == 0 || TIFFFieldReadCount(field) != TIFF_VARIABLE2) return {};
    RawEntry entry;
    if (TIFFGetField(file.Get(), tag, &entry.count, &entry.values) != 1 || entry.values == nullptr) return {};
    entry.type = TIFFFieldDataType(field);
    return entry;
}

// The bytes of a text entry, not necessarily ending in NUL.
struct Block {
    const char* data = nullptr;
    std::size_t size = 0;
};

Block TextBlock(const TiffHandle& file, std::uint32_t tag) {
    const RawEntry entry = PrivateEntry(file, tag);
    if (entry.type != TIFF_ASCII && entry.type != TIFF_BYTE && entry.type != TIFF_UNDEFINED) return {};
    return {static_cast<const char*>(entry.values), entry.count};
}

std::optional<std::string> Text(const TiffHandle& file, std::uint32_t tag) {
    const Block block = TextBlock(file, tag);
    if (block.data == nullptr) return std::nullopt;
    return std::string(block.data, strnlen(block.data, block.size));
}

std::optional<double> Real(const TiffHandle& file, std::uint32_t tag) {
    const RawEntry entry = PrivateEntry(file, tag);
    if (entry.type != TIFF_DOUBLE || entry.count != 1) return std::nullopt;
    double value = 0.0;
    std::memcpy(&value, entry.values, sizeof value);
    return value;
}

std::optional<std::uint64_t> FileOffset(const TiffHandle& file, std::uint32_t tag) {
    const RawEntry entry = PrivateEntry(file, tag);
    if (entry.count < 1) return std::nullopt;
    if (entry.type == TIFF_LONG || entry.type == TIFF_IFD) {
        std::uint32_t value = 0;
        std::memcpy(&value, entry.values, sizeof value);
        return value;
    }
    if (entry.type != TIFF_LONG8 && entry.type != TIFF_IFD8) return std::nullopt;
    std::uint64_t value = 0;
    std::memcpy(&value, entry.values, sizeof value);
    return value;
}

VendorFinding Judge(const char* name, std::optional<PixelSizeNm> size, ResolutionSource source,
                    const std::string& reason = "") {
    VendorFinding finding;
    finding.size = size;
    if (size) finding.source = source;
    finding.note = size ? name : reason.empty() ? std::string("the ") + name + " gives no pixel size" : reason;
    return finding;
}

VendorFinding AskSis(const TiffHandle& file) {
    const std::optional<std::uint64_t> offset = FileOffset(file, kOlympusSisTag);
    if (!offset) return {};
    const auto size = PixelSizeFromSis(file.Reader(), *offset);
    return Judge("Olympus SIS block", size, ResolutionSource::kOlympusSis);
}

VendorFinding AskFei(const TiffHandle& file) {
    const Block block = TextBlock(file, kFeiTag);
    if (block.data == nullptr) return {};
    return Judge("FEI block", PixelSizeFromFei(block.data, block.size), ResolutionSource::kFei);
}

VendorFinding AskZeiss(const TiffHandle& file) {
    const Block block = TextBlock(file, kZeissTag);
    if (block.data == nullptr) return {};
    return Judge("Zeiss block", PixelSizeFromZeiss(block.data, block.size), ResolutionSource::kZeiss);
}

VendorFinding AskGatan(const TiffHandle& file) {
    GatanEntries entries;
    entries.x = Real(file, kGatanX);
    entries.y = Real(file, kGatanY);
    if (!entries.x && !entries.y) return {};
    entries.symbolX = Text(file, kGatanSymbolX);
    entries.symbolY = Text(file, kGatanSymbolY);
    entries.unitNameX = Text(file, kGatanUnitNameX);
    entries.unitNameY = Text(file, kGatanUnitNameY);
    return Judge("Gatan export entries", PixelSizeFromGatan(entries), ResolutionSource::kGatan,
                 "the Gatan export entries give no pixel size");
}

VendorFinding AskJeol(const std::string& description, const ResolutionTags& tags) {
    const JeolFinding jeol = ReadJeolXml(description.data(), description.size(), tags);
    if (!jeol.isJeol) return {};
    return Judge("JEOL description: magnification and resolution entry", jeol.size, ResolutionSource::kJeol,
                 jeol.reason);
}

VendorFinding AskTvips(const TiffHandle& file) {
    const std::optional<std::uint64_t> offset = FileOffset(file, kTvipsTag);
    if (!offset) return {};
    return Judge("TVIPS block", PixelSizeFromTvips(file.Reader(), *offset), ResolutionSource::kTvips);
}

}  // namespace

VendorFinding FindVendorPixelSize(const TiffHandle& file, const std::string& description, const ResolutionTags& tags) {
    VendorFinding without;
    const auto counts = [&without](const VendorFinding& finding) {
        if (!finding.size && without.note.empty()) without.note = finding.note;
        return finding.size.has_value();
    };
    for (const auto& ask : {AskSis, AskFei, AskZeiss, AskGatan}) {
        VendorFinding finding = ask(file);
        if (counts(finding)) return finding;
    }
    VendorFinding finding = AskJeol(description, tags);
    if (counts(finding)) return finding;
    finding = AskTvips(file);
    if (counts(finding)) return finding;
    return without;
}

}  // namespace qvox
