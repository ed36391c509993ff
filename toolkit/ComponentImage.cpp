#include "ComponentImage.h"

#include <algorithm>
#include <string>
#include <utility>

namespace qvox {

namespace {

bool Precedes(const ComponentRecord& record, std::uint16_t identifier) { return record.identifier < identifier; }

}  // namespace

const ComponentRecord* ComponentImage::Find(std::uint16_t identifier) const {
    const auto at = std::lower_bound(components_.begin(), components_.end(), identifier, Precedes);
    return at != components_.end() && at->identifier == identifier ? &*at : nullptr;
}

void ComponentImage::Assign(LabelImage identifiers, std::vector<ComponentRecord> components) {
    identifiers_ = std::move(identifiers);
    components_ = std::move(components);
}

void ComponentImage::Remove(std::uint16_t identifier) {
    const auto at = std::lower_bound(components_.begin(), components_.end(), identifier, Precedes);
    if (at == components_.end() || at->identifier != identifier) {
        throw ToolkitError("RemoveLabel: there is no component " + std::to_string(identifier) + ".");
    }
    for (std::uint64_t y = at->minY; y <= at->maxY; ++y) {
        std::uint16_t* row = identifiers_.Row(y);
        std::replace(row + at->minX, row + at->maxX + 1, identifier, std::uint16_t{0});
    }
    components_.erase(at);
}

}  // namespace qvox
