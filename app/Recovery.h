#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <wx/string.h>

#include "RecoveryJournal.h"
#include "VoxelImage.h"

namespace Korvane {

/// The labels that a journal's changes lead to. Throws ToolkitError when they, or the result file that they begin with,
/// are not what they were.
qvox::LabelImage RecoveredLabels(const RecoveredPosition& position);

/// What a person is asked about a journal.
struct RecoveryOffer {
    wxString text;
    std::vector<std::size_t> images;  ///< positions whose image is as it was
    std::size_t lost = 0;             ///< positions with changes that cannot be restored
};

/// Looks at images and labels, one after another.
RecoveryOffer OfferOf(const LeftJournal& journal);

}  // namespace Korvane
