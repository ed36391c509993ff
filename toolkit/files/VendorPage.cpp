#include "files/VendorPage.h"

#include <tiffio.h>

#include <cstring>

#include "files/TiffHandle.h"

namespace qvox {

namespace {

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

}  // namespace

std::optional<std::string_view> VendorPage::Bytes(std::uint32_t tag) const {
    const RawEntry entry = PrivateEntry(file_, tag);
    if (entry.type != TIFF_ASCII && entry.type != TIFF_BYTE && entry.type != TIFF_UNDEFINED) return std::nullopt;
    return std::string_view(static_cast<const char*>(entry.values), entry.count);
}

std::optional<std::string> VendorPage::Text(std::uint32_t tag) const {
    const std::optional<std::string_view> bytes = Bytes(tag);
    if (!bytes) return std::nullopt;
    return std::string(bytes->substr(0, bytes->find('\0')));
}

std::optional<double> VendorPage::Real(std::uint32_t tag) const {
    const RawEntry entry = PrivateEntry(file_, tag);
    if (entry.type != TIFF_DOUBLE || entry.count != 1) return std::nullopt;
    double value = 0.0;
    std::memcpy(&value, entry.values, sizeof value);
    return value;
}

std::optional<std::uint64_t> VendorPage::FileOffset(std::uint32_t tag) const {
    const RawEntry entry = PrivateEntry(file_, tag);
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

ByteReader VendorPage::Reader() const { return file_.Reader(); }

}  // namespace qvox
