#include "Recovery.h"

#include <wx/datetime.h>

#include "LabelChanges.h"
#include "PathText.h"
#include "PositionStore.h"
#include "ResultFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

/// "12 objects", or the reason why a position cannot be restored.
wxString WhatBecomesOf(const RecoveredPosition& position, bool& lost) {
    lost = true;
    const std::optional<FileMark> image = MarkOf(position.image.file.path);
    if (!image) return "the image is gone";
    if (!(*image == position.image.file)) return "the image has changed since";
    try {
        const std::size_t objects = CountLabels(RecoveredLabels(position));
        lost = false;
        return std::to_string(objects) + (objects == 1 ? " object" : " objects");
    } catch (const qvox::ToolkitError& error) {
        return PathText(error.what());
    }
}

}  // namespace

qvox::LabelImage RecoveredLabels(const RecoveredPosition& position) {
    qvox::LabelImage labels;
    const std::uint64_t width = position.image.width;
    const std::uint64_t height = position.image.height;
    const std::uint64_t depth = position.image.depth;
    if (position.base) {
        const std::string& path = position.base->path;
        const std::optional<FileMark> now = MarkOf(path);
        const bool same = now && *now == *position.base &&
                          LoadNewLabels(PathText(path), {width, height, depth}, labels) == LabelsFound::kLoaded;
        if (!same) throw qvox::ToolkitError("The labels began with those of '" + path + "', which has changed since.");
    } else {
        labels.Resize(width, height, depth);
        labels.Zero();
    }
    for (const std::vector<std::uint8_t>& runs : position.runs) {
        ApplyChanges(LabelChanges::FromPacked(runs, labels.VoxelCount()), ChangeDirection::kRedo, labels);
    }
    return labels;
}

RecoveryOffer OfferOf(const LeftJournal& journal) {
    constexpr std::size_t kMostLines = 12;
    const wxDateTime written(static_cast<time_t>(journal.WrittenAt()));
    RecoveryOffer offer;
    offer.text = "Korvane ended on " + written.FormatISODate() + " at " + written.FormatISOTime() +
                 " before these labels were saved:\n";
    std::size_t changed = 0;
    for (std::size_t i = 0; i < journal.Positions().size(); ++i) {
        const RecoveredPosition& position = journal.Positions()[i];
        const std::optional<FileMark> image = MarkOf(position.image.file.path);
        if (image && *image == position.image.file) offer.images.push_back(i);
        if (position.runs.empty()) continue;
        bool lost = false;
        const wxString fate = WhatBecomesOf(position, lost);
        offer.lost += lost ? 1 : 0;
        if (++changed <= kMostLines) offer.text += "\n" + PathText(position.image.file.path) + ": " + fate;
    }
    if (changed > kMostLines) offer.text += "\nand " + std::to_string(changed - kMostLines) + " more";
    return offer;
}

}  // namespace Korvane
