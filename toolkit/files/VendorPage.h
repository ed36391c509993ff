#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "files/ByteReader.h"
#include "files/PixelSizeNm.h"
#include "files/ResolutionTags.h"

namespace qvox {

class TiffHandle;

/// The pixel size by one vendor block.
struct VendorAnswer {
    enum class Presence { kAbsent, kPresent };
    Presence presence = Presence::kAbsent;
    std::optional<PixelSizeNm> size;
    std::string reason;  ///< of a block without a size, for a person; empty: the block just gives none
};

/// The page of a file that its handle stands on, as the readers of vendor blocks see it. Each getter gives nothing when
/// the tag is absent or has another type. Must not outlive what it was made from.
class VendorPage {
public:
    /// `description` is the first page's ImageDescription, `tags` are this page's.
    VendorPage(const TiffHandle& file, const std::string& description, const ResolutionTags& tags)
        : file_(file), description_(description), tags_(tags) {}

    /// The bytes of a text entry or of one of untyped bytes, not necessarily ending in NUL.
    std::optional<std::string_view> Bytes(std::uint32_t tag) const;
    /// The same up to the first NUL.
    std::optional<std::string> Text(std::uint32_t tag) const;
    /// A single number in double precision.
    std::optional<double> Real(std::uint32_t tag) const;
    /// The place in the file that an entry leads to.
    std::optional<std::uint64_t> FileOffset(std::uint32_t tag) const;

    ByteReader Reader() const;
    const std::string& Description() const { return description_; }
    const ResolutionTags& Tags() const { return tags_; }

private:
    const TiffHandle& file_;
    const std::string& description_;
    const ResolutionTags& tags_;
};

}  // namespace qvox
