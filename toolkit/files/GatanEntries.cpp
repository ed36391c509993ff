#include "files/GatanEntries.h"

#include "files/LengthUnit.h"

namespace qvox {

namespace {

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

}  // namespace qvox
