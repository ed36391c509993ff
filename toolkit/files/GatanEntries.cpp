#include "files/GatanEntries.h"

#include "files/LengthUnit.h"

namespace qvox {

namespace {

constexpr std::uint32_t kSymbolX = 65003;
constexpr std::uint32_t kSymbolY = 65004;
constexpr std::uint32_t kScaleY = 65010;
constexpr std::uint32_t kUnitNameX = 65012;
constexpr std::uint32_t kUnitNameY = 65013;

std::optional<double> Micrometres(const std::optional<std::string>& symbol, const std::optional<std::string>& name) {
    if (!symbol && !name) return std::nullopt;
    const std::optional<double> first = MicrometresPerUnit(symbol ? *symbol : *name);
    const std::optional<double> second = MicrometresPerUnit(name ? *name : *symbol);
    return first == second ? first : std::nullopt;
}

}  // namespace

std::optional<PixelSizeNm> PixelSizeFromGatan(const GatanEntries& entries) {
    const std::optional<double> unitX = Micrometres(entries.symbolX, entries.unitNameX);
    const std::optional<double> unitY = Micrometres(entries.symbolY, entries.unitNameY);
    if (!entries.x || !entries.y || !unitX || !unitY) return std::nullopt;
    return CheckedPixelSize(*entries.x * *unitX * 1000.0, *entries.y * *unitY * 1000.0);
}

VendorAnswer ReadGatanEntries(const VendorPage& page, std::uint32_t scaleXTag) {
    GatanEntries entries;
    entries.x = page.Real(scaleXTag);
    entries.y = page.Real(kScaleY);
    if (!entries.x && !entries.y) return {};
    entries.symbolX = page.Text(kSymbolX);
    entries.symbolY = page.Text(kSymbolY);
    entries.unitNameX = page.Text(kUnitNameX);
    entries.unitNameY = page.Text(kUnitNameY);
    return {VendorAnswer::Presence::kPresent, PixelSizeFromGatan(entries),
            "the Gatan export entries give no pixel size"};
}

}  // namespace qvox
